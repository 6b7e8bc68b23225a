// Kinds of options that several commands have.
#ifndef ENCMGR_HOST_ARGUMENTS_H
#define ENCMGR_HOST_ARGUMENTS_H

#include "host/base/Scaling.h"
#include "host/base/Suggestion.h"
#include "host/base/Text.h"
#include "host/base/Values.h"
#include "host/commands/Completion.h"

#include <CLI/CLI.hpp>

#include <string>
#include <utility>
#include <vector>

namespace host
{

// The words that an option takes, with what they mean.
template <class Value> using Words = std::vector<std::pair<std::string, Value>>;

// Of --scale.
inline Words<Scaling> ScalingWords()
{
    return {{"near", Scaling::kNear},
            {"bilinear", Scaling::kBilinear},
            {"cubic", Scaling::kCubic},
            {"smooth", Scaling::kSmooth}};
}

// A text that isn't empty.
inline CLI::Option* AddFile(CLI::App& app, const std::string& names, std::string& file, const std::string& help)
{
    const auto refuse = [](const std::string& text) { return text.empty() ? "an empty file name" : ""; };
    CLI::Option* const option = app.add_option(names, file, help)->check(refuse);
    SetCompletion(*option, {Completion::Kind::kFile, {}});
    return option;
}

// Whether plug-ins are tried before they are loaded.
inline void AddPluginCheck(CLI::App& app, bool& checksPlugins)
{
    app.add_flag("--check-plugins", checksPlugins,
                 "Try each plug-in first, and leave out those that crash, hang or exit");
}

// What becomes of an output that exists.
template <class Options> void AddOverwriting(CLI::App& app, Options& options, const char* group)
{
    CLI::Option* const overwrite = app.add_flag("-y,--overwrite", options.overwrite, "Overwrite OUTPUT if it exists");
    overwrite->group(group);
    app.add_flag("-n,--no-overwrite", options.neverOverwrite, "Fail if OUTPUT exists, without asking")
        ->group(group)
        ->excludes(overwrite);
}

// An option whose text parse turns into a value, or into nothing: then the text is refused, with what was expected.
template <class Value, class Parse>
CLI::Option* AddValue(CLI::App& app, const std::string& names, Value& value, Parse parse, const std::string& expected,
                      const std::string& help)
{
    const std::string name = names.substr(0, names.find(','));
    return app.add_option_function<std::string>(
        names,
        [&value, parse, expected, name](const std::string& text) {
            const auto parsed = parse(text);
            if (!parsed)
                throw CLI::ValidationError(name, Format("\"%s\" isn't %s", text.c_str(), expected.c_str()));
            value = static_cast<Value>(*parsed);
        },
        help);
}

// A whole number in the range.
template <class Value>
CLI::Option* AddInteger(CLI::App& app, const std::string& names, Value& value, std::pair<int64_t, int64_t> range,
                        const std::string& expected, const std::string& help)
{
    const auto parse = [range](const std::string& text) { return ParseInteger(text, range.first, range.second); };
    return AddValue(app, names, value, parse, expected, help);
}

// One of the words.
template <class Value, class Meaning>
CLI::Option* AddWord(CLI::App& app, const std::string& names, Value& value, const Words<Meaning>& words,
                     const std::string& help)
{
    std::string expected = "one of ";
    Completion completion = {Completion::Kind::kWords, {}};
    for (size_t i = 0; i < words.size(); ++i) {
        expected += (i == 0 ? "" : i + 1 < words.size() ? ", " : " and ") + words[i].first;
        completion.words.push_back(words[i].first);
    }
    const auto parse = [words, name = names.substr(0, names.find(',')), expected](const std::string& text) {
        std::vector<Known> known;
        for (const auto& [word, meaning] : words) {
            if (text == word)
                return std::optional(meaning);
            known.push_back({word, word});
        }
        if (const std::string suggestion = DidYouMean(text, known); !suggestion.empty())
            throw CLI::ValidationError(
                name, Format("\"%s\" isn't %s; %s", text.c_str(), expected.c_str(), suggestion.c_str()));
        return std::optional<Meaning>();
    };
    CLI::Option* const option = AddValue(app, names, value, parse, expected, help);
    SetCompletion(*option, completion);
    return option;
}

} // namespace host

#endif // ENCMGR_HOST_ARGUMENTS_H
