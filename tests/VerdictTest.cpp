// How a job's end is judged, and what is told of it: exit codes, the last line, progress and the report.
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/commands/EncodeVerdict.h"
#include "host/job/Progress.h"
#include "host/job/Report.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <regex>
#include <unistd.h>

namespace
{

using namespace host;

class NoWriter final : public FrameWriter
{
public:
    int WritePicture(const AVFrame&, Nanoseconds, Nanoseconds) override { return 0; }
    int WriteSamples(std::span<const int16_t>, Nanoseconds) override { return 0; }
};

class FakeResult final : public JobResult
{
public:
    FakeResult(FrameWriter& writer, Tally& tally) : JobResult(writer, tally)
    {
        m_hadPicture = m_hadAudio = m_wroteAudio = true;
    }
    using JobResult::m_audioRefusals;
    using JobResult::m_brokenLimit;
    using JobResult::m_hadAudio;
    using JobResult::m_hadPicture;
    using JobResult::m_pictureRefusals;
    using JobResult::m_wroteAudio;
};

class FakeSource final : public Source
{
public:
    FakeSource()
    {
        m_video = VideoFormat{64, 48, {30000, 1001}, {4, 3}};
        m_audio = AudioFormat{8000, 1};
        m_duration = 4 * kSecond;
    }
    Item Next() override { return {}; }
    using Source::m_audio;
    using Source::m_brokenOff;
    using Source::m_damaged;
    using Source::m_duration;
    using Source::m_isDurationStated;
    using Source::m_video;
};

// A job of 4 seconds that went well.
struct Ended {
    explicit Ended(bool hasAudioFile = false)
    {
        sources.main = std::make_unique<FakeSource>();
        if (hasAudioFile)
            sources.separateAudio = std::make_unique<FakeSource>();
        options.input = "in";
        options.audioInput = "sound";
        plan.hasVideo = plan.hasAudio = true;
        plan.frameRate = {25, 1};
        tally.emplace(plan, output);
        tally->WritePictures(98, 99, false);
        tally->Reach(4 * kSecond);
        job.emplace(writer, *tally);
    }

    FakeSource& Main() { return static_cast<FakeSource&>(*sources.main); }

    // The exit code and all that is said.
    std::string Judged()
    {
        Messages messages;
        messages.SetVolume(Volume::kQuiet);
        const auto text = [&](int code) {
            std::string all = std::to_string(code);
            for (const Said& said : messages.AllSaid())
                all += "; " + said.text;
            return all;
        };
        try {
            return text(Judge({options, sources, plan, output, *job, report, 2.0, isLive}, messages));
        } catch (const HostError& error) {
            return text(error.Code()) + "; " + error.what();
        }
    }

