// The job's way from scripted sources to a recording writer: which picture stands where, and what becomes of audio.
#include "host/base/Messages.h"
#include "host/job/Job.h"
#include "tests/HostHarness.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>

namespace
{

using namespace host;

constexpr Nanoseconds kMs = 1'000'000;
using Blocks = std::vector<std::pair<Nanoseconds, size_t>>;

// Writes as the library does: at each call all places up to the one of the time, with the picture of the call.
class RecordingWriter : public FrameWriter
{
public:
    explicit RecordingWriter(AVRational rate) : m_rate(rate) {}

    int WritePicture(const AVFrame& picture, Nanoseconds time, Nanoseconds) override
    {
        if (refuses)
            return 0;
        const double ticks = std::floor(static_cast<double>(time) / 100.0);
        const auto due = static_cast<size_t>(ticks / 1e7 * av_q2d(m_rate) + 0.5) + 1;
        const int copies = static_cast<int>(due - std::min(due, shown.size()));
        shown.insert(shown.end(), static_cast<size_t>(copies), static_cast<int>(picture.pts));
        longestRun = std::max(longestRun, copies);
        return copies;
    }
    int WriteSamples(std::span<const int16_t> part, Nanoseconds time) override
    {
        EXPECT_FALSE(part.empty());
        if (refuses)
            return 0;
        blocks.emplace_back(time, part.size());
        samples.insert(samples.end(), part.begin(), part.end());
        return 1;
    }

