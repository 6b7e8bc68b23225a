// "encmgr list": what the plug-ins offer, for people to read.
#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/commands/Commands.h"
#include "host/commands/ListEncoder.h"
#include "host/job/Plugins.h"
#include "text/Strings.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <memory>

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

int RunList(const CommonOptions& common, Messages& messages)
{
    const Plugins plugins(common.pluginsFolder, messages);
    plugins.WarnOfUnusable();
    Widths formats, encoders;
    for (const FILEFORMAT_INFO* format : plugins.GetCatalogue().Formats()) {
        Widen(formats, *format);
        for (const Encoders list : {VideoEncodersOf(*format), AudioEncodersOf(*format)})
            for (const ENCODER_INFO* encoder : list)
                Widen(encoders, *encoder);
    }
    for (const FILEFORMAT_INFO* format : plugins.GetCatalogue().Formats()) {
        PrintLine("", *format, formats);
        for (const ENCODER_INFO* encoder : VideoEncodersOf(*format))
            PrintLine("    video  ", *encoder, encoders);
        for (const ENCODER_INFO* encoder : AudioEncodersOf(*format))
            PrintLine("    audio  ", *encoder, encoders);
    }
    return kExitGood;
}

} // namespace

void AddListCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("list", "Print every file format with its encoders");
    const auto encoder = std::make_shared<std::string>();
    command->add_option("CODEC", *encoder, "Print the options of this encoder instead, by FourCC or name")
        ->type_name("");
    command->callback([encoder, &chosen] {
        chosen = [encoder](const CommonOptions& common, Messages& messages) {
            return encoder->empty() ? RunList(common, messages) : RunListEncoder(*encoder, common, messages);
        };
    });
}

} // namespace host
