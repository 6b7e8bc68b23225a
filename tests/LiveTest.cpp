// Live sources without devices: names, clocks, and the job by the real clock.
#include "host/base/ExitCode.h"
#include "host/job/LiveJob.h"
#include "host/job/OutputFile.h"
#include "host/sources/Libav.h"
#include "host/sources/LiveClock.h"
#include "host/sources/LiveName.h"
#include "tests/HostHarness.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

using namespace host;

namespace
{

constexpr Nanoseconds kMs = 1'000'000;

TEST(LiveName, ScreensCamerasSoundAndAddresses)
{
    setenv("DISPLAY", ":7", 1);
    const struct {
        const char* name;
        const char* device;
        const char* address;
        const char* options;
    } rows[] = {
        {"screen:", "x11grab", ":7", ""},
        {"screen:+10,20?size=64x48", "x11grab", ":7+10,20", "video_size=64x48 "},
        {"screen::99.1?rate=25&cursor=no", "x11grab", ":99.1", "framerate=25 draw_mouse=0 "},
        {"camera:?input_format=mjpeg", "v4l2", "/dev/video0", "input_format=mjpeg "},
        {"camera:/dev/video2", "v4l2", "/dev/video2", ""},
        {"sound:", "pulse", "default", ""},
        {"sound:pulse:a.monitor", "pulse", "a.monitor", ""},
        {"sound:alsa:hw:1,0?channels=1", "alsa", "hw:1,0", "channels=1 "},
        {"tcp://host:80?listen", "", "tcp://host:80?listen", ""},
        {"screen", "", "screen", ""},
        {"-", "", "-", ""},
    };
    for (const auto& row : rows) {
        const LiveName live = ParseLiveName(row.name);
        std::string options;
        for (const auto& [key, value] : live.options)
            options.append(key).append("=").append(value).append(" ");
        EXPECT_EQ(live.device, row.device) << row.name;
        EXPECT_EQ(live.address, row.address) << row.name;
        EXPECT_EQ(options, row.options) << row.name;
    }
    for (const char* name : {"sound:jack", "screen:?size", "screen:?=3", "screen:?cursor=1", "testcard:"})
        EXPECT_THROW(ParseLiveName(name), HostError) << name;
    unsetenv("DISPLAY");
    EXPECT_THROW(ParseLiveName("screen:"), HostError);
}

// Stamps of either of the machine's clocks keep their time; any others begin when the source is there, and again
// where they jump.
TEST(LiveClock, BringsStampsToTheSteadyClock)
{
    const Nanoseconds wall = 1'700'000'000 * kSecond, steady = 5000 * kSecond;
    const auto at = [&](Nanoseconds time) { return Moment{steady + time, wall + time}; };
    LiveClock ofWall(true, 0), ofSteady(true, 0), ofNothing(false, steady);
    ofWall.Note(0, wall + 10 * kMs, at(30 * kMs));
    EXPECT_EQ(wall + 10 * kMs + ofWall.Offset(), steady + 10 * kMs);
    ofWall.Note(0, wall + 90 * kSecond, {steady + kSecond, wall + 90 * kSecond}); // somebody has set the clock
    EXPECT_EQ(wall + 90 * kSecond + ofWall.Offset(), steady + kSecond);
    ofSteady.Note(0, steady, at(5 * kMs));
    EXPECT_EQ(ofSteady.Offset(), 0);

    ofNothing.Note(0, 77 * kSecond, at(4 * kSecond)); // read late
    EXPECT_EQ(77 * kSecond + ofNothing.Offset(), steady);
    ofNothing.Note(0, 80 * kSecond, at(12 * kSecond)); // held up, then a burst: no jump
    EXPECT_EQ(80 * kSecond + ofNothing.Offset(), steady + 3 * kSecond);
    ofNothing.Note(0, kSecond, at(13 * kSecond)); // a new sender
    ofNothing.Note(1, kSecond + 1, at(13 * kSecond));
    EXPECT_EQ(kSecond + ofNothing.Offset(), steady + 13 * kSecond);
}

// A device that is too quick by 100 parts in a million, with stamps that waver by 5 ms.
TEST(SampleClock, FollowsADeviceByASampleAtATime)
{
    constexpr int rate = 48000, count = 960;
    SampleClock clock(rate, true);
    Random random;
    Nanoseconds expected = -1, worst = 0, longestStep = 0;
    for (int i = 0; i < 15000; ++i) {
        const Nanoseconds truth = kSecond + i * 20 * kMs * 9999 / 10000;
        const auto time = clock.Place(truth + random.Next(10001) * 1000 - 5 * kMs, count);
        if (!time)
            continue;
        if (expected >= 0)
            longestStep = std::max(longestStep, std::abs(*time - expected));
        expected = *time + 20 * kMs;
        worst = std::max(worst, std::abs(*time - truth));
    }
    EXPECT_LT(worst, 6 * kMs);
    EXPECT_LE(longestStep, kSecond / rate + 1);
    const auto gap = clock.Place(expected + kSecond, count);
    EXPECT_EQ(gap, expected + kSecond); // a real one
}

// Writes as the library does, and notes pictures by their numbers.
class PacingWriter final : public FrameWriter
{
public:
    int WritePicture(const AVFrame& picture, Nanoseconds time, Nanoseconds) override
    {
        const auto due = static_cast<size_t>(static_cast<double>(time - time % 100) / 1e8 + 0.5) + 1;
        const size_t copies = due - std::min(due, shown.size());
        shown.append(copies, static_cast<char>(picture.pts));
        return static_cast<int>(copies);
    }
    int WriteSamples(std::span<const int16_t> samples, Nanoseconds time) override
    {
        EXPECT_FALSE(samples.empty());
        const auto from = static_cast<size_t>(std::llround(InSeconds(time) * 1000.0));
        if (from + samples.size() <= heard.size())
            return 0;
        if (from > heard.size())
            heard.resize(from, '?');
        for (size_t i = heard.size() - from; i < samples.size(); ++i)
            heard += static_cast<char>(samples[i] ? samples[i] : '.');
        return 1;
    }

