#include "host/commands/ListEncoder.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/job/EncoderOptions.h"
#include "host/job/Plugins.h"
#include "text/Strings.h"

#include <algorithm>
#include <climits>
#include <cstdio>

namespace host
{

namespace
{

// Ends of a range that stand for "as far as it can be written".
bool IsLimit(double end)
{
    return end <= INT_MIN || end >= INT_MAX;
}

std::string NumberText(double number)
{
    return Format("%.7g", number);
}

std::string RangeText(const ENCODER_OPTION& option, const char* kind)
{
    if (IsLimit(option.dLeast) && IsLimit(option.dMost))
        return kind;
    if (IsLimit(option.dMost))
        return Format("%s from %s", kind, NumberText(option.dLeast).c_str());
    if (IsLimit(option.dLeast))
        return Format("%s up to %s", kind, NumberText(option.dMost).c_str());
    return Format("%s to %s", NumberText(option.dLeast).c_str(), NumberText(option.dMost).c_str());
}

std::string ValuesOf(const ENCODER_OPTION& option)
{
    switch (option.nKind) {
    case KX_OPTION_INTEGER:
        return RangeText(option, "integer");
    case KX_OPTION_NUMBER:
        return RangeText(option, "number");
    case KX_OPTION_SWITCH:
        return "0 or 1";
    case KX_OPTION_FLAGS:
        return "flags";
    default:
        return *option.pszWords ? "word" : "text";
    }
}

// In lines that fit a terminal, breaking at spaces.
void PrintWrapped(const std::string& text, int indent)
{
    constexpr size_t kWidth = 100;
    const size_t room = kWidth - static_cast<size_t>(indent);
    for (size_t from = 0; from < text.size();) {
        size_t length = text.size() - from;
        if (length > room) {
            const size_t space = text.rfind(' ', from + room);
            length = space == std::string::npos || space <= from ? text.find(' ', from + room) - from : space - from;
        }
        std::printf("%*s%s\n", indent, "", text.substr(from, length).c_str());
        from = length < text.size() - from ? from + length + 1 : text.size();
    }
}

// The words of "encmgr encode" for keys of video encoders.
std::string ArgumentOf(std::string_view key)
{
    constexpr std::pair<const char*, const char*> arguments[] = {
        {"crf", "--crf"}, {"preset", "--preset"}, {"tune", "--tune"},
        {"g", "--gop"},   {"b", "--vb"},          {"pass", "--passes"},
    };
    for (const auto& [name, argument] : arguments)
        if (key == name)
            return argument;
    return "";
}

void PrintOptions(std::span<const ENCODER_OPTION> options, bool isVideo)
{
    int keyWidth = 0, valueWidth = 0;
    for (const ENCODER_OPTION& option : options) {
        keyWidth = std::max(keyWidth, static_cast<int>(std::string_view(option.pszKey).size()));
        valueWidth = std::max(valueWidth, static_cast<int>(ValuesOf(option).size()));
    }
    for (const ENCODER_OPTION& option : options) {
        std::string remarks = isVideo ? ArgumentOf(option.pszKey) : "";
        if (*option.pszDefault)
            remarks += Format("%sdefault: %s", remarks.empty() ? "" : ", ", option.pszDefault);
        std::string line =
            Format("  %-*s  %-*s  %s", keyWidth, option.pszKey, valueWidth, ValuesOf(option).c_str(), remarks.c_str());
        line.erase(line.find_last_not_of(' ') + 1);
        std::printf("%s\n", line.c_str());
        PrintWrapped(option.pszHelp, keyWidth + 4);
        if (*option.pszWords)
            PrintWrapped(Format("[%s]", option.pszWords), keyWidth + 4);
    }
}

// The formats that hold the encoder.
std::string FormatsWith(const ENCODER_INFO& encoder, const Catalogue& catalogue)
{
    std::string names;
    for (const FILEFORMAT_INFO* format : catalogue.Formats())
        for (const Encoders list : {VideoEncodersOf(*format), AudioEncodersOf(*format)})
            if (std::find(list.begin(), list.end(), &encoder) != list.end())
                names += (names.empty() ? "" : ", ") + text::ShownUtf8(format->szShortName);
    return names;
}

bool IsVideo(const ENCODER_INFO& encoder, const Catalogue& catalogue)
{
    return std::any_of(catalogue.Formats().begin(), catalogue.Formats().end(), [&encoder](const auto* format) {
        const Encoders list = VideoEncodersOf(*format);
        return std::find(list.begin(), list.end(), &encoder) != list.end();
    });
}

} // namespace

int RunListEncoder(const std::string& name, const CommonOptions& common, Messages& messages)
{
    const Plugins plugins(common.pluginsFolder, messages);
    const ENCODER_INFO& encoder = plugins.GetCatalogue().FindEncoder(name);
    const std::span<const ENCODER_OPTION> options = OptionsOfEncoder(encoder.dwFourCC);
    std::printf("%s  %s  %s\n", FourCCText(encoder.dwFourCC).c_str(), text::ShownUtf8(encoder.szName).c_str(),
                text::ShownUtf8(encoder.szDescription).c_str());
    std::printf("In %s\n\n", FormatsWith(encoder, plugins.GetCatalogue()).c_str());
    if (options.empty()) {
        std::printf("Its plug-in states no options.\n");
        return kExitGood;
    }
    const bool isVideo = IsVideo(encoder, plugins.GetCatalogue());
    std::printf("Options, as in %s KEY=VALUE:\n", isVideo ? "--vopt" : "--aopt");
    PrintOptions(options, isVideo);
    return kExitGood;
}

} // namespace host
