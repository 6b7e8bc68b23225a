#include "plugins/support/OptionText.h"

std::optional<std::vector<Option>> ParseOptions(const char* text)
{
    std::vector<Option> options;
    while (text && *text) {
        Option& option = options.emplace_back();
        bool inValue = false;
        for (; *text && *text != ':'; ++text) {
            if (*text == '=' && !inValue) { // a value may hold more of them
                inValue = true;
                continue;
            }
            if (*text == '\\' && text[1])
                ++text;
            (inValue ? option.value : option.key) += *text;
        }
        if (!inValue || option.key.empty())
            return {};
        if (*text == ':' && !*++text)
            return {};
    }
    return options;
}