    std::vector<int> shown; // the number of the picture at each place
    int longestRun = 0;     // copies of one call
    Blocks blocks;
    std::vector<int16_t> samples;
    bool refuses = false;
    int WriteError() const override { return isDiskFull && shown.size() >= 10 ? ENOSPC : 0; }
    bool isDiskFull = false;

private:
    AVRational m_rate;
};

// A picture that knows its number.
Item Numbered(int number, Nanoseconds time, Nanoseconds duration = 0)
{
    const std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
    frame->pts = number;
    return {Item::Kind::kPicture, time, duration, frame, {}};
}

struct Result {
    RecordingWriter writer;
    Counts counts;
    Nanoseconds position;
    bool isRefused;
    bool wroteAudio;
    std::string brokenLimit;
};

// What a job is like, beside its rates.
struct Setting {
    std::optional<int64_t> pictures;
    bool refuses = false;
    bool isDiskFull = false;
    Nanoseconds longestGap = 10 * kSecond;
    bool isStrict = false;
    Nanoseconds start = 0;
    std::optional<Nanoseconds> end;
};

// Of equal numbers.
int64_t LongestRun(const std::vector<int>& numbers)
{
    int64_t longest = 0, run = 0;
    for (size_t i = 0; i < numbers.size(); ++i) {
        run = i > 0 && numbers[i] == numbers[i - 1] ? run + 1 : 1;
        longest = std::max(longest, run);
    }
    return longest;
}

int64_t Sum(const Tally& tally, int64_t Timeline::Bucket::*field)
{
    int64_t sum = 0;
    for (const Timeline::Bucket& bucket : tally.Times().Buckets())
        sum += bucket.*field;
    return sum;
}

// sourceRate 0: no pictures.
Result RunJob(std::vector<Item> items, AVRational sourceRate, AVRational rate, const Setting& setting = {})
{
    JobPlan plan;
    plan.hasVideo = sourceRate.num > 0;
    plan.hasAudio =
        std::any_of(items.begin(), items.end(), [](const Item& item) { return item.kind == Item::Kind::kAudio; });
    plan.frameRate = rate;
    plan.videoInfo.framerate = plan.hasVideo ? av_q2d(sourceRate) : 0.0;
    plan.audioInfo = {1000, 1, 16};
    plan.pictures = setting.pictures;
    plan.longestGap = setting.longestGap;
    plan.isStrict = setting.isStrict;
    plan.start = setting.start;
    plan.end = setting.end;

    Messages messages;
    messages.SetVolume(Volume::kQuiet);
    const OutputFile output("nowhere");
    Tally tally(plan, output);
    Progress progress(messages, ProgressKind::kNone, output, 0, true);
    ScriptedSource source(std::move(items));
    TimeMerge merge(plan.hasVideo ? &source : nullptr, plan.hasAudio ? &source : nullptr);
    RecordingWriter writer(rate);
    writer.refuses = setting.refuses;
    writer.isDiskFull = setting.isDiskFull;
    Job job(plan, merge, writer, tally, progress);
    job.Run();
    const bool isRefused = job.IsRefused(); // by the writer, too
    const Counts& counts = job.GetCounts();
    EXPECT_EQ(counts.largestRepeated, LongestRun(writer.shown) - !writer.shown.empty());
    if (!isRefused) {
        EXPECT_EQ(counts.taken, counts.pictures - counts.repeated + counts.dropped);
    }
    EXPECT_EQ(Sum(tally, &Timeline::Bucket::written), counts.pictures);
    EXPECT_EQ(Sum(tally, &Timeline::Bucket::repeated), counts.repeated);
    EXPECT_EQ(Sum(tally, &Timeline::Bucket::dropped), counts.dropped);
    return {std::move(writer), job.GetCounts(), job.Position(), isRefused, job.WroteAudio(), job.BrokenLimit()};
}

std::vector<Item> Steady(double rate, int pictures, double startMs = 0.0)
{
    std::vector<Item> items;
    for (int i = 0; i < pictures; ++i)
        items.push_back(Numbered(i, std::llround((startMs + 1000.0 * i / rate) * 1e6), std::llround(1e9 / rate)));
    return items;
}

std::vector<int> Counting(int count)
{
    std::vector<int> numbers(static_cast<size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

// ---- places ----

TEST(Places, GoToThePicturesNearThem)
{
    const struct {
        const char* name;
        double farthest;
        std::vector<double> positions;
        std::vector<int> expected; // at each place, -1 where none has its own
    } cases[] = {
        {"OneForEach", 0.75, {0, 1, 2, 3}, {0, 1, 2, 3}},
        {"GapsStayFree", 0.75, {0, 1, 4}, {0, 1, -1, -1, 2}},
        {"WaveringOnesKeepTheirOwn", 0.75, {0, 1.6, 1.9, 3.3, 3.8}, {0, 1, 2, 3, 4}},
        {"HalvesTakeTurnsNeither", 0.75, {0, 1.5, 2.4999, 3.5, 4.4999}, {0, 1, 2, 3, 4}},
        {"NoPlaceLeft", 0.75, {0, 1, 1.2, 2}, {0, 1, 3}},
        {"HalfTheRate", 0.501, {0, 0.5, 1, 1.5, 2, 2.5}, {0, 2, 4, 5}},
        {"TwoOfFive", 0.501, {0, 0.4, 0.8, 1.2, 1.6, 2.0, 2.4, 2.8, 3.2}, {0, 2, 5, 7}},
        {"NearestOfMany", 0.501, {0, .2, .4, .6, .8, 1.0, 1.2, 1.4, 1.7, 2.2}, {0, 5, 9}},
        {"BackwardsFindNone", 0.75, {5, 6, 2, 7}, {-1, -1, -1, -1, -1, 0, 1, 3}},
    };
    for (const auto& [name, farthest, positions, expected] : cases) {
        PicturePlaces places(farthest);
        std::vector<int> shown;
        const auto show = [&](const std::optional<PicturePlaces::Placed>& placed) {
            shown.resize(static_cast<size_t>(placed->place), -1);
            shown.push_back(static_cast<int>(placed->picture.time));
        };
        int number = 0;
        for (const double position : positions)
            if (const auto placed = places.Put(Picture(number++), position))
                show(placed);
        while (const auto placed = places.TakeFirst())
            show(placed);
        EXPECT_EQ(shown, expected) << name;
        EXPECT_EQ(places.Dropped(), number - std::count_if(shown.begin(), shown.end(), [](int n) { return n >= 0; }));
        // A run lies between two that are shown, or at an end.
        std::vector<int> ends = {-1, number};
        std::copy_if(shown.begin(), shown.end(), std::back_inserter(ends), [](int n) { return n >= 0; });
        std::sort(ends.begin(), ends.end());
        int run = 0;
        for (size_t i = 1; i < ends.size(); ++i)
            run = std::max(run, ends[i] - ends[i - 1] - 1);
        EXPECT_EQ(places.LargestRunDropped(), run) << name;
    }
}

// ---- rates ----

TEST(JobRates, EqualOnesShowEachPictureOnce)
{
    for (const AVRational rate : {AVRational{25, 1}, {30000, 1001}, {60, 1}, {199, 1}}) {
        const Result result = RunJob(Steady(av_q2d(rate), 300), rate, rate);
        EXPECT_EQ(result.writer.shown, Counting(300)) << av_q2d(rate);
        EXPECT_EQ(result.counts.repeated, 0);
        EXPECT_EQ(result.counts.dropped, 0);
    }
}

TEST(JobRates, LowerOnesShowThePictureNearestToEachPlace)
{
    struct Rates {
        double from;
        AVRational to;
    };
    for (const auto& [from, to] :
         {Rates{60, {24, 1}}, {50, {25, 1}}, {30000.0 / 1001, {25, 1}}, {25, {24, 1}}, {30, {1, 1}}}) {
        const auto result = RunJob(Steady(from, 300), av_d2q(from, 100000), to);
        const auto& shown = result.writer.shown;
        ASSERT_EQ(shown.size(), static_cast<size_t>(std::llround(300 / from * av_q2d(to))));
        for (size_t place = 0; place < shown.size(); ++place) {
            const double position = static_cast<double>(place) / av_q2d(to) * from; // in pictures
            EXPECT_LE(std::fabs(shown[place] - std::min(position, 299.0)), 0.5 + 1e-6) << from << " place " << place;
        }
        EXPECT_EQ(result.counts.pictures, static_cast<int64_t>(shown.size()));
        EXPECT_EQ(result.counts.repeated, 0);
        EXPECT_EQ(result.counts.dropped, 300 - result.counts.pictures);
    }
}

TEST(JobRates, HigherOnesRepeatThePictureBefore)
{
    const Result result = RunJob(Steady(24, 4), {24, 1}, {60, 1});
    EXPECT_EQ(result.writer.shown, (std::vector<int>{0, 0, 0, 1, 1, 2, 2, 2, 3, 3}));
    EXPECT_EQ(result.counts.repeated, 6);
    EXPECT_EQ(result.counts.dropped, 0);
}

TEST(JobRates, AGapShowsThePictureBeforeIt)
{
    std::vector<Item> items = Steady(25, 3);
    items.push_back(Numbered(3, 10'000 * kMs, 40 * kMs));
    const Result result = RunJob(std::move(items), {25, 1}, {25, 1});
    ASSERT_EQ(result.writer.shown.size(), 251u);
    EXPECT_EQ(result.writer.shown[249], 2);
    EXPECT_EQ(result.writer.shown[250], 3);
    EXPECT_EQ(result.counts.repeated, 247);
    EXPECT_LE(result.writer.longestRun, 25); // in steps of a second, between which one can interrupt
}

// ---- the start and the end ----

TEST(JobStart, IsTheFirstTimeOfBothStreams)
{
    const struct {
        AVRational from, to;
        int pictures;
        double picturesMs;
        Nanoseconds audioMs, blockMs; // as it comes, and as it is written
        std::vector<int> begin;       // of the pictures shown
        size_t places;
    } cases[] = {
        // Pictures that fall on places, or so near that nobody notices, leave the audio's time alone.
        {{25, 1}, {25, 1}, 10, 1090, 1000, 0, {0, 0, 0, 1, 2, 3}, 12},
        {{25, 1}, {25, 1}, 10, 1100, 1000, 20, {0, 0, 0, 0, 1}, 13}, // others move the start back to a place
        {{30, 1}, {25, 2}, 60, 1021, 1000, 0, {0}, 25},              // at a lower rate each place has a nearest picture
        {{25, 1}, {25, 1}, 10, 1000, 1100, 100, {0, 1}, 10},
    };
    for (const auto& [from, to, pictures, picturesMs, audioMs, blockMs, begin, places] : cases) {
        std::vector<Item> items = Steady(from.num, pictures, picturesMs);
        items.insert(items.begin(), Block(audioMs * kMs, 500));
        const RecordingWriter writer = RunJob(items, from, to).writer;
        EXPECT_EQ(writer.blocks, (Blocks{{blockMs * kMs, 500}})) << picturesMs;
        EXPECT_TRUE(std::equal(begin.begin(), begin.end(), writer.shown.begin())) << picturesMs;
        EXPECT_EQ(writer.shown.size(), places) << picturesMs;
    }
}

TEST(JobEnd, HoldsTheLastPictureAsLongAsItsSourceSays)
{
    std::vector<Item> items = Steady(25, 3);
    items.back().duration = 220 * kMs;
    EXPECT_EQ(RunJob(items, {25, 1}, {25, 1}).writer.shown, (std::vector<int>{0, 1, 2, 2, 2, 2, 2, 2}));
    items.back().duration = int64_t{1} << 62; // no more than an hour
    EXPECT_EQ(RunJob(items, {25, 1}, {25, 1}).writer.shown.size(), 90002u);
}

TEST(JobEnd, ComesAfterSoManyPicturesAndTheirAudio)
{
    const auto source = [] {
        std::vector<Item> items = Steady(25, 400);
        for (int i = 0; i < 16; ++i)
            items.insert(items.begin() + i * 25 + i, Block(i * kSecond, 1000));
        return items;
    };
    const Result cut = RunJob(source(), {25, 1}, {25, 1}, {.pictures = 40});
    EXPECT_EQ(cut.writer.shown, Counting(40));
    EXPECT_EQ(cut.writer.samples.size(), 1600u);
    EXPECT_EQ(RunJob(source(), {25, 1}, {50, 1}, {.pictures = 40}).writer.samples.size(), 800u);
    // A single picture that stands until the end; one that comes far too late.
    EXPECT_EQ(RunJob({Numbered(0, 0), Numbered(1, 60 * kSecond)}, {25, 1}, {25, 1}, {.pictures = 30}).writer.shown,
              std::vector<int>(30, 0));
}

// Pictures every 40 ms, and a sample a millisecond that holds its time.
TEST(JobPart, HasWhatStandsInIt)
{
    const auto source = [] {
        std::vector<Item> items;
        for (int i = 0; i < 100; ++i) {
            items.push_back(Numbered(i, i * 40 * kMs, 40 * kMs));
            items.push_back(Block(i * 40 * kMs, 40));
            std::iota(items.back().samples.begin(), items.back().samples.end(), static_cast<int16_t>(i * 40));
        }
        return items;
    };
    const struct {
        const char* what;
        Setting setting;
        AVRational to;
        int first; // picture
        size_t places;
        std::vector<int> samples; // from and to
    } cases[] = {
        {"begins at a picture", {.start = 400 * kMs}, {25, 1}, 10, 90, {400, 4000}},
        {"begins between two", {.start = 410 * kMs}, {25, 1}, 11, 89, {440, 4000}},
        {"of more places shows what stands then", {.start = 410 * kMs}, {100, 1}, 10, 359, {410, 4000}},
        {"ends between two", {.end = 410 * kMs}, {25, 1}, 0, 11, {0, 440}},
        {"ends at a picture", {.end = 400 * kMs}, {25, 1}, 0, 10, {0, 400}},
        {"is at least a picture", {.end = 1}, {25, 1}, 0, 1, {0, 40}},
        {"both", {.start = 400 * kMs, .end = 600 * kMs}, {25, 1}, 10, 5, {400, 600}},
        {"both, and fewer pictures", {.pictures = 2, .start = 400 * kMs, .end = 600 * kMs}, {25, 1}, 10, 2, {400, 480}},
    };
    for (const auto& [what, setting, to, first, places, samples] : cases) {
        const RecordingWriter writer = RunJob(source(), {25, 1}, to, setting).writer;
        ASSERT_FALSE(writer.shown.empty() || writer.samples.empty()) << what;
        EXPECT_EQ(writer.shown.front(), first) << what;
        EXPECT_EQ(writer.shown.size(), places) << what;
        EXPECT_EQ(writer.samples.front(), samples[0]) << what;
        EXPECT_EQ(writer.samples.back() + 1, samples[1]) << what;
        EXPECT_EQ(writer.blocks.front().first, 0) << what;
    }
}

// ---- limits ----

TEST(JobLimits, EndItWithTheReason)
{
    const auto gap = [](Nanoseconds behind) {
        std::vector<Item> items = Steady(25, 3);
        items.push_back(Numbered(3, items.back().time + 40 * kMs + behind, 40 * kMs));
        return items;
    };
    const Setting strict = {.isStrict = true};
    const struct {
        const char* what;
        std::vector<Item> items;
        AVRational from, to;
        Setting setting;
        std::string brokenLimit;
    } cases[] = {
        {"just as long", gap(10 * kSecond), {25, 1}, {25, 1}, {}, ""},
        {"longer", gap(10'040 * kMs), {25, 1}, {25, 1}, {}, "no picture for 10.0 s from 0.120 s on; --max-gap 11"},
        {"allowed", gap(11 * kSecond), {25, 1}, {50, 1}, {.longestGap = 11 * kSecond}, ""},
        {"behind the end", gap(60 * kSecond), {25, 1}, {25, 1}, {.pictures = 30}, ""},
        {"a slow source", Steady(1.0 / 20, 3), {1, 20}, {25, 1}, {}, ""},
        {"its first",
         {Block(0, 500), Numbered(0, 11 * kSecond), Numbered(1, 11'040 * kMs)},
         {25, 1},
         {25, 1},
         {},
         "no picture for 11.0 s from 0.0"},
        {"none repeated", Steady(25, 300), {25, 1}, {25, 1}, strict, ""},
        {"one repeated", gap(40 * kMs), {25, 1}, {25, 1}, strict, "constant rate: by 0.120 s, 1 repeated, 0 dropped"},
        {"one dropped", Steady(25, 300), {25, 1}, {24, 1}, strict, "0 repeated, 1 dropped"},
    };
    for (const auto& [what, items, from, to, setting, brokenLimit] : cases) {
        const Result result = RunJob(items, from, to, setting);
        EXPECT_NE(result.brokenLimit.find(brokenLimit), std::string::npos) << what << ": " << result.brokenLimit;
        EXPECT_EQ(result.brokenLimit.empty(), brokenLimit.empty()) << what << ": " << result.brokenLimit;
        EXPECT_LE(result.writer.shown.size(), brokenLimit.empty() ? 2000u : 40u) << what;
    }
}

TEST(JobStreams, OneThatIsLostIsLeftOut)
{
    ScriptedSource source({Numbered(0, 0), Block(0, 500), Numbered(1, 40 * kMs), Block(500 * kMs, 500)});
    TimeMerge merge(nullptr, &source);
    EXPECT_FALSE(merge.First().picture);
    for (const Nanoseconds time : {Nanoseconds{0}, 500 * kMs}) {
        const Item item = merge.Next();
        EXPECT_EQ(item.kind, Item::Kind::kAudio);
        EXPECT_EQ(item.time, time);
    }
    EXPECT_EQ(merge.Next().kind, Item::Kind::kEnd);
}

// ---- audio ----

TEST(JobAudio, GoesInShortBlocksWithTheirTimes)
{
    Item block = Block(0, 9000);
    for (size_t i = 0; i < block.samples.size(); ++i)
        block.samples[i] = static_cast<int16_t>(i);
    const auto samples = block.samples;
    const Result result = RunJob({std::move(block), Block(9500 * kMs, 100)}, {0, 1}, {25, 1});
    EXPECT_EQ(result.writer.blocks, (Blocks{{0, 4096}, {4096 * kMs, 4096}, {8192 * kMs, 808}, {9500 * kMs, 100}}));
    EXPECT_TRUE(std::equal(samples.begin(), samples.end(), result.writer.samples.begin()));
    EXPECT_EQ(result.position, 9600 * kMs);
    EXPECT_TRUE(result.wroteAudio);
}

TEST(JobRefusal, EndsAJobThatNothingIsWrittenOf)
{
    const Result result = RunJob(Steady(25, 5000), {25, 1}, {25, 1}, {.refuses = true});
    EXPECT_TRUE(result.isRefused);
    EXPECT_EQ(result.counts.pictures, 0);
    std::vector<Item> blocks(600, Block(0, 10));
    const Result audio = RunJob(std::move(blocks), {0, 1}, {25, 1}, {.refuses = true});
    EXPECT_TRUE(audio.isRefused);
    EXPECT_FALSE(audio.wroteAudio);
    const Result full = RunJob(Steady(25, 5000), {25, 1}, {25, 1}, {.isDiskFull = true});
    EXPECT_TRUE(full.isRefused);
    EXPECT_EQ(full.counts.pictures, 10) << "a full disk ends it at once";
}

} // namespace
