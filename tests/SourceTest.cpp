// Media files as sources: pictures once each, with the times at which they stand. The ffmpeg command makes the files
// and decodes them for comparison.
#include "host/base/Messages.h"
#include "host/sources/MediaInput.h"
#include "host/sources/Stills.h"
#include "host/sources/StreamInfo.h"
#include "tests/HostHarness.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace
{

using namespace host;

constexpr int kWidth = 64, kHeight = 48;

class SourceTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_folder = std::filesystem::temp_directory_path() / ("encmgr-source-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    void Ffmpeg(const std::string& arguments) const
    {
        const std::string command =
            "cd " + m_folder.string() + " && ffmpeg -v error -nostdin -y " + arguments + " </dev/null 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        std::string said;
        for (int c; (c = std::fgetc(pipe)) != EOF;)
            said += static_cast<char>(c);
        ASSERT_EQ(pclose(pipe), 0) << command << "\n" << said;
    }

    // A moving picture of 3 seconds through a filter that moves its times or leaves pictures out.
    void Make(const std::string& name, const std::string& rate, const std::string& filter) const
    {
        Ffmpeg("-f lavfi -i testsrc2=size=64x48:rate=" + rate + " -t 3 -vf 'settb=1/90000," + filter +
               "' -vsync passthrough -enc_time_base 1/90000 -c:v libx264 -bf 2 -pix_fmt yuv420p " + name);
    }

    std::filesystem::path m_folder;
};

struct Pictures {
    AVRational rate;
    std::vector<Nanoseconds> times;
    std::string bytes; // of all planes
};

Pictures ReadAll(const std::string& name)
{
    Messages messages;
    messages.SetVolume(Volume::kQuiet);
    MediaInput input(name, {true, false}, messages);
    Pictures pictures = {input.Video()->frameRate, {}, {}};
    for (Item item = input.Next(); item.kind != Item::Kind::kEnd; item = input.Next()) {
        pictures.times.push_back(item.time);
        for (int plane = 0; plane < 3; ++plane)
            for (int y = 0; y < (plane ? kHeight / 2 : kHeight); ++y)
                pictures.bytes.append(
                    reinterpret_cast<const char*>(item.frame->data[plane] + y * item.frame->linesize[plane]),
                    plane ? kWidth / 2 : kWidth);
    }
    return pictures;
}

// A picture's place on the grid of its rate, times 1000.
std::vector<int64_t> PlacesOf(const Pictures& pictures)
{
    std::vector<int64_t> places;
    for (const Nanoseconds time : pictures.times)
        places.push_back(
            av_rescale(time - pictures.times.front(), 1000LL * pictures.rate.num, kSecond * pictures.rate.den));
    return places;
}

} // namespace