    std::string shown; // one letter a picture, 10 in a second
    std::string heard; // one letter a sample, 1000 in a second
};

Item Shown(char name, Nanoseconds time)
{
    Item item = Picture(time);
    const auto frame = NewFrame();
    frame->pts = static_cast<unsigned char>(name);
    item.frame = frame;
    return item;
}

Item Heard(char name, Nanoseconds time, size_t samples)
{
    Item item = Block(time, samples);
    std::fill(item.samples.begin(), item.samples.end(), static_cast<int16_t>(name));
    return item;
}

// Runs of one letter, as "a3 b1".
std::string Runs(const std::string& text)
{
    std::string runs;
    for (size_t i = 0, end = 0; i < text.size(); i = end) {
        end = std::min(text.find_first_not_of(text[i], i), text.size());
        runs += (runs.empty() ? "" : " ") + std::string(1, text[i]) + std::to_string(end - i);
    }
    return runs;
}

class LiveJobTest : public testing::Test
{
protected:
    LiveJobTest()
    {
        m_plan.hasVideo = m_plan.hasAudio = true;
        m_plan.frameRate = {10, 1};
        m_plan.audioInfo = {1000, 1, 16};
    }

    LiveJob Start(const LiveJob::Limits& limits)
    {
        return {m_plan, m_writer, m_tally.emplace(m_plan, m_output), limits};
    }

