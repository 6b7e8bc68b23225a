// The options of a job's stream, taken out of their text.
#ifndef ENCMGR_PLUGINS_OPTION_TEXT_H
#define ENCMGR_PLUGINS_OPTION_TEXT_H

#include <optional>
#include <string>
#include <vector>

struct Option {
    std::string key;
    std::string value;
};

// The options of "key=value:key=value" in their order, as KXGetOptions hands it over: a backslash keeps the character
// behind it from ending a key or a value. None for null and for an empty text; nothing at all for a text of another
// shape, without a key or an equals sign.
std::optional<std::vector<Option>> ParseOptions(const char* text);

#endif // ENCMGR_PLUGINS_OPTION_TEXT_H
