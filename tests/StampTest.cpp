// Times of pictures and samples: grids of stamps, clocks, jumps, and the merge by time.
#include "host/job/TimeMerge.h"
#include "host/sources/StampClock.h"
#include "host/sources/StampGrid.h"
#include "host/sources/StampProbe.h"
#include "tests/HostHarness.h"

#include <cmath>
#include <gtest/gtest.h>

namespace
{

using namespace host;

constexpr Nanoseconds kMs = 1'000'000;

// ---- grids ----

struct Run {
    double rate;
    int pictures;
};

struct Stream {
    std::vector<Run> runs;
    int missing = 0;      // every so many pictures one is left out
    double firstMs = 0.0; // how much longer the first picture stands
    double waverMs = 0.0; // the stamps are off at random by up to this
    Nanoseconds tick = kMs;
    AVRational stated = {25, 1};
};

std::vector<Nanoseconds> StampsOf(const Stream& stream)
{
    std::vector<Nanoseconds> stamps;
    Random random;
    double start = 0.0;
    for (const Run& run : stream.runs) {
        for (int i = 0; i < run.pictures; ++i) {
            const double waver = stream.waverMs * (static_cast<double>(random.Next(2001)) / 1000.0 - 1.0);
            const double ms = start + 1000.0 * i / run.rate + waver + (stamps.empty() ? 0.0 : stream.firstMs);
            const double ticks = std::floor(ms * static_cast<double>(kMs) / static_cast<double>(stream.tick) + 0.5);
            if (stream.missing == 0 || i % stream.missing != stream.missing - 1)
                stamps.push_back(static_cast<Nanoseconds>(ticks) * stream.tick);
        }
        start += 1000.0 * run.pictures / run.rate;
    }
    return stamps;
}

constexpr double kNtsc = 30000.0 / 1001, kFilm = 24000.0 / 1001;
constexpr Nanoseconds kFine = 11111;

TEST(Grid, IsFoundWhateverTheContainerSays)
{
    const struct {
        const char* name;
        Stream stream;
        double rate;
        bool isWavering = false;
    } cases[] = {
        {"Steady", {.runs = {{25, 100}}}, 25},
        {"SteadyInMilliseconds", {.runs = {{kNtsc, 100}}, .stated = {30000, 1001}}, kNtsc},
        {"MeasuredBesideAUsualRate", {.runs = {{kFilm, 480}}, .stated = {18989, 792}}, kFilm},
        {"TelevisionUnstated", {.runs = {{kNtsc, 300}}, .tick = kFine}, kNtsc},
        {"NoUsualRate", {.runs = {{17.25, 400}}, .tick = kFine}, 17.25},
        {"FirstStaysLonger", {.runs = {{25, 80}}, .firstMs = 20, .stated = {2487, 100}}, 25},
        {"Gap", {.runs = {{25, 60}, {0.5, 1}, {25, 60}}, .stated = {20, 1}}, 25},
        {"EveryThirdMissing", {.runs = {{30, 120}}, .missing = 3, .stated = {20, 1}}, 30},
        {"Doubled", {.runs = {{25, 75}, {50, 150}}, .stated = {375, 10}}, 50},
        {"Halved", {.runs = {{60, 300}, {30, 60}}, .stated = {55, 1}}, 60},
        {"FilmAndVideo", {.runs = {{24, 72}, {30, 90}}, .stated = {27, 1}}, 30},
        {"VideoAndVideo", {.runs = {{25, 150}, {30, 90}}, .stated = {27, 1}}, 30},
        {"FasterThanMixedOnesGet", {.runs = {{25, 75}, {100, 300}}, .tick = kFine, .stated = {62, 1}}, 50},
        {"SteadyAndFast", {.runs = {{120, 600}}, .missing = 20, .tick = kFine, .stated = {114, 1}}, 120},
        {"SlowShow", {.runs = {{0.5, 20}}, .stated = {1, 2}}, 0.5},
        {"Phone", {.runs = {{30, 300}}, .waverMs = 6, .tick = kFine, .stated = {2987, 100}}, 30, true},
        {"PhoneAt60", {.runs = {{60, 600}}, .waverMs = 4, .tick = kFine, .stated = {598, 10}}, 60, true},
        {"PhoneWithGaps",
         {.runs = {{kNtsc, 600}}, .missing = 9, .waverMs = 5, .tick = kFine, .stated = {266, 10}},
         kNtsc,
         true},
    };
    for (const auto& [name, stream, rate, isWavering] : cases) {
        const auto grid = FindGrid(StampsOf(stream), stream.tick, stream.stated);
        ASSERT_TRUE(grid) << name;
        EXPECT_NEAR(av_q2d(grid->rate), rate, 1e-9) << name << ": " << grid->rate.num << "/" << grid->rate.den;
        EXPECT_EQ(grid->waver > 0, isWavering) << name;
        EXPECT_EQ(grid->isMixed, std::string_view(name).find("AndVideo") != std::string_view::npos) << name;
    }
}

TEST(GridOfFields, IsFinerThanAllSteps)
{
    // Film in the fields of television: 2 and 3 of them by turns.
    std::vector<Nanoseconds> stamps;
    for (int field = 0, i = 0; i < 100; field += 2 + i++ % 2)
        stamps.push_back(static_cast<Nanoseconds>(std::llround(field * 1001e9 / 60000)));
    EXPECT_NEAR(av_q2d(FindGrid(stamps, kFine, {30000, 1001})->rate), 60000.0 / 1001, 1e-9);
}

TEST(GridOfSawteeth, HasAPlaceForEachPicture)
{
    // Stamps that fall behind and catch up, by 3 ms at most: 6 steps of 18.67 ms would fit nearly as well as 7
    // of 16.67.
    std::vector<Nanoseconds> stamps;
    for (int i = 0; i < 300; ++i)
        stamps.push_back(kSecond * i / 60 + (i * 2 % 7 - 3) * kMs);
    EXPECT_NEAR(av_q2d(FindGrid(stamps, kFine, {1, 1})->rate), 60, 1e-9);
}

TEST(GridOfNothing, IsNone)
{
    EXPECT_FALSE(FindGrid({}, kMs, {25, 1}));
    EXPECT_FALSE(FindGrid(std::vector<Nanoseconds>{0, 40 * kMs}, kMs, {25, 1}));
    EXPECT_FALSE(FindGrid(std::vector<Nanoseconds>{80 * kMs, 40 * kMs, 0}, kMs, {25, 1}));
}

TEST(GridOfScreens, KeepsPicturesThatFollowEachOtherClosely)
{
    // A screen that shows a picture whenever something moves.
    Random random;
    std::vector<Nanoseconds> stamps = {0};
    for (int i = 0; i < 200; ++i)
        stamps.push_back(stamps.back() + 17 * kMs + random.Next(400) * kMs);
    const auto grid = FindGrid(stamps, kMs, {5, 1});
    EXPECT_GE(av_q2d(grid->rate), 30.0);
    EXPECT_LE(av_q2d(grid->rate), 60.0);
    EXPECT_EQ(grid->waver, 0);
    EXPECT_TRUE(grid->isMixed);
}

TEST(StampOrder, PutsPicturesInTheirOrderAndBeginsAnewAfterAJump)
{
    StampOrder order;
    for (const int ms : {0, 160, 80, 40, 120, 320, 240, 200, 280}) // as coded
        order.Add(ms * kMs + 5000 * kMs);
    for (const int ms : {0, 80, 40})
        order.Add(ms * kMs);
    std::vector<int> taken;
    for (const Nanoseconds time : order.Take())
        taken.push_back(static_cast<int>(time / kMs));
    EXPECT_EQ(taken, (std::vector{5000, 5040, 5080, 5120, 5160, 5200, 5240, 5280, 5320, 0, 40, 80}));
}

// ---- clocks ----

constexpr StampKind kRounded = {{30, 1}, kMs};

TEST(Clock, GivesTimes)
{
    const struct {
        const char* name;
        StampKind kind;
        std::vector<int> stamps; // in milliseconds, -1 for none
        std::vector<double> times;
    } cases[] = {
        {"RoundedGiveWayToTheCount", kRounded, {0, 33, 67, 100, 133}, {0, 100 / 3., 200 / 3., 100, 400 / 3.}},
        {"MissingFollowTheCount", kRounded, {5, -1, -1}, {5, 5 + 100 / 3., 5 + 200 / 3.}},
        {"MissingFromTheStart", kRounded, {-1, -1}, {0, 100 / 3.}},
        {"LeftOutPicturesKeepThePlaces", kRounded, {0, 67, 167, 200}, {0, 200 / 3., 500 / 3., 200}},
        {"OthersAreTrue", kRounded, {0, 33, 80, 113}, {0, 100 / 3., 80, 80 + 100 / 3.}},
        {"EarlierOnesAreTrue", kRounded, {0, 33, 60}, {0, 100 / 3., 60}},
        {"AtTheEdgeOfTheTolerance", {{25, 1}, 3 * kMs}, {0, 43, 84, 120}, {0, 40, 84, 124 - 4}},
        {"WaversAreFollowedSlowly", {{25, 1}, 16 * kMs, true}, {0, 48, 80}, {0, 40, 81}},
    };
    for (const auto& [name, kind, stamps, times] : cases) {
        StampClock clock(kind);
        for (size_t i = 0; i < stamps.size(); ++i) {
            const auto stamp = stamps[i] < 0 ? std::nullopt : std::optional(stamps[i] * kMs);
            EXPECT_NEAR(static_cast<double>(clock.Place(stamp, 1)) / kMs, times.at(i), 1e-6) << name << " " << i;
        }
    }
}

// ---- time lines ----

TEST(TimeLine, ClosesUpAJumpOfAllStreamsByTheSameAmount)
{
    TimeLine line(10 * kSecond);
    const size_t video = line.AddStream({{25, 1}, kMs}), audio = line.AddStream({{100, 1}, kMs});
    EXPECT_EQ(line.Place(video, 0, 1), 0);
    EXPECT_EQ(line.Place(audio, 10 * kMs, 3), 10 * kMs); // up to 40 ms
    EXPECT_EQ(line.Jumps(), 0);
    // The second recording begins with its audio 20 ms before its pictures.
    EXPECT_EQ(line.Place(video, 1000 * kSecond + 20 * kMs, 1), 40 * kMs);
    EXPECT_EQ(line.Place(audio, 1000 * kSecond, 1), 20 * kMs);
    EXPECT_EQ(line.Jumps(), 2);
    EXPECT_EQ(line.Place(video, 1000 * kSecond + 60 * kMs, 1), 80 * kMs);
}

TEST(TimeLine, KeepsRealGapsAndOverlaps)
{
    TimeLine line(10 * kSecond);
    const size_t audio = line.AddStream({{1000, 1}, 20 * kMs});
    EXPECT_EQ(line.Place(audio, 3000 * kSecond, 100), 3000 * kSecond); // a late start
    EXPECT_EQ(line.Place(audio, 3010 * kSecond, 100), 3010 * kSecond);
    EXPECT_EQ(line.Place(audio, 3009'700 * kMs, 100), 3009'700 * kMs); // an overlap of 400 ms
    EXPECT_EQ(line.Place(audio, 3009'810 * kMs, 100), 3009'800 * kMs); // within the tolerance
    EXPECT_EQ(line.Jumps(), 0);
    EXPECT_EQ(line.Place(audio, 3020'000 * kMs, 100), 3009'900 * kMs); // too far for a gap
    EXPECT_EQ(line.Place(audio, 3019'400 * kMs, 100), 3010'000 * kMs); // too far back for an overlap
    EXPECT_EQ(line.Jumps(), 2);
}

// ---- the merge ----

// "v40 a50", in milliseconds.
std::string Merged(Source* video, Source* audio)
{
    TimeMerge merge(video, audio);
    std::string order;
    for (Item item = merge.Next(); item.kind != Item::Kind::kEnd; item = merge.Next())
        order += (item.kind == Item::Kind::kPicture ? "v" : "a") + std::to_string(item.time / kMs) + " ";
    return order;
}

TEST(TimeMerge, OrdersSourcesByTime)
{
    ScriptedSource both({Picture(0), Picture(40 * kMs), Block(0, 10), Block(50 * kMs, 10), Picture(50 * kMs)});
    EXPECT_EQ(Merged(&both, &both), "v0 a0 v40 v50 a50 ");
    ScriptedSource video({Picture(10 * kMs), Picture(30 * kMs)}), audio({Block(0, 10), Block(20 * kMs, 10)});
    EXPECT_EQ(Merged(&video, &audio), "a0 v10 a20 v30 ");
    ScriptedSource alone({Block(0, 10)});
    EXPECT_EQ(Merged(nullptr, &alone), "a0 ");
}

TEST(TimeMerge, DoesNotReadAFileToItsEndForAStreamThatComesLate)
{
    std::vector<Item> items;
    for (int i = 0; i < 1000; ++i)
        items.push_back(Picture(i * 40 * kMs));
    items.push_back(Block(0, 10));
    ScriptedSource source(std::move(items));
    TimeMerge merge(&source, &source);
    EXPECT_EQ(merge.First().picture, 0);
    EXPECT_FALSE(merge.First().block);
    EXPECT_LT(source.Given(), 100u);
}

} // namespace
