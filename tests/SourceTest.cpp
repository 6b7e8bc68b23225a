// Media files as sources: pictures once each, with the times at which they stand. The ffmpeg command makes the files
// and decodes them for comparison.
#include "host/base/Messages.h"
#include "host/base/Text.h"
#include "host/sources/LiveInput.h"
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

extern "C" {
#include <libavutil/cpu.h>
}

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

// What a source says and gives, in a few lines: sizes, rates, times in microseconds and sums of the bytes.
std::string Told(Source& source, const Messages& messages, Nanoseconds origin = 0)
{
    std::string text;
    if (const auto& video = source.Video())
        text += Format("%dx%d %d/%d aspect %d:%d fields %d matrix %d", video->width, video->height,
                       video->frameRate.num, video->frameRate.den, video->pixelAspect.num, video->pixelAspect.den,
                       static_cast<int>(video->fields), video->colour.matrix);
    if (source.Audio())
        text += Format(" audio %dx%d", source.Audio()->sampleRate, source.Audio()->channels);
    text += Format(" first %lld %lld of %lld%s;", static_cast<long long>(source.First().picture.value_or(-1000)) / 1000,
                   static_cast<long long>(source.First().block.value_or(-1000)) / 1000,
                   static_cast<long long>(source.Duration()) / 1'000'000, source.IsDurationStated() ? "" : " guessed");
    size_t count[2] = {};
    Nanoseconds first[2] = {}, last[2] = {};
    uint32_t sum[2] = {2166136261u, 2166136261u};
    size_t samples = 0;
    for (Item item = source.Next(); item.kind != Item::Kind::kEnd; item = source.Next()) {
        const bool isAudio = item.kind == Item::Kind::kAudio;
        const auto add = [&](int value) { sum[isAudio] = (sum[isAudio] ^ static_cast<uint32_t>(value)) * 16777619u; };
        origin = origin == -1 ? item.time : origin;
        first[isAudio] = count[isAudio]++ ? first[isAudio] : item.time - origin;
        last[isAudio] = item.time - origin;
        samples += item.samples.size();
        for (const int16_t sample : item.samples)
            add(sample);
        for (int plane = 0; plane < 3 && item.frame; ++plane)
            for (int y = 0; y < (item.frame->height + !!plane) >> !!plane; ++y)
                for (int x = 0; x < (item.frame->width + !!plane) >> !!plane; ++x)
                    add(item.frame->data[plane][y * item.frame->linesize[plane] + x]);
        add(static_cast<int>(item.duration / 1000));
    }
    text += Format(" %zu, %lld to %lld, %08x;", count[0], static_cast<long long>(first[0]) / 1000,
                   static_cast<long long>(last[0]) / 1000, sum[0]);
    text += Format(" %zu, %lld to %lld, %08x", samples, static_cast<long long>(first[1]) / 1000,
                   static_cast<long long>(last[1]) / 1000, sum[1]);
    if (source.Damaged())
        text += Format("; %d damaged", static_cast<int>(source.Damaged()));
    for (const std::string& other : source.LeftOut())
        text += "; without " + other;
    for (const std::string& change : source.Changes())
        text += change.starts_with("taken to") ? "" : "; " + change;
    for (const Said& said : messages.AllSaid())
        text += "; " + said.text.substr(said.text.find_last_of('/') + 1);
    return text + (source.BrokenOff().empty() ? "" : "; broken off: " + source.BrokenOff());
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

// Sound and damaged files, with starts and choices, read in full and, at the end, in real time.
TEST_F(SourceTest, EachFileGivesWhatItAlwaysGave)
{
    if (avcodec_version() >> 16 != 59)
        GTEST_SKIP() << "other releases of libav make and decode other bytes";
    av_force_cpu_flags(0); // so do its forms for each processor
    const std::string card = "-cpuflags 0 -bitexact -f lavfi -i testsrc2=size=48x32:rate=10 ",
                      tone = "-f lavfi -i sine=r=8000:b=3 ";
    Ffmpeg(card + "-itsoffset 0.25 " + tone + "-t 3 -vf setsar=3/2 -c:v ffv1 -g 5 -c:a pcm_s16le a.mkv");
    Ffmpeg(card + tone +
           "-f lavfi -i aevalsrc='sin(900*t)|0|0|0|0|sin(9*t):s=44100:c=5.1' -map 0 -map 1 -map 2 -t 2 "
           "-metadata:s:a:0 language=deu -metadata:s:a:1 title=Six -c:v mpeg4 -bf 2 -q:v 3 -c:a pcm_s16le six.mkv");
    Ffmpeg("-i six.mkv -map 0:0 -map 0:1 -t 1 -c copy -metadata:s:v rotate=90 turned.mov");
    Ffmpeg("-i six.mkv -map 0:0 -map 0:1 -c copy -metadata:s:v rotate=20 askew.mov");
    Ffmpeg(card + "-t 2 -vf format=yuvj422p -c:v mjpeg full.avi");
    Ffmpeg(card + tone + "-t 2 -c:v mpeg2video -q:v 2 -bf 2 -g 6 -c:a mp2 a.ts");
    Ffmpeg(card + "-t 1 -vf scale=40:24:flags=bitexact,interlace -c:v mpeg2video -q:v 2 -flags +ilme+ildct b.ts");
    Ffmpeg("-cpuflags 0 -f lavfi -i testsrc2=size=47x31:rate=50 -t 1 -vf tinterlace=interleave_top,fieldorder=tff -c:v "
           "ffv1 -pix_fmt "
           "yuv444p odd.mkv");
    Ffmpeg(card + "-t 2 -c:v mpeg4 -bf 2 -q:v 3 a.avi");
    Ffmpeg(tone + "-t 1 -c:a pcm_s16le sound.wav");
    Ffmpeg("-i a.mkv -c copy -output_ts_offset 2.3 late.mkv");
    Ffmpeg("-cpuflags 0 -i a.mkv -f lavfi -i color=s=20x30:d=0.04 -map 1 -map 0 -c copy -c:v png -disposition:v:0 "
           "attached_pic "
           "cover.mov");
    ASSERT_EQ(
        std::system(("cd " + m_folder.string() +
                     " && cat a.ts b.ts a.ts > joined.ts && head -c 60000 a.mkv > cut.mkv && head -c 20000 full.avi "
                     ">cut.avi && { head -c 31000 a.mkv; head -c 3000 /dev/zero; tail -c +34001 a.mkv; } > "
                     "holes.mkv && tail -c +3000 a.ts > tail.ts")
                        .c_str()),
        0);
    const struct {
        const char* name;
        Wanted wanted;
        int deinterlaced = 0; // 1: what is marked, 2: all
        bool isLive = false;
    } rows[] = {
        {"a.mkv", {true, true}},
        {"a.mkv", {true, true, {}, "", "", 1'550'000'000}},
        {"a.mkv", {false, true, {11025, 2}, "", "", 2 * kSecond}},
        {"late.mkv", {true, true, {}, "", "", 1'550'000'000}},
        {"cover.mov", {true, true}},
        {"cut.mkv", {true, true}},
        {"holes.mkv", {true, true}},
        {"six.mkv", {true, true}},
        {"six.mkv", {true, true, {0, 1}, "0", "1", kSecond}},
        {"six.mkv", {true, false}, 2},
        {"six.mkv", {false, true, {}, "", "DE"}},
        {"turned.mov", {true, true}, 1},
        {"askew.mov", {true, false}},
        {"full.avi", {true, true}},
        {"cut.avi", {true, true}},
        {"a.ts", {true, true}},
        {"a.ts", {true, true, {}, "", "", kSecond}},
        {"tail.ts", {true, true}},
        {"joined.ts", {true, true}, 1},
        {"odd.mkv", {true, true}},
        {"odd.mkv", {true, true}, 1},
        {"a.avi", {true, true, {}, "", "", kSecond}},
        {"sound.wav", {true, true, {}, "", "", kSecond / 2}},
#ifdef ENCMGR_HAS_RECORD
        {"turned.mov", {true, true}, 1, true},
        {"odd.mkv", {true, true}, 1, true},
#endif
    };
    std::string all = "\n";
    for (const auto& [name, wanted, deinterlaced, isLive] : rows) {
        testing::internal::CaptureStderr();
        Messages messages;
        std::unique_ptr<Source> input;
#ifdef ENCMGR_HAS_RECORD
        if (isLive)
            input = std::make_unique<LiveInput>(Path(name), wanted, AVRational{25, 1}, messages);
#endif
        if (!isLive)
            input = std::make_unique<MediaInput>(Path(name), wanted, messages);
        if (deinterlaced)
            input->Deinterlace(deinterlaced == 2);
        all += name + (" " + Told(*input, messages, isLive ? -1 : 0)) + "\n";
        testing::internal::GetCapturedStderr();
    }
    av_force_cpu_flags(-1);
    EXPECT_EQ(all, R"(
a.mkv 48x32 10/1 aspect 3:2 fields 1 matrix 6 audio 8000x1 first 0 250000 of 3066; 30, 0 to 2900000, 6a094bcb; 22528, 250000 to 2938000, 71118303
a.mkv 48x32 10/1 aspect 3:2 fields 1 matrix 6 audio 8000x1 first 0 250000 of 3066; 20, 1000000 to 2900000, b937e25f; 16384, 1018000 to 2938000, 2289c674
a.mkv  audio 11025x2 first -1 250000 of 3066; 0, 0 to 0, 811c9dc5; 36692, 1402000 to 3064040, 8d53b215
late.mkv 48x32 10/1 aspect 3:2 fields 1 matrix 6 audio 8000x1 first 0 250000 of 5366; 20, 1000000 to 2900000, b937e25f; 16384, 1018000 to 2938000, 2289c674
cover.mov 48x32 10/1 aspect 3:2 fields 1 matrix 6 audio 8000x1 first 0 250000 of 3066; 30, 0 to 2900000, e9128086; 22528, 250000 to 2938000, 71118303; brought from rgb24 to 4:2:0 of 8 bits; brought from RGB to YUV by the matrix smpte170m
cut.mkv 48x32 10/1 aspect 3:2 fields 1 matrix 6 audio 8000x1 first 0 250000 of 3066; 27, 0 to 2600000, 9ca92c20; 20480, 250000 to 2682000, a5c7421b
holes.mkv 48x32 10/1 aspect 3:2 fields 1 matrix 6 audio 8000x1 first 0 250000 of 3066; 25, 0 to 2900000, d7e1eac0; 19456, 250000 to 2938000, 8bb96eb0
six.mkv 48x32 10/1 aspect 1:1 fields 1 matrix 6 audio 8000x1 first 0 0 of 2000; 20, 0 to 1900000, b73eb3c8; 16000, 0 to 1920000, 484f1a7a; without audio 1 (Six)
six.mkv 48x32 10/1 aspect 1:1 fields 1 matrix 6 audio 44100x1 first 0 0 of 2000; 16, 400000 to 1900000, 2652271e; 88200, 0 to 1996916, 13a05f14; without audio 0 (deu)
six.mkv 48x32 10/1 aspect 1:1 fields 1 matrix 6 first 0 -1 of 2000; 20, 0 to 1900000, 1767f74e; 0, 0 to 0, 811c9dc5
six.mkv  audio 8000x1 first -1 0 of 2000; 0, 0 to 0, 811c9dc5; 16000, 0 to 1920000, 484f1a7a; without audio 1 (Six)
turned.mov 32x48 10/1 aspect 1:1 fields 0 matrix 6 audio 8000x1 first 0 0 of 1300; 11, 0 to 1200000, e3bd8c11; 8192, 0 to 896000, be2900e5; turned left by 90 degrees
askew.mov 48x32 10/1 aspect 1:1 fields 0 matrix 6 first 0 -1 of 2000; 20, 0 to 1900000, b73eb3c8; 0, 0 to 0, 811c9dc5; askew.mov is to be shown turned left by 20 degrees; its pictures are taken as they are stored
full.avi 48x32 10/1 aspect 1:1 fields 0 matrix 5 first 0 -1 of 2000; 20, 0 to 1900000, ba87c59c; 0, 0 to 0, 811c9dc5; brought from yuvj422p to 4:2:0 of 8 bits; brought from full range to limited range; left in the matrix bt470bg
cut.avi 48x32 10/1 aspect 1:1 fields 0 matrix 5 first 0 -1 of 1300; 11, 0 to 1000000, 6383b38d; 0, 0 to 0, 811c9dc5; 1 damaged; brought from yuvj422p to 4:2:0 of 8 bits; brought from full range to limited range; left in the matrix bt470bg; cut.avi: error in its video: Invalid data found when processing input
a.ts 48x32 10/1 aspect 1:1 fields 1 matrix 6 audio 16000x1 first 30067 0 of 2030; 20, 30067 to 1930067, 119552b0; 32256, 0 to 1944000, 5c663fb6
a.ts 48x32 10/1 aspect 1:1 fields 1 matrix 6 audio 16000x1 first 30067 0 of 2030; 16, 430067 to 1930067, 7f9fd02a; 32256, 0 to 1944000, 5c663fb6
tail.ts 48x32 10/1 aspect 1:1 fields 1 matrix 6 audio 16000x1 first 230067 0 of 2030; 14, 630067 to 1930067, 570773b2; 32256, 0 to 1944000, 5c663fb6
joined.ts 48x32 10/1 aspect 1:1 fields 1 matrix 6 audio 16000x1 first 30067 0 of 2030; 43, 30067 to 4530067, 4605d6a3; 64512, 0 to 3744000, 47943b48; joined.ts: its time stamps jump at 1.930 s; the jump is closed up
odd.mkv 46x30 25/1 aspect 1:1 fields 3 matrix 6 first 0 -1 of 1000; 25, 0 to 960000, 0d159f7f; 0, 0 to 0, 811c9dc5; brought from yuv444p to 4:2:0 of 8 bits
odd.mkv 46x30 25/1 aspect 1:1 fields 3 matrix 6 first 0 -1 of 1000; 25, 0 to 960000, 438d654f; 0, 0 to 0, 811c9dc5; brought from yuv444p to 4:2:0 of 8 bits
a.avi 48x32 10/1 aspect 1:1 fields 0 matrix 6 first 0 -1 of 2000; 16, 400000 to 1900000, 2652271e; 0, 0 to 0, 811c9dc5
sound.wav  audio 8000x1 first -1 -1 of 1000; 0, 0 to 0, 811c9dc5; 8000, 0 to 768000, 76106cde
turned.mov 32x48 10/1 aspect 1:1 fields 0 matrix 6 audio 8000x1 first -1 -1 of 0; 11, 0 to 1200000, d0893d31; 8192, 0 to 896000, be2900e5
odd.mkv 46x30 25/1 aspect 1:1 fields 3 matrix 6 first -1 -1 of 0; 25, 0 to 960000, 8105f38f; 0, 0 to 0, 811c9dc5
)");
}

TEST(StreamInfo, TakesRatesAndFieldsFromWhatIsStated)
{
    const LibavOwned<AVFormatContext> container(avformat_alloc_context());
    AVStream& stream = *avformat_new_stream(container.get(), nullptr);
    const struct {
        AVRational average, steady, rate;
    } rates[] = {{{0, 0}, {0, 0}, {25, 1}},       {{0, 0}, {50, 1}, {50, 1}},
                 {{0, 0}, {90000, 1}, {25, 1}},   {{24, 1}, {25, 1}, {24, 1}},
                 {{2999, 100}, {30, 1}, {30, 1}}, {{2990, 100}, {30, 1}, {2990, 100}},
                 {{30, 1}, {3001, 100}, {30, 1}}, {{30000, 1001}, {30, 1}, {30000, 1001}}};
    for (const auto& [average, steady, rate] : rates) {
        stream.avg_frame_rate = average, stream.r_frame_rate = steady;
        EXPECT_EQ(av_cmp_q(StatedRateOf(stream), rate), 0) << average.num << " " << steady.num;
    }
    const std::pair<AVFieldOrder, Fields> orders[] = {
        {AV_FIELD_UNKNOWN, Fields::kUnknown}, {AV_FIELD_PROGRESSIVE, Fields::kNone},
        {AV_FIELD_TT, Fields::kTopFirst},     {AV_FIELD_BT, Fields::kTopFirst},
        {AV_FIELD_BB, Fields::kBottomFirst},  {AV_FIELD_TB, Fields::kBottomFirst}};
    for (const auto& [order, fields] : orders) {
        stream.codecpar->field_order = order;
        EXPECT_EQ(FieldsOf(stream), fields);
        EXPECT_EQ(IsOfFields(stream, {50, 1}, {25, 1}), order > AV_FIELD_PROGRESSIVE);
        EXPECT_FALSE(IsOfFields(stream, {49, 1}, {25, 1}) || IsOfFields(stream, {25, 1}, {25, 1}));
    }
    stream.codecpar->field_order = AV_FIELD_UNKNOWN;
    stream.codecpar->codec_id = AV_CODEC_ID_DVVIDEO;
    for (const int height : {480, 576, 720})
        EXPECT_EQ((stream.codecpar->height = height, FieldsOf(stream)),
                  height == 720 ? Fields::kUnknown : Fields::kBottomFirst);
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