TEST_F(SourceTest, OldRecordersReorderedPicturesComeOnceEach)
{
    // AVI tells when packets are to be decoded, and libavformat guesses times of presentation for some of them.
    for (const std::string codec : {"-c:v mpeg4 -bf 2 -q:v 3", "-c:v libx264 -bf 3", "-c:v mpeg2video -bf 2 -q:v 3"}) {
        Ffmpeg("-f lavfi -i testsrc2=size=64x48:rate=25 -t 3 -pix_fmt yuv420p " + codec + " old.avi");
        Ffmpeg("-i old.avi -f rawvideo expected.yuv");
        const Pictures pictures = ReadAll(Path("old.avi"));
        std::ifstream stream(Path("expected.yuv"), std::ios::binary);
        const std::string expected((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        EXPECT_EQ(expected.size(), 75u * kWidth * kHeight * 3 / 2);
        EXPECT_TRUE(pictures.bytes == expected) << codec;
        ASSERT_EQ(pictures.times.size(), 75u) << codec;
        for (size_t i = 0; i < pictures.times.size(); ++i)
            EXPECT_EQ(pictures.times[i], static_cast<Nanoseconds>(i) * kSecond / 25) << codec;
    }
}

TEST_F(SourceTest, TheRateIsThatOfTheGrid)
{
    struct Case {
        const char* rate;
        const char* filter;
        AVRational expected;
        std::vector<int64_t> firstPlaces; // times 1000
    };
    const Case cases[] = {
        {"30", "select=mod(n\\,3)", {30, 1}, {0, 1000, 3000, 4000, 6000}},
        {"25", "setpts=if(eq(N\\,0)\\,0\\,PTS+0.02/TB)", {25, 1}, {0, 1500, 2500, 3500}},
        {"30000/1001", "select=not(between(n\\,2\\,40))", {30000, 1001}, {0, 1000, 41000, 42000}},
        {"50", "select=lt(n\\,50)*not(mod(n\\,2))+gte(n\\,50)", {50, 1}, {0, 2000, 4000, 6000}},
        {"30", "setpts=PTS+(mod(N*N*7\\,11)-5)*0.001/TB", {30, 1}, {}},
    };
    for (const auto& [rate, filter, expected, firstPlaces] : cases)
        for (const std::string name : {"file.mp4", "file.mkv"}) {
            Make(name, rate, filter);
            const Pictures pictures = ReadAll(Path(name));
            EXPECT_EQ(av_cmp_q(pictures.rate, expected), 0) << name << " " << filter << " " << pictures.rate.num;
            std::vector<int64_t> places = PlacesOf(pictures);
            for (size_t i = 0; i < firstPlaces.size(); ++i)
                EXPECT_NEAR(static_cast<double>(places.at(i)), static_cast<double>(firstPlaces[i]), 30) << filter;
            for (size_t i = 0; firstPlaces.empty() && i < places.size(); ++i) // stamps that waver: a place for each
                EXPECT_NEAR(static_cast<double>(places[i]), 1000.0 * static_cast<double>(i), 250) << filter;
        }
}

TEST_F(SourceTest, APipeIsReadAheadAndLosesNothing)
{
    Make("file.mkv", "30", "select=mod(n\\,3)");
    const Pictures file = ReadAll(Path("file.mkv"));
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    const std::string command = "cat " + Path("file.mkv") + " > " + Path("pipe") + " &";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const Pictures piped = ReadAll(Path("pipe"));
    EXPECT_EQ(av_cmp_q(piped.rate, {30, 1}), 0);
    EXPECT_EQ(piped.times, file.times);
    EXPECT_TRUE(piped.bytes == file.bytes);
}

TEST_F(SourceTest, AudioAloneKeepsItsTimeInTheFile)
{
    Ffmpeg("-f lavfi -i testsrc2=size=64x48:rate=25 -itsoffset 0.5 -f lavfi -i sine=r=48000 -t 2 -c:v mpeg4 -c:a flac "
           "late.mkv");
    Messages messages;
    MediaInput input(Path("late.mkv"), {false, true}, messages);
    const Item first = input.Next();
    EXPECT_EQ(first.kind, Item::Kind::kAudio);
    EXPECT_NEAR(static_cast<double>(first.time), 0.5e9, 2e6);
}

// A grey that becomes lighter every second, from 1.5 s on in the file's own time; pixels of 2:1, stood on their side.
TEST_F(SourceTest, StillsAndBytesAreThoseOfTheirTimes)
{
    Ffmpeg("-f lavfi -i 'color=s=64x48:r=10,format=yuv420p,geq=lum=40+40*floor(T):cb=128:cr=128' -f lavfi -i "
           "sine=r=8000:samples_per_frame=800 -t 4 -vf setsar=2 -c:v mpeg4 -q:v 2 -bf 2 -g 15 -c:a pcm_s16le "
           "-output_ts_offset 1.5 grey.mkv");
    Ffmpeg("-i grey.mkv -c copy -copyts -metadata:s:v rotate=90 grey.mov");
    Messages messages;
    const std::vector<Nanoseconds> times = {0, 990 * kSecond / 1000, kSecond, 2550 * kSecond / 1000,
                                            3950 * kSecond / 1000};
    for (const auto& [name, width, height] : {std::tuple("grey.mkv", 32, 12), {"grey.mov", 12, 32}}) {
        const std::vector<Bitmap> stills = StillsOf(Path(name), times, 32, messages);
        ASSERT_EQ(stills.size(), times.size()) << name;
        for (size_t i = 0; i < stills.size(); ++i) {
            EXPECT_EQ(stills[i].width, width) << name;
            EXPECT_EQ(stills[i].height, height) << name;
            const int64_t second = times[i] / kSecond;
            const double level = 40.0 + 40.0 * static_cast<double>(second);
            EXPECT_NEAR(stills[i].bytes.at(4 * 5), (level - 16) * 255 / 219, 4) << name << i;
            EXPECT_EQ(stills[i].bytes.at(4 * 5 + 3), 255) << name << i;
        }
    }
    EXPECT_EQ(StillsOf("testcard:seconds=2,size=64x64", std::vector<Nanoseconds>{0, kSecond, 3 * kSecond}, 16, messages)
                  .size(),
              2u);
    EXPECT_TRUE(StillsOf(Path("none"), times, 32, messages).empty());

    const StreamBytes bytes = BytesAlong(Path("grey.mkv"), 0.5, 4, messages);
    EXPECT_EQ(bytes.audio, (std::vector<int64_t>{8000, 8000, 8000, 40000})); // the last has all that is left
    ASSERT_EQ(bytes.video.size(), 4u);
    for (const int64_t count : bytes.video)
        EXPECT_TRUE(count > 50 && count < 40000) << count;
    EXPECT_TRUE(BytesAlong(Path("grey.mkv"), 0.0, 4, messages).video.empty());
    EXPECT_TRUE(BytesAlong(Path("grey.mkv"), 1.0, 0, messages).video.empty());
    EXPECT_TRUE(BytesAlong(Path("none"), 1.0, 4, messages).video.empty());
}

TEST(TurnOf, TellsWhatTheFilterDoes)
{
    const LibavOwned<AVFormatContext> container(avformat_alloc_context());
    AVStream* const stream = avformat_new_stream(container.get(), nullptr);
    auto* const matrix =
        reinterpret_cast<int32_t*>(av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(int32_t)));
    for (int turn = 0; turn < 8; ++turn) {
        // Where the unit vectors go, y counting down: x is mirrored first, then each quarter takes (x, y) to (-y, x).
        int vectors[2][2] = {{turn < 4 ? 1 : -1, 0}, {0, 1}};
        for (auto& [x, y] : vectors)
            for (int quarter = 0; quarter < turn % 4; ++quarter)
                std::tie(x, y) = std::pair(-y, x);
        for (int i = 0; i < 9; ++i)
            matrix[i] = i == 8 ? 1 << 30 : i % 3 == 2 || i > 5 ? 0 : vectors[i / 3][i % 3] * (1 << 16);
        const Turn found = TurnOf(*stream);
        EXPECT_EQ(found.clockwise, turn % 4 * 90) << turn;
        EXPECT_EQ(found.isMirrored, turn >= 4) << turn;
        EXPECT_EQ(found.isSideways, turn % 2 == 1) << turn;
    }
}