    EncodeOptions options;
    Sources sources;
    JobPlan plan;
    OutputFile output{"/dev/null"};
    NoWriter writer;
    std::optional<Tally> tally;
    std::optional<FakeResult> job;
    CloseReport report = {true, true, 100, 3990, 0};
    bool isLive = false;
};

constexpr const char* kGood =
    "/dev/null: 100 pictures, 4.000 s, audio 3.990 s, in 2.0 s (2.00x), 98 repeated, 0 dropped";

TEST(Verdict, IsTheFirstThatKeepsTheFileFromBeingGood)
{
    const std::string good = kGood;
    const struct {
        std::function<void(Ended&)> change;
        std::string verdict;
    } cases[] = {
        {[](Ended&) {}, "0; " + good},
        {[](Ended& e) { e.report.writeError = ENOSPC; }, "6; can't write /dev/null: the disk is full"},
        {[](Ended& e) { e.job->m_pictureRefusals = 500; }, "1; /dev/null: the file takes no more"},
        {[](Ended& e) { e.job->m_audioRefusals = 500; }, "1; /dev/null: the file takes no more"},
        {[](Ended& e) { e.job->m_audioRefusals = e.job->m_pictureRefusals = 499; }, "0; " + good},
        {[](Ended& e) { e.report.isComplete = false; }, "1; /dev/null: the file isn't complete"},
        {[](Ended& e) { e.report.pictures = 0; }, "1; /dev/null: no picture was written"},
        {[](Ended& e) { e.tally.emplace(e.plan, e.output), e.report.wasCalled = false; },
         "1; in ends after 0.0 s, and is said to be 4.0 s long; /dev/null: no picture was written"},
        {[](Ended& e) { e.job->m_wroteAudio = false; }, "1; /dev/null: no audio was written"},
        {[](Ended& e) { e.report = {}; },
         "0; /dev/null: 99 pictures, 3.960 s, audio 4.000 s, in 2.0 s (2.00x), 98 repeated, 0 dropped"},
        {[](Ended& e) { e.plan.hasAudio = e.job->m_wroteAudio = false; },
         "0; /dev/null: 100 pictures, 4.000 s, in 2.0 s (2.00x), 98 repeated, 0 dropped"},
        {[](Ended& e) { e.plan.hasVideo = e.job->m_hadPicture = false; },
         "0; /dev/null: audio 3.990 s, in 2.0 s (2.00x)"},
        {[](Ended& e) { e.job->m_brokenLimit = "too late"; }, "8; in: too late"},
        {[](Ended& e) { e.job->m_hadPicture = e.job->m_hadAudio = false; }, "3; nothing in in could be decoded"},
        {[](Ended& e) { e.job->m_hadPicture = e.job->m_hadAudio = false, e.plan.start = 65 * kSecond; },
         "3; in ends before --start, 1:05"},
        {[](Ended& e) { e.job->m_hadPicture = false; }, "3; no picture in in could be decoded (--vn leaves them out)"},
        {[](Ended& e) { e.job->m_hadPicture = false, e.plan.pictures = 5; }, "0; " + good},
        {[](Ended& e) { e.job->m_hadAudio = false, e.Main().m_damaged = 1; },
         "3; in: 1 error; what couldn't be decoded is left out; none of the audio could be decoded (--an leaves it "
         "out)"},
        {[](Ended& e) { e.job->m_hadAudio = false; }, "0; " + good},
        {[](Ended& e) { e.Main().m_damaged = 2; }, "0; in: 2 errors; what couldn't be decoded is left out; " + good},
        {[](Ended& e) { e.Main().m_brokenOff = "gone", e.Main().m_duration = 900 * kSecond; },
         "3; in breaks off: gone; " + good},
        {[](Ended& e) { e.options.expectedPictures = 100; }, "0; " + good},
        {[](Ended& e) { e.options.expectedPictures = 101; }, "11; /dev/null: 100 pictures, and 101 are expected"},
        {[](Ended& e) { e.options.expectedPictures = 100, e.report = {}; },
         "11; /dev/null: 99 pictures, and 100 are expected"},
        {[](Ended& e) { e.Main().m_brokenOff = "gone", e.options.expectedPictures = 101; },
         "3; in breaks off: gone; /dev/null: 100 pictures, and 101 are expected"},
        {[](Ended& e) { e.Main().m_brokenOff = "gone", e.isLive = true; }, "3; in breaks off: gone; " + good},
        {[](Ended& e) { e.Main().m_duration = 5 * kSecond; }, "0; " + good},
        {[](Ended& e) { e.Main().m_duration = 5'100'000'000; },
         "0; in ends after 4.0 s, and is said to be 5.1 s long; " + good},
        {[](Ended& e) { e.Main().m_duration = 45 * kSecond, e.plan.start = 39 * kSecond; }, "0; " + good},
        {[](Ended& e) { e.Main().m_duration = 9 * kSecond, e.plan.end = 4 * kSecond; }, "0; " + good},
        {[](Ended& e) { e.Main().m_duration = 9 * kSecond, e.isLive = true; }, "0; " + good},
        {[](Ended& e) { e.Main().m_duration = 9 * kSecond, e.Main().m_isDurationStated = false; }, "0; " + good},
    };
    for (const auto& [change, verdict] : cases) {
        Ended ended;
        change(ended);
        testing::internal::CaptureStderr();
        EXPECT_EQ(ended.Judged(), verdict);
        testing::internal::GetCapturedStderr();
    }
    Ended two(true);
    two.Main().m_duration = 9 * kSecond;
    static_cast<FakeSource&>(*two.sources.separateAudio).m_brokenOff = "lost";
    testing::internal::CaptureStderr();
    EXPECT_EQ(two.Judged(), "3; sound breaks off: lost; " + good);
    testing::internal::GetCapturedStderr();
}

// In a process of its own, which has got the signal.
TEST(VerdictDeathTest, AnInterruptedFileIsFinished)
{
    const auto judge = [](const std::function<void(Ended&)>& change) {
        CatchInterrupts();
        std::raise(SIGTERM);
        Ended ended;
        change(ended);
        std::fprintf(stderr, "verdict %s", ended.Judged().c_str());
        std::_Exit(0);
    };
    EXPECT_EXIT(judge([](Ended& e) { e.Main().m_duration = 9 * kSecond; }), testing::ExitedWithCode(0),
                "verdict 143; /dev/null: 100 pictures.*dropped; interrupted; the file is finished up to there$");
    EXPECT_EXIT(judge([](Ended& e) { e.isLive = true; }), testing::ExitedWithCode(0),
                "verdict 0; /dev/null: 100 .* dropped$");
    EXPECT_EXIT(judge([](Ended& e) { e.job->m_hadPicture = e.job->m_hadAudio = false, e.plan.start = 1; }),
                testing::ExitedWithCode(0), "verdict 143; interrupted; nothing was written$");
}

// ---- on the way ----

// Of a job that is half done after no time at all: numbers that hang on the time are cut out.
std::string Shown(ProgressKind kind, Nanoseconds total, bool hasVideo, const char* label = "")
{
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("encmgr-progress-" + std::to_string(getpid()));
    std::ofstream(path) << std::string(2000, 'x');
    Ended ended;
    ended.tally->DropPictures(0, 3, 3);
    const OutputFile output(path.string());
    Messages messages;
    testing::internal::CaptureStderr();
    Progress progress(messages, kind, output, total, hasVideo, label);
    progress.Update(*ended.tally); // too early
    if (kind == ProgressKind::kBar) {
        usleep(120'000);
        progress.Update(*ended.tally);
    }
    progress.End(*ended.tally);
    std::filesystem::remove(path);
    const std::string text = testing::internal::GetCapturedStderr();
    static const std::regex changing(
        R"re([0-9.e+-]+( fps|x )|((?:second|elapsed_seconds|left_seconds|speed)":)[0-9.e+-]+|\r| {9,})re");
    return std::regex_replace(text, changing, "$1$2");
}

TEST(Progress, TellsHowFarTheJobIs)
{
    EXPECT_EQ(Shown(ProgressKind::kBar, 8 * kSecond, true, "pass 1"),
              "pass 1   50%  99 pictures   fps  x  2.0 kB  ETA 0:00")
        << "as much as has room in 80 columns";
    EXPECT_EQ(Shown(ProgressKind::kBar, 0, false), "0:04  x  2.0 kB");
    EXPECT_EQ(Shown(ProgressKind::kJson, 8 * kSecond, true),
              R"({"schema":1,"event":"end","position_seconds":4.0,"total_seconds":8.0,"pictures":99,"repeated":98,)"
              R"("dropped":3,"pictures_per_second":,"bytes":2000,"elapsed_seconds":,"speed":,"left_seconds":})"
              "\n");
    EXPECT_EQ(Shown(ProgressKind::kJson, 0, false),
              R"({"schema":1,"event":"end","position_seconds":4.0,"total_seconds":null,"bytes":2000,)"
              R"("elapsed_seconds":,"speed":,"left_seconds":null})"
              "\n");
    EXPECT_EQ(Shown(ProgressKind::kLines, kSecond, true) + Shown(ProgressKind::kNone, kSecond, true), "");
    EXPECT_EQ(SpeedText(3 * kSecond, 2.0), "1.50x");
    EXPECT_EQ(SpeedText(kSecond, 0.0), "1000.00x");
}

// ---- the report ----

TEST(Report, HasItsPlaceForEachFigure)
{
    const std::string path =
        (std::filesystem::temp_directory_path() / ("encmgr-report-" + std::to_string(getpid()))).string();
    Ended ended;
    ended.options.output = "-";
    ended.options.start = 1'500'000'000;
    ended.options.report = path;
    ended.plan.hasVideo = true;
    ended.tally->SetSampleRate(1000);
    ended.tally->TakePicture();
    ended.tally->DropPictures(0, 3, 2);
    ended.tally->WriteAudio(0, 30, 40, 50);
    ended.tally->WriteAudio(0, 30, 40, 0);
    Messages messages;
    messages.SetVolume(Volume::kQuiet);
    Report report(ended.options, messages);
    FakeSource sound;
    sound.m_video.reset();
    sound.m_duration = 0;
    sound.m_damaged = 7;
    sound.m_brokenOff = "gone";
    testing::internal::CaptureStderr();
    EXPECT_THROW(report.Around([&]() -> int {
        messages.Warn("careful");
        report.SetInput(ended.Main(), &sound);
        report.SetPlan("the plan");
        report.SetResult(*ended.tally, ended.plan, ended.output);
        throw HostError(kExitJob, "why");
    }),
                 HostError);
    testing::internal::GetCapturedStderr();

    std::ifstream file(path);
    Json json = Json::parse(file, nullptr, false);
    tm parts = {};
    ASSERT_TRUE(strptime(json["started"].get<std::string>().c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts));
    EXPECT_NEAR(static_cast<double>(timegm(&parts)), static_cast<double>(std::time(nullptr)), 60);
    EXPECT_EQ(json["timeline"]["written"].size(), 33u);
    for (const char* list : {"written", "repeated", "dropped", "filled_seconds", "cut_seconds", "bytes"})
        json["timeline"][list] = json["timeline"][list][0]; // for short
    const std::string here = std::filesystem::current_path().string();
    EXPECT_EQ(json["input"]["path"], here + "/in");
    json["input"].erase("path"), json["audio_input"].erase("path"), json.erase("started");
    json.erase("program"), json.erase("resources");
    EXPECT_EQ(json["options"]["start"], 1'500'000'000);
    json.erase("options");
    EXPECT_EQ(
        JsonLine(json),
        R"({"schema":1,"dry_run":false,"input":{"name":"in","file":null,"duration_seconds":4.0,"video":{"width":64,"height":48,)"
        R"("pixel_aspect":"4:3","rate":"30000/1001"},"audio":{"sample_rate":8000,"channels":1},"errors":0,)"
        R"("broken_off":null,"start_seconds":1.5},"audio_input":{"name":"sound","file":null,"duration_seconds":null,"video":null,)"
        R"("audio":{"sample_rate":8000,"channels":1},"errors":7,"broken_off":"gone"},"output":{"name":"-","path":null,"file":null,)"
        R"("bytes":null},"plan":"the plan","position_seconds":4.0,"video":{"pictures_in":4,"written":99,"repeated":98,)"
        R"("dropped":3,"largest_run_repeated":98,"largest_run_dropped":2},"audio":{"samples_in":60,"samples_out":50,)"
        R"("filled_seconds":0.01,"cut_seconds":0.04,"gaps":1,"dropped_blocks":1},"exit":{"code":1,"signal":null},)"
        R"("messages":[{"kind":"warning","text":"careful"},{"kind":"error","text":"why"}],"timeline":{)"
        R"("bucket_seconds":0.12,"written":3,"repeated":2,"dropped":3,"filled_seconds":0.01,"cut_seconds":0.04,)"
        R"("bytes":0,"bytes_at_close":0}})");
    std::filesystem::remove(path);
}

} // namespace
