#include "host/job/Report.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/base/WholeFile.h"
#include "host/job/DoneJob.h"
#include "host/job/JobPlan.h"

#include <ctime>
#include <filesystem>
#include <sys/resource.h>

namespace host
{

namespace
{

std::string TimeText()
{
    const std::time_t now = std::time(nullptr);
    tm parts = {};
    gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

// A name as it was given, and where the file is.
Json NamedJson(const std::string& name)
{
    return {{"name", name}, {"path", AbsolutePath(name)}};
}

// As the file is before anything is read of it.
Json InputJson(const std::string& name)
{
    Json json = NamedJson(name);
    json["file"] = FileStateJson(name);
    return json;
}

// Adds to what is known of it already.
void AddSource(Json& json, const Source& source)
{
    json["duration_seconds"] = source.Duration() > 0 ? Json(InSeconds(source.Duration())) : Json();
    json["video"] = nullptr;
    json["audio"] = nullptr;
    if (const auto& video = source.Video())
        json["video"] = {{"width", video->width},
                         {"height", video->height},
                         {"pixel_aspect", Format("%d:%d", video->pixelAspect.num, video->pixelAspect.den)},
                         {"rate", Format("%d/%d", video->frameRate.num, video->frameRate.den)}};
    if (const auto& audio = source.Audio())
        json["audio"] = {{"sample_rate", audio->sampleRate}, {"channels", audio->channels}};
    json["errors"] = source.Damaged();
    json["broken_off"] = source.BrokenOff().empty() ? Json() : Json(source.BrokenOff());
}

Json PicturesJson(const Counts& counts)
{
    return {{"pictures_in", counts.taken},
            {"written", counts.pictures},
            {"repeated", counts.repeated},
            {"dropped", counts.dropped},
            {"largest_run_repeated", counts.largestRepeated},
            {"largest_run_dropped", counts.largestDropped}};
}

Json SamplesJson(const AudioCounts& counts)
{
    const auto seconds = [&counts](int64_t samples) { return static_cast<double>(samples) / counts.sampleRate; };
    return {{"samples_in", counts.samplesIn},
            {"samples_out", counts.samplesOut},
            {"filled_seconds", seconds(counts.filled)},
            {"cut_seconds", seconds(counts.cut)},
            {"gaps", counts.gaps},
            {"dropped_blocks", counts.droppedBlocks}};
}

// A list for each of the buckets' fields.
Json TimelineJson(const Tally& tally)
{
    const double sampleSeconds = 1.0 / tally.Audio().sampleRate;
    Json json = {{"bucket_seconds", tally.Times().BucketSeconds()}};
    const auto add = [&](const char* name, auto valueOf) {
        Json list = Json::array();
        for (const Timeline::Bucket& bucket : tally.Times().Buckets())
            list.push_back(valueOf(bucket));
        json[name] = std::move(list);
    };
    using Bucket = Timeline::Bucket;
    add("written", [](const Bucket& bucket) { return bucket.written; });
    add("repeated", [](const Bucket& bucket) { return bucket.repeated; });
    add("dropped", [](const Bucket& bucket) { return bucket.dropped; });
    add("filled_seconds", [&](const Bucket& bucket) { return static_cast<double>(bucket.filled) * sampleSeconds; });
    add("cut_seconds", [&](const Bucket& bucket) { return static_cast<double>(bucket.cut) * sampleSeconds; });
    add("bytes", [](const Bucket& bucket) { return bucket.bytes; });
    json["bytes_at_close"] = tally.BytesAtClose();
    return json;
}

double Seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

} // namespace

const char* const kReportProgram = "encmgr " ENCMGR_VERSION;

Json AbsolutePath(const std::string& name)
{
    std::error_code error;
    const bool isFile = name != "-" && name.find("://") == std::string::npos && !name.starts_with("testcard:");
    return isFile ? Json(std::filesystem::absolute(name, error).string()) : Json();
}

Report::Report(const EncodeOptions& options, Messages& messages)
    : m_path(options.report), m_options(options), m_messages(messages), m_start(std::chrono::steady_clock::now()),
      m_json({{"schema", kReportSchema},
              {"program", kReportProgram},
              {"started", TimeText()},
              {"dry_run", options.isDryRun},
              {"options", OptionsJson(options)},
              {"input", InputJson(options.input)},
              {"audio_input", options.audioInput.empty() ? Json() : InputJson(options.audioInput)},
              {"output", NamedJson(options.output)},
              {"plan", nullptr},
              {"position_seconds", nullptr},
              {"video", nullptr},
              {"audio", nullptr}})
{
    m_json["output"]["bytes"] = m_json["output"]["file"] = nullptr;
    if (m_path.empty())
        return;
    if (m_path == "-" && options.output == "-")
        throw HostError(kExitUsage, "the report and the output can't both go to the standard output");
    for (const std::string* file : {&options.input, &options.audioInput, &options.output})
        if (IsSamePath(m_path, *file))
            throw HostError(kExitUsage, Format("the report would overwrite %s", file->c_str()));
    CheckFilePlace(m_path);
}

int Report::Around(const std::function<int()>& job)
{
    int exitCode = kExitGood;
    try {
        exitCode = job();
    } catch (const std::exception& error) {
        const auto [code, text] = ExitOf(error);
        const int signal = InterruptSignal();
        NoteEnd(signal && code != kExitInternal ? kExitSignal + signal : code, &text);
        Write();
        throw;
    }
    NoteEnd(exitCode, nullptr);
    return !Write() && exitCode == kExitGood ? static_cast<int>(kExitOutput) : exitCode;
}

void Report::SetInput(const Source& main, const Source* separateAudio)
{
    AddSource(m_json["input"], main);
    m_json["input"]["start_seconds"] = InSeconds(m_options.start);
    if (separateAudio)
        AddSource(m_json["audio_input"], *separateAudio);
}

void Report::SetResult(const Tally& tally, const JobPlan& plan, const OutputFile& output)
{
    m_json["position_seconds"] = InSeconds(tally.Position());
    if (plan.hasVideo)
        m_json["video"] = PicturesJson(tally.Pictures());
    if (plan.hasAudio)
        m_json["audio"] = SamplesJson(tally.Audio());
    if (output.IsPlainFile())
        m_json["output"]["bytes"] = output.Size();
    m_timeline = TimelineJson(tally);
}

// error: what the job has thrown and nobody has said yet, or null.
void Report::NoteEnd(int exitCode, const std::string* error)
{
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - m_start;
    rusage used = {};
    getrusage(RUSAGE_SELF, &used);
    m_json["resources"] = {{"wall_seconds", wall.count()},
                           {"cpu_seconds", Seconds(used.ru_utime) + Seconds(used.ru_stime)},
                           {"peak_memory_bytes", int64_t{used.ru_maxrss} * 1024}};
    if (exitCode == kExitGood && !m_options.isDryRun)
        m_json["output"]["file"] = FileStateJson(m_options.output);
    m_json["exit"] = {{"code", exitCode}, {"signal", exitCode > kExitSignal ? Json(exitCode - kExitSignal) : Json()}};
    Json& said = m_json["messages"] = Json::array();
    for (const Said& one : m_messages.AllSaid())
        said.push_back({{"kind", one.kind}, {"text", one.text}});
    if (error)
        said.push_back({{"kind", "error"}, {"text", *error}});
    if (const std::string cause = m_messages.MediaError(); error && exitCode == kExitInput && !cause.empty())
        said.push_back({{"kind", "cause"}, {"text", cause}});
    m_json["timeline"] = std::move(m_timeline);
}

// Returns whether the report stands.
bool Report::Write()
{
    if (m_path.empty())
        return true;
    try {
        WriteWholeFile(m_path, JsonText(m_json));
    } catch (const HostError& failure) {
        m_messages.Error(failure.what());
        return false;
    }
    return true;
}

} // namespace host
