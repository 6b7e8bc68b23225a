// "encmgr view": a page of what reports tell, in one file.
#include "host/base/ExitCode.h"
#include "host/base/Json.h"
#include "host/base/Text.h"
#include "host/base/WholeFile.h"
#include "host/commands/Arguments.h"
#include "host/commands/Commands.h"
#include "host/job/Report.h"
#include "host/sources/Stills.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>

extern "C" {
#include <libavutil/base64.h>
}

namespace host
{

extern const char* const kViewTemplate; // View.html, put into the program by the build

namespace
{

namespace fs = std::filesystem;

constexpr int kStills = 8;
constexpr int kLongestSideOfStills = 224;
constexpr double kLongestShown = 1e9; // seconds
constexpr size_t kMostPlotted = 4096; // buckets; reports of ours have fewer

struct ViewOptions {
    std::vector<std::string> reports;
    std::string output; // empty: beside the first report
    bool noStills = false;
    bool overwrite = false;
};

std::string DataAddress(Bitmap& picture)
{
    const std::vector<unsigned char> png = EncodePng(picture);
    std::string text(AV_BASE64_SIZE(png.size()), '\0');
    av_base64_encode(text.data(), static_cast<int>(text.size()), png.data(), static_cast<int>(png.size()));
    text.pop_back(); // the end of the string
    return "data:image/png;base64," + text;
}

// The file of a report's input or output: where it was, or beside the report that it came along with. A name that is no
// file stays.
std::string FileOf(const Json& named, const std::string& report)
{
    std::error_code error;
    std::string name = named.value("name", "");
    if (!named.contains("path") || !named["path"].is_string())
        return name;
    const std::string path = named["path"];
    const fs::path beside = fs::path(report).parent_path() / fs::path(path).filename();
    return fs::exists(path, error) || !fs::exists(beside, error) ? path : beside.string();
}

// The same for an output, as long as it is the file that the report speaks of; otherwise empty.
std::string OutputOf(const Json& named, const std::string& report)
{
    std::error_code error;
    std::string file = FileOf(named, report);
    const bool isIt = named.at("bytes").is_number_unsigned() && fs::file_size(file, error) == named["bytes"];
    return isIt ? file : std::string();
}

Json StillsJson(const std::string& file, std::span<const Nanoseconds> times, Messages& messages)
{
    Json list = Json::array();
    for (Bitmap& still : StillsOf(file, times, kLongestSideOfStills, messages))
        list.push_back(DataAddress(still));
    return list;
}

// What the page shows beside the report itself. Throws Json::exception if the report isn't built as reports are.
Json PageOf(const std::string& name, Json report, const ViewOptions& options, Messages& messages)
{
    Json page = {{"file", ShownName(name)}, {"times", Json::array()}, {"in", Json::array()}, {"out", Json::array()}};
    const double length = report.at("position_seconds").is_number() ? report["position_seconds"].get<double>() : 0.0;
    const double start = report.at("input").value("start_seconds", 0.0); // of the part that was taken
    const bool isSane = length > 0.0 && length < kLongestShown && start >= 0.0 && start < kLongestShown;
    const std::string output = OutputOf(report.at("output"), name);
    if (!options.noStills && isSane && report.at("plan").is_object() && report["plan"].at("video").is_object()) {
        std::vector<Nanoseconds> in, out;
        for (int i = 0; i < kStills; ++i) {
            const double time = length * (i + 0.5) / kStills;
            page["times"].push_back(time);
            out.push_back(static_cast<Nanoseconds>(time * static_cast<double>(kSecond)));
            in.push_back(static_cast<Nanoseconds>((start + time) * static_cast<double>(kSecond)));
        }
        page["in"] = StillsJson(FileOf(report.at("input"), name), in, messages);
        page["out"] = StillsJson(output, out, messages);
    }
    if (const Json& timeline = report.at("timeline"); timeline.is_object()) {
        const size_t buckets = timeline.at("written").size();
        const double seconds = timeline.at("bucket_seconds").get<double>();
        const StreamBytes bytes =
            buckets <= kMostPlotted ? BytesAlong(output, seconds, buckets, messages) : StreamBytes();
        page["video_bytes"] = bytes.video;
        page["audio_bytes"] = bytes.audio;
    }
    page["report"] = std::move(report);
    return page;
}

Json ReadReport(const std::string& name)
{
    Json report = ParseJson(ReadWholeFile(name), ShownName(name));
    if (!report.is_object() || !report.contains("schema") || !report["schema"].is_number_integer() ||
        !report.contains("exit"))
        throw HostError(kExitInput, Format("%s isn't a report", ShownName(name).c_str()));
    if (report["schema"] != kReportSchema)
        throw HostError(kExitInput, Format("%s is a report of schema %s; this program reads %d",
                                           ShownName(name).c_str(), JsonLine(report["schema"]).c_str(), kReportSchema));
    return report;
}

// Nothing in the data can end the script that holds it.
std::string ForScript(const Json& data)
{
    std::string text;
    for (const char c : JsonLine(data)) {
        if (c == '<')
            text += "\\u003c";
        else
            text += c;
    }
    return text;
}

int RunView(const ViewOptions& options, Messages& messages)
{
    const std::string& first = options.reports.front();
    const std::string output = !options.output.empty() ? options.output
                               : first == "-"          ? first
                                                       : fs::path(first).replace_extension(".html").string();
    std::error_code error;
    for (const std::string& report : options.reports)
        if (IsSamePath(report, output))
            throw HostError(kExitUsage, Format("the page would overwrite %s", report.c_str()));
    if (output != "-" && !options.overwrite && fs::is_regular_file(output, error))
        throw HostError(kExitOutput, Format("can't write %s: it exists (-y overwrites it)", output.c_str()));
    CheckFilePlace(output);

    Json pages = Json::array();
    for (const std::string& name : options.reports) {
        try {
            pages.push_back(PageOf(name, ReadReport(name), options, messages));
        } catch (const Json::exception&) {
            throw HostError(kExitInput, Format("%s isn't a report as encmgr writes them", ShownName(name).c_str()));
        }
    }
    std::string page = kViewTemplate;
    const std::string place = "{{DATA}}";
    page.replace(page.find(place), place.size(), ForScript(pages));
    WriteWholeFile(output, page);
    if (output != "-")
        messages.Say(Format("%s: %zu report%s, %s", output.c_str(), options.reports.size(),
                            options.reports.size() == 1 ? "" : "s", SizeText(page.size()).c_str()));
    return kExitGood;
}

} // namespace

void AddViewCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("view", "Make a page of what reports of encode tell");
    const auto options = std::make_shared<ViewOptions>();
    command->add_option("REPORT", options->reports, "Reports of encmgr encode --report; \"-\" for the standard input")
        ->required()
        ->type_name("")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    AddFile(*command, "-o,--output", options->output,
            "The page to write; \"-\" for the standard output (default: the first REPORT with the ending .html)")
        ->type_name("OUTPUT");
    command->add_flag("-y,--overwrite", options->overwrite, "Overwrite OUTPUT if it exists");
    command->add_flag("--no-pictures", options->noStills, "Leave pictures of input and output out");
    command->callback([options, &chosen] {
        chosen = [options](const CommonOptions&, Messages& messages) { return RunView(*options, messages); };
    });
}

} // namespace host
