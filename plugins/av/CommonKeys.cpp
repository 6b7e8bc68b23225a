#include "plugins/av/CommonKeys.h"

#include "encmgr/Log.h"
#include "plugins/av/CodecOptions.h"

#include <charconv>
#include <cmath>

namespace
{

std::optional<double> NumberOf(const std::string& text)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isNumber = error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
    return isNumber ? std::optional(value) : std::nullopt;
}

// The last option of this key, taken out together with those before it, which it overrides.
std::optional<std::string> Take(std::vector<Option>& options, const char* key)
{
    std::optional<std::string> value;
    for (const Option& option : options)
        if (option.key == key)
            value = option.value;
    std::erase_if(options, [key](const Option& option) { return option.key == key; });
    return value;
}

bool TranslateQuality(const EncoderEntry& entry, std::vector<Option>& options, std::vector<Option>& translated)
{
    const QualityScale& scale = entry.quality;
    const auto value = scale.options ? Take(options, "crf") : std::nullopt;
    if (!value)
        return true;
    const auto number = NumberOf(*value);
    if (!number || *number < scale.least || *number > scale.most) {
        KXLogEx(L"wpav: %ls takes a crf from %d to %d, and not [%s].", entry.name, scale.least, scale.most,
                value->c_str());
        return false;
    }
    translated = QualityOptions(scale, *value);
    return true;
}

bool TranslatePreset(const EncoderEntry& entry, std::vector<Option>& options, std::vector<Option>& translated)
{
    const auto word = entry.keys.presets ? Take(options, "preset") : std::nullopt;
    if (!word)
        return true;
    std::string words;
    for (const Preset* preset = entry.keys.presets; preset->word; ++preset) {
        words += std::string(" ") + preset->word;
        if (*word != preset->word)
            continue;
        const auto meaning = OptionsOf(preset->options);
        translated.insert(translated.end(), meaning.begin(), meaning.end());
        return true;
    }
    KXLogEx(L"wpav: %ls has no preset [%s]; there are:%s.", entry.name, word->c_str(), words.c_str());
    return false;
}

bool TakePass(const EncoderEntry& entry, std::vector<Option>& options, PassStatistics& statistics)
{
    const auto pass = Take(options, "pass"), stats = Take(options, "stats");
    if (!pass)
        return true;
    if (entry.keys.passes == Passes::kNone) {
        KXLogEx(L"wpav: %ls encodes in one pass only.", entry.name);
        return false;
    }
    if ((*pass != "1" && *pass != "2") || !stats || stats->empty()) {
        KXLogEx(L"wpav: the pass is 1 or 2, not [%s], and takes a file of statistics, the option stats.",
                pass->c_str());
        return false;
    }
    statistics = PassStatistics(entry.keys.passes, *pass == "1" ? 1 : 2, *stats);
    return true;
}

} // namespace

std::vector<Option> QualityOptions(const QualityScale& scale, const std::string& value)
{
    std::string text = scale.options;
    const bool isScaled = scale.factor != 1;
    const double scaled = NumberOf(value).value_or(0) * scale.factor;
    text.replace(text.find('%'), 1, isScaled ? std::to_string(std::lrint(scaled)) : value);
    return OptionsOf(text.c_str());
}

bool TranslateCommonKeys(const EncoderEntry& entry, std::vector<Option>& options, PassStatistics& statistics)
{
    std::vector<Option> translated;
    if (!TranslateQuality(entry, options, translated) || !TranslatePreset(entry, options, translated) ||
        !TakePass(entry, options, statistics))
        return false;
    options.insert(options.begin(), translated.begin(), translated.end());
    return true;
}
