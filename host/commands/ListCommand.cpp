// "encmgr list": what the plug-ins offer.
#include "host/base/ExitCode.h"
#include "host/base/Json.h"
#include "host/base/Text.h"
#include "host/commands/Arguments.h"
#include "host/commands/Commands.h"
#include "host/commands/ListEncoder.h"
#include "host/job/Plugins.h"
#include "host/validate/PluginSieve.h"
#include "text/Strings.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <span>

namespace host
{

namespace
{

// Columns that line up over the whole list.
struct Widths {
    int fourCC = 4;
    int name = 0;
};

template <class Info> void Widen(Widths& widths, const Info& info)
{
    widths.fourCC = std::max(widths.fourCC, static_cast<int>(FourCCText(info.dwFourCC).size()));
    widths.name = std::max(widths.name, static_cast<int>(text::ShownUtf8(info.szName).size()));
}

template <class Info> void PrintLine(const char* before, const Info& info, const Widths& widths)
{
    std::printf("%s%-*s  %-*s  %s\n", before, widths.fourCC, FourCCText(info.dwFourCC).c_str(), widths.name,
                text::ShownUtf8(info.szName).c_str(), text::ShownUtf8(info.szDescription).c_str());
}

void PrintLines(std::span<const FILEFORMAT_INFO* const> list)
{
    Widths formats, encoders;
    for (const FILEFORMAT_INFO* format : list) {
        Widen(formats, *format);
        for (const Encoders offered : {VideoEncodersOf(*format), AudioEncodersOf(*format)})
            for (const ENCODER_INFO* encoder : offered)
                Widen(encoders, *encoder);
    }
    for (const FILEFORMAT_INFO* format : list) {
        PrintLine("", *format, formats);
        for (const ENCODER_INFO* encoder : VideoEncodersOf(*format))
            PrintLine("    video  ", *encoder, encoders);
        for (const ENCODER_INFO* encoder : AudioEncodersOf(*format))
            PrintLine("    audio  ", *encoder, encoders);
    }
}

// The members that formats and encoders share.
template <class Info> Json InfoJson(const Info& info)
{
    return {{"fourCC", FourCCText(info.dwFourCC)},
            {"name", text::ShownUtf8(info.szName)},
            {"description", text::ShownUtf8(info.szDescription)}};
}

Json EncodersJson(Encoders encoders)
{
    Json list = Json::array();
    for (const ENCODER_INFO* encoder : encoders)
        list.push_back(InfoJson(*encoder));
    return list;
}

Json ListJson(std::span<const FILEFORMAT_INFO* const> list)
{
    Json formats = Json::array();
    for (const FILEFORMAT_INFO* format : list) {
        Json& json = formats.emplace_back(InfoJson(*format));
        json["shortName"] = text::ShownUtf8(format->szShortName);
        json["video"] = EncodersJson(VideoEncodersOf(*format)); // the first of each is the usual one
        json["audio"] = EncodersJson(AudioEncodersOf(*format));
    }
    return {{"schema", "encmgr.list"}, {"schemaVersion", 1}, {"formats", formats}};
}

int RunList(bool isJson, const CommonOptions& common, Messages& messages)
{
    const Plugins plugins(common.pluginsFolder, messages);
    plugins.WarnOfUnusable();
    const auto formats = plugins.GetCatalogue().Formats();
    if (isJson)
        std::fputs(JsonText(ListJson(formats)).c_str(), stdout);
    else
        PrintLines(formats);
    return kExitGood;
}

} // namespace

void AddListCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("list", "Print every file format with its encoders");
    const auto isJson = std::make_shared<bool>(false);
    const auto checksPlugins = std::make_shared<bool>(false);
    const auto encoder = std::make_shared<std::string>();
    CLI::Option* const json = command->add_flag("--json", *isJson, "Print JSON, for programs");
    command->add_option("CODEC", *encoder, "Print the options of this encoder instead, by FourCC or name")
        ->type_name("")
        ->excludes(json);
    AddPluginCheck(*command, *checksPlugins);
    command->callback([isJson, checksPlugins, encoder, &chosen] {
        chosen = [isJson, checksPlugins, encoder](const CommonOptions& common, Messages& messages) {
            if (*checksPlugins)
                LeaveOutBadPlugins(common.pluginsFolder, messages);
            return encoder->empty() ? RunList(*isJson, common, messages) : RunListEncoder(*encoder, common, messages);
        };
    });
}

} // namespace host
