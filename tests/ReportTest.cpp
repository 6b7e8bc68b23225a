// What reports are made of: the timeline, the tally, JSON, and files that are written in one go.
#include "host/base/ExitCode.h"
#include "host/base/Json.h"
#include "host/base/WholeFile.h"
#include "host/job/JobPlan.h"
#include "host/job/OutputFile.h"
#include "host/job/Tally.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using namespace host;
namespace fs = std::filesystem;

class ReportTest : public testing::Test
{
protected:
    void SetUp() override { fs::create_directories(m_folder); }
    void TearDown() override
    {
        fs::remove_all(m_folder);
        EXPECT_EQ(CountDescriptors(), m_descriptors) << "one stays open";
    }
    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    static std::ptrdiff_t CountDescriptors() { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); }

    const std::ptrdiff_t m_descriptors = CountDescriptors();
    const fs::path m_folder = fs::temp_directory_path() / ("encmgr-report-test-" + std::to_string(getpid()));
};

TEST(Timeline, KeepsItsSizeAndItsSums)
{
    const struct {
        AVRational rate;
        int64_t places;
        double bucketSeconds;
        size_t buckets;
    } cases[] = {
        {{25, 1}, 1, 0.12, 1},        {{25, 1}, 1800, 0.12, 600},
        {{25, 1}, 1801, 0.24, 301},   {{30000, 1001}, 100'000, 0.1001 * 64, 521},
        {{200, 1}, 12'001, 0.2, 301}, {{1, 100}, 700, 200.0, 350},
    };
    for (const auto& [rate, places, bucketSeconds, buckets] : cases) {
        Timeline timeline(rate);
        for (int64_t place = 0; place < places; ++place) {
            ++timeline.AtPlace(place).written;
            const Nanoseconds time = av_rescale(place, kSecond * rate.den, rate.num);
            ASSERT_EQ(timeline.IndexOf(time), timeline.IndexOfPlace(place)) << place;
        }
        EXPECT_DOUBLE_EQ(timeline.BucketSeconds(), bucketSeconds);
        ASSERT_EQ(timeline.Buckets().size(), buckets);
        // Each but the last holds the same.
        const auto all = timeline.Buckets();
        const int64_t sum =
            std::accumulate(all.begin(), all.end(), int64_t{0},
                            [](int64_t s, const Timeline::Bucket& bucket) { return s + bucket.written; });
        EXPECT_EQ(sum, places);
        for (size_t i = 1; i + 1 < all.size(); ++i)
            ASSERT_EQ(all[i].written, all[0].written) << i;
    }
    Timeline timeline({25, 1});
    EXPECT_EQ(timeline.IndexOf(-kSecond), 0u);
    EXPECT_LT(timeline.IndexOf(1'000'000'000 * kSecond), 600u);
}

TEST_F(ReportTest, TheTallySpreadsFillsAndNotesGrowth)
{
    JobPlan plan;
    plan.hasVideo = true;
    const OutputFile output(Path("out"));
    Tally tally(plan, output);
    tally.SetSampleRate(1000);
    const auto grow = [&](const char* bytes) { std::ofstream(Path("out"), std::ios::app) << bytes; };
    grow("head");
    tally.WriteAudio(0, 100, 100, 100);
    tally.WritePictures(2, 3, false);
    grow("01234");
    tally.WritePictures(3, 1, false);
    grow("56789");
    tally.WriteAudio(kSecond, 50, 100, 1000); // 0.9 s of fill
    tally.WriteAudio(kSecond, 50, 100, 0);    // what lay behind is gone
    tally.WriteAudio(kSecond, 50, 100, 40);
    grow("foot!");
    tally.Close();

    EXPECT_EQ(tally.Pictures().repeated, 2);
    EXPECT_EQ(tally.Pictures().largestRepeated, 2);
    const AudioCounts& audio = tally.Audio();
    EXPECT_EQ(audio.samplesIn, 250);
    EXPECT_EQ(audio.samplesOut, 1140);
    EXPECT_EQ(audio.filled, 900);
    EXPECT_EQ(audio.cut, 160);
    EXPECT_EQ(audio.gaps, 1);
    EXPECT_EQ(audio.droppedBlocks, 1);
    const auto buckets = tally.Times().Buckets(); // of 0.12 s
    ASSERT_EQ(buckets.size(), 9u);
    EXPECT_EQ(buckets[0].bytes, 9u);
    EXPECT_EQ(buckets[1].bytes, 5u);
    EXPECT_EQ(buckets[8].cut, 160);
    EXPECT_EQ(tally.BytesAtClose(), 5u);
    int64_t filled = 0;
    for (const Timeline::Bucket& bucket : buckets) {
        EXPECT_NEAR(static_cast<double>(bucket.filled), 100.0, 1.0); // it begins at 0.1 s
        filled += bucket.filled;
    }
    EXPECT_EQ(filled, 900);
    plan.hasVideo = false;
    EXPECT_EQ(Tally(plan, output).Times().BucketSeconds(), 0.1);
}

TEST(Json, IsUtf8WhateverComes)
{
    const Json value = {{"name", "a\xFFz\n"}, {"list", {1, 2.5, nullptr}}, {"inner", {{"empty", Json::array()}}}};
    EXPECT_EQ(JsonLine(value), "{\"name\":\"a\xEF\xBF\xBDz\\n\",\"list\":[1,2.5,null],\"inner\":{\"empty\":[]}}");
    EXPECT_EQ(JsonText({{"list", {1, 2}}, {"deep", {{"a", {{"b", 1}}}}}}),
              "{\n  \"list\": [1,2],\n  \"deep\": {\n    \"a\": {\"b\":1}\n  }\n}\n");
    EXPECT_EQ(ParseJson(JsonText(value), "x")["list"][1], 2.5);
    for (const std::string& bad : {std::string(), std::string("{"), std::string("{\"a\":1}}"), std::string("nonsense"),
                                   std::string("[1e999]"), std::string(1000000, '[')})
        EXPECT_THROW(ParseJson(bad, "x"), HostError) << bad.substr(0, 20);
}

TEST_F(ReportTest, WholeFilesReplaceOldOnesAtOnce)
{
    WriteWholeFile(Path("a"), "one");
    fs::create_symlink("a", Path("link"));
    ASSERT_EQ(chmod(Path("a").c_str(), 0640), 0);
    struct stat before = {}, after = {};
    ASSERT_EQ(stat(Path("a").c_str(), &before), 0);
    WriteWholeFile(Path("link"), "two");
    EXPECT_TRUE(fs::is_symlink(Path("link")));
    EXPECT_EQ(ReadWholeFile(Path("a")), "two");
    ASSERT_EQ(stat(Path("a").c_str(), &after), 0);
    EXPECT_NE(after.st_ino, before.st_ino) << "those who read the old one read on";
    EXPECT_EQ(after.st_mode & 0777, 0640u);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), {}), 2);

    EXPECT_TRUE(IsSamePath(Path("a"), Path("link")));
    EXPECT_TRUE(IsSamePath(Path("new"), Path("./new")));
    EXPECT_FALSE(IsSamePath(Path("a"), Path("new")));
    EXPECT_FALSE(IsSamePath("-", "-"));
    EXPECT_THROW(CheckFilePlace(Path("")), HostError);
    EXPECT_THROW(CheckFilePlace(Path("no/such")), HostError);
    EXPECT_THROW(WriteWholeFile(Path("no/such"), "x"), HostError);
    EXPECT_THROW(ReadWholeFile(Path("none")), HostError);
    EXPECT_THROW(ReadWholeFile(m_folder.string()), HostError);
    umask(022);
    WriteWholeFile(Path("fresh"), "x");
    EXPECT_EQ(fs::status(Path("fresh")).permissions(), fs::perms(0644)) << "as those of any new file";
    EXPECT_EQ(umask(022), 022u);
    fs::create_directory(Path("full")), fs::create_directory(Path("full/x")); // can't give way to a file
    EXPECT_THROW(CheckFilePlace(Path("full")), HostError);
    EXPECT_THROW(WriteWholeFile(Path("full"), "x"), HostError);
    fs::remove_all(Path("full"));
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), {}), 3);
    EXPECT_NO_THROW(CheckFilePlace(Path("fresh")));
    EXPECT_NO_THROW(CheckFilePlace("-"));
    const std::string large(300'000, 'y'); // in pieces
    WriteWholeFile(Path("fresh"), large);
    EXPECT_TRUE(ReadWholeFile(Path("fresh")) == large);
    try {
        WriteWholeFile("/dev/full", "x");
        FAIL();
    } catch (const HostError& error) {
        EXPECT_EQ(error.Code(), kExitWrite) << error.what();
    }
}

} // namespace
