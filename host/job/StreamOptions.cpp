#include "host/job/StreamOptions.h"

#include "host/base/Text.h"

namespace host
{

namespace
{

std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == ':' || c == '=' || c == '\\')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

void AddPairs(std::string& text, const std::vector<std::string>& pairs)
{
    for (const std::string& pair : pairs) {
        const size_t equals = pair.find('=');
        text = WithOption(text, pair.substr(0, equals), pair.substr(equals + 1));
    }
}

} // namespace

std::string WithOption(const std::string& text, const std::string& key, const std::string& value)
{
    return Format("%s%s%s=%s", text.c_str(), text.empty() ? "" : ":", Escaped(key).c_str(), Escaped(value).c_str());
}

std::string VideoOptionText(const EncodeOptions& options)
{
    std::string text;
    if (options.quality)
        text = WithOption(text, "crf", Format("%.12g", *options.quality));
    if (!options.preset.empty())
        text = WithOption(text, "preset", options.preset);
    if (!options.tune.empty())
        text = WithOption(text, "tune", options.tune);
    if (options.keyDistance)
        text = WithOption(text, "g", std::to_string(*options.keyDistance));
    if (options.isFragmented)
        text = WithOption(text, "fragmented", "1");
    AddPairs(text, options.videoOptions);
    return text;
}

std::string AudioOptionText(const EncodeOptions& options, bool hasVideo)
{
    std::string text;
    if (options.isFragmented && !hasVideo)
        text = WithOption(text, "fragmented", "1");
    AddPairs(text, options.audioOptions);
    return text;
}

} // namespace host