    JobPlan m_plan;
    PacingWriter m_writer;
    OutputFile m_output{"none"};
    std::optional<Tally> m_tally;
};

TEST_F(LiveJobTest, StartsWithBothAndHoldsWhatDoesNotCome)
{
    LiveJob job = Start({2 * kSecond, 500 * kMs, 500 * kMs});
    constexpr Nanoseconds t = 100 * kSecond;
    job.Take(Shown('x', t)); // before there is audio
    EXPECT_FALSE(job.HasStarted());
    job.Take(Heard('A', t + 60 * kMs, 100));
    job.Take(Shown('a', t + 100 * kMs)); // the start
    job.Take(Heard('B', t + 160 * kMs, 100));
    job.Take(Shown('b', t + 205 * kMs));
    job.Take(Shown('c', t + 210 * kMs)); // too many for its place
    job.Take(Shown('d', t + 500 * kMs)); // two are lost before it
    job.HoldPictures(t + 1000 * kMs);
    job.HoldAudio(t + 1000 * kMs);
    EXPECT_EQ(Runs(m_writer.shown), "a1 b1 c2 d1");
    EXPECT_EQ(Runs(m_writer.heard), "A60 B100 .240");
    job.Take(Heard('C', t + 450 * kMs, 100)); // its first half comes too late
    job.HoldPictures(t + 1300 * kMs);
    EXPECT_EQ(Runs(m_writer.shown), "a1 b1 c2 d3");
    EXPECT_EQ(Runs(m_writer.heard), "A60 B100 .240 C50");
    job.Take(Shown('e', t + 1000 * kMs));
    job.Take(Heard('D', t + 1900 * kMs, 300)); // to the end and beyond
    EXPECT_FALSE(job.IsOver());
    job.HoldPictures(t + 9 * kSecond);
    EXPECT_TRUE(job.IsOver());
    job.End(true);
    EXPECT_EQ(Runs(m_writer.shown), "a1 b1 c2 d5 e11");
    EXPECT_EQ(Runs(m_writer.heard), "A60 B100 .240 C50 ?1350 D200");
    const Counts& counts = job.GetCounts();
    EXPECT_EQ(counts.pictures, 20);
    EXPECT_EQ(counts.repeated, 16);
    EXPECT_EQ(counts.dropped, 1);
    EXPECT_EQ(job.Silence(), 240 * kMs);
}

TEST_F(LiveJobTest, GoesOnWithoutSoundAndEndsWhereItIsStopped)
{
    LiveJob job = Start({std::nullopt, 0, 0});
    job.Take(Shown('a', kSecond));
    job.HoldPictures(3 * kSecond);
    EXPECT_FALSE(job.HasStarted());
    job.Take(Shown('b', 3 * kSecond + 50 * kMs));
    job.HoldPictures(3 * kSecond + 60 * kMs);
    EXPECT_TRUE(job.HasStarted());
    job.HoldAudio(3 * kSecond + 300 * kMs);
    job.Take(Heard('A', 3 * kSecond + 350 * kMs, 200));
    job.CountLost(3);
    job.End(false);
    EXPECT_EQ(Runs(m_writer.shown), "b5");
    EXPECT_EQ(Runs(m_writer.heard), ".250 ?50 A200");
    EXPECT_EQ(job.GetCounts().dropped, 3);
}

TEST_F(LiveJobTest, WaitsForSoundAndKeepsFiveSecondsOfIt)
{
    LiveJob late = Start({std::nullopt, 0, 500 * kMs});
    late.Take(Shown('a', kSecond));
    late.HoldPictures(3500 * kMs);
    EXPECT_FALSE(late.HasStarted());
    late.HoldPictures(3501 * kMs);
    EXPECT_TRUE(late.HasStarted());

    m_writer = {};
    LiveJob early = Start({});
    for (int i = 0; i <= 6; ++i)
        early.Take(Heard(static_cast<char>('A' + i), i * kSecond, 1000));
    early.Take(Shown('a', 999 * kMs));
    EXPECT_FALSE(early.HasStarted());
    early.Take(Shown('b', 1000 * kMs));
    EXPECT_EQ(Runs(m_writer.heard), "B1000 C1000 D1000 E1000 F1000 G1000");

    m_writer = {};
    LiveJob brief = Start({}); // over before there is sound
    brief.Take(Shown('a', kSecond));
    brief.End(false);
    EXPECT_EQ(Runs(m_writer.shown), "a1");
}

// Pictures for which there is no place, and audio that comes too late, are no refusals.
TEST_F(LiveJobTest, IsGivenUpWhereNothingCanBeWritten)
{
    class FullWriter final : public FrameWriter
    {
    public:
        int WritePicture(const AVFrame&, Nanoseconds, Nanoseconds) override { return picture; }
        int WriteSamples(std::span<const int16_t>, Nanoseconds) override { return block; }
        int picture = 0, block = 0;
    } full;
    LiveJob pictures(m_plan, full, m_tally.emplace(m_plan, m_output), {});
    pictures.Take(Heard('A', 0, 100));
    for (int i = 0; i <= 600; ++i)
        pictures.Take(Shown('a', i * kMs)); // at 6 places
    EXPECT_FALSE(pictures.IsOver());
    EXPECT_EQ(m_tally->Pictures().largestDropped, 601);
    pictures.HoldPictures(700 * kSecond);
    EXPECT_TRUE(pictures.IsOver());

    LiveJob blocks(m_plan, full, m_tally.emplace(m_plan, m_output), {});
    blocks.Take(Heard('A', 0, 100));
    blocks.Take(Shown('a', 0));
    for (int i = 0; i < 600; ++i)
        blocks.Take(Heard('A', 0, 100));
    EXPECT_FALSE(blocks.IsOver());
    EXPECT_FALSE(blocks.WroteAudio());
    for (int i = 1; i < 499; ++i)
        blocks.Take(Heard('A', i * 100 * kMs, 100));
    EXPECT_FALSE(blocks.IsOver());
    full.block = 1;
    blocks.Take(Heard('A', 50 * kSecond, 100));
    EXPECT_TRUE(blocks.WroteAudio());
    full.block = 0;
    blocks.HoldAudio(10000 * kSecond); // in blocks of 4096
    EXPECT_TRUE(blocks.IsOver());
    EXPECT_EQ(blocks.Position(), 50'100 * kMs + 500 * 4096 * kMs);
}

// A length that is no whole number of samples or pictures is reached, and with nothing there is nothing to end.
TEST_F(LiveJobTest, OneStreamAloneReachesItsLength)
{
    m_plan.hasVideo = false;
    LiveJob sound = Start({333'333'333, 0, 0});
    sound.End(false);
    EXPECT_TRUE(m_writer.heard.empty());
    sound.Take(Heard('A', 5 * kSecond, 100));
    sound.HoldAudio(6 * kSecond);
    EXPECT_TRUE(sound.IsOver());
    EXPECT_EQ(Runs(m_writer.heard), "A100 .233");

    m_plan.hasVideo = true;
    m_plan.hasAudio = false;
    LiveJob pictures = Start({333'333'333, 0, 0});
    pictures.Take(Shown('a', 0));
    pictures.Take(Shown('b', kSecond)); // behind the end
    EXPECT_TRUE(pictures.IsOver());
    EXPECT_EQ(Runs(m_writer.shown), "a3");
}

} // namespace
