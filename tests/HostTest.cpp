// The program encmgr as its users run it: what it writes, what it says, how it ends.
#include "tests/HostRun.h"
#include "tests/MediaReader.h"

#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// Times at which the picture's top flashes white, and at which the tone begins.
std::vector<double> Flashes(const DecodedFile& file)
{
    std::vector<double> times;
    bool lit = false;
    for (const DecodedPicture& picture : file.pictures) {
        const bool now = picture.MeanLuma(picture.height / 10) > 150;
        if (now && !lit)
            times.push_back(picture.seconds);
        lit = now;
    }
    return times;
}

std::vector<double> Beeps(const DecodedFile& file)
{
    std::vector<double> times;
    int quiet = file.sampleRate; // samples since the last loud one
    const auto channels = static_cast<size_t>(file.channels);
    for (size_t i = 0; i < file.samples.size() / channels; ++i) {
        const bool loud = std::abs(file.samples[i * channels]) > 2500;
        if (loud && quiet > file.sampleRate / 2)
            times.push_back(file.firstSampleSeconds + static_cast<double>(i) / file.sampleRate);
        quiet = loud ? 0 : quiet + 1;
    }
    return times;
}

void ExpectInSync(const DecodedFile& file, size_t count)
{
    const std::vector<double> flashes = Flashes(file), beeps = Beeps(file);
    ASSERT_EQ(flashes.size(), count);
    ASSERT_EQ(beeps.size(), count);
    for (size_t i = 0; i < count; ++i) {
        EXPECT_NEAR(flashes[i], static_cast<double>(i + 1), 0.041);
        EXPECT_NEAR(beeps[i], flashes[i], 0.020);
    }
}

// encmgr, writing Matroska.
pid_t Start(const std::string& input, const std::string& output, int standardOutput)
{
    const pid_t child = fork();
    if (child == 0) {
        dup2(standardOutput, STDOUT_FILENO);
        execl(ENCMGR_PROGRAM, "encmgr", "-q", "encode", input.c_str(), "-yo", output.c_str(), "-fmkv", "--vc=ffv1",
              nullptr);
        _exit(127);
    }
    return child;
}

} // namespace

TEST_F(HostTest, FlashAndBeepOfTheTestCardStayTogether)
{
    for (const std::string name : {"card.mp4", "card.mkv", "card.avi"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(Run("-q encode testcard:seconds=5,size=320x180,audio=44100x1 -o " + name), 0) << m_said;
        EXPECT_EQ(m_said, "");
        const DecodedFile file = ReadMedia(Path(name));
        EXPECT_EQ(file.pictures.size(), 125u);
        EXPECT_NEAR(file.AudioSeconds(), 5, 1024.0 / 44100);
        ExpectInSync(file, 4);
    }
}

TEST_F(HostTest, ARealFileIsFittedScaledResampledAndPaced)
{
    // 29.97 pictures a second and 44.1 kHz in, 25 and 48 kHz out; the container's times are rounded to milliseconds.
    ASSERT_EQ(Run("encode testcard:seconds=6,size=320x240,rate=30000/1001,audio=44100x2 -o in.mkv"), 0) << m_said;
    ASSERT_EQ(Run("encode in.mkv -o out.mp4 -s 480x270 -r 25 --ar 48000 --channels 1 --fit keep"), 0) << m_said;
    EXPECT_TRUE(Said("dropped")) << m_said;
    const DecodedFile file = ReadMedia(Path("out.mp4"));
    EXPECT_NEAR(static_cast<double>(file.pictures.size()), 150, 1);
    EXPECT_NEAR(file.AudioSeconds(), 6, 0.05);
    EXPECT_EQ(file.sampleRate, 48000);
    EXPECT_EQ(file.channels, 1);
    ASSERT_EQ(file.pictures[0].width, 480);
    EXPECT_NEAR(file.pictures[10].planes[135 * 480 + 20], 16, 4); // a bar at the side
    EXPECT_GT(file.pictures[10].planes[80 * 480 + 75], 100);      // the card's first colour bar, light grey
    ExpectInSync(file, 5);

    // More pictures than there are: each is repeated.
    ASSERT_EQ(Run("encode in.mkv -o twice.y4m -r 60000/1001 --an"), 0) << m_said;
    EXPECT_NEAR(static_cast<double>(ReadMedia(Path("twice.y4m")).pictures.size()), 360, 2);
}

TEST_F(HostTest, PipesAndSeparateAudioWork)
{
    ASSERT_EQ(Run("encode testcard:seconds=2,size=160x90 -o a.mkv --ac flac"), 0) << m_said;
    ASSERT_EQ(Run("encode a.mkv -o a.wav"), 0) << m_said;
    ASSERT_EQ(Run("encode a.mkv -o v.y4m --an"), 0) << m_said;
    ASSERT_EQ(Run("encode - -a a.wav -o joined.mkv --vc ffv1 --ac pcm", "cat v.y4m |"), 0) << m_said;
    const DecodedFile first = ReadMedia(Path("v.y4m")), joined = ReadMedia(Path("joined.mkv"));
    ASSERT_EQ(joined.pictures.size(), 50u);
    EXPECT_EQ(joined.pictures[49].planes, first.pictures[49].planes);
    EXPECT_TRUE(joined.samples == ReadMedia(Path("a.mkv")).samples);
}

TEST_F(HostTest, StreamsAndPicturesAreLeftOutAsAsked)
{
    const std::string card = "-q encode testcard:seconds=2,size=161x91 -o ";
    ASSERT_EQ(Run(card + "'Ñandú ☃.mka' --vn"), 0) << m_said;
    const DecodedFile sound = ReadMedia(Path("Ñandú ☃.mka"));
    EXPECT_TRUE(sound.pictures.empty());
    EXPECT_NEAR(sound.AudioSeconds(), 2, 0.03);

    // H.264 needs an even size; the audio ends with the pictures.
    ASSERT_EQ(Run(card + "seven.mp4 --frames 7"), 0) << m_said;
    const DecodedFile seven = ReadMedia(Path("seven.mp4"));
    ASSERT_EQ(seven.pictures.size(), 7u);
    EXPECT_EQ(seven.pictures[0].width, 160);
    EXPECT_EQ(seven.pictures[0].height, 90);
    EXPECT_NEAR(seven.AudioSeconds(), 0.28, 0.03);
}

TEST_F(HostTest, TurnedPicturesAreStoodUpright)
{
    ASSERT_EQ(Run("-q encode testcard:seconds=1,size=162x90,audio=none -o straight.mp4"), 0);
    for (const std::string angle : {"90", "180", "270"}) {
        const std::string turn =
            "ffmpeg -v error -y -i straight.mp4 -c copy -metadata:s:v rotate=" + angle + " turned.mp4";
        ASSERT_EQ(
            Shell(turn + " && ffmpeg -v error -y -i turned.mp4 wanted.y4m && encmgr encode turned.mp4 -y -o out.y4m"),
            0)
            << m_said;
        EXPECT_FALSE(Said("warning")) << m_said;
        const DecodedFile wanted = ReadMedia(Path("wanted.y4m")), upright = ReadMedia(Path("out.y4m"));
        ASSERT_EQ(upright.pictures.size(), 25u);
        EXPECT_EQ(upright.pictures[9].width, angle == "180" ? 162 : 90);
        EXPECT_TRUE(upright.pictures[9].planes == wanted.pictures.at(9).planes) << angle;
    }
}

TEST_F(HostTest, InterlacedPicturesAreMadeWholeWhenTheirHeightChanges)
{
    // A white box that moves 8 pixels from field to field: its edges are combs.
    ASSERT_EQ(Shell("ffmpeg -v error -f lavfi -i color=black:s=320x240:r=50 -f lavfi -i color=white:s=64x160:r=50 "
                    "-filter_complex '[0][1]overlay=x=t*400:y=40,interlace=lowpass=off' -t 1 -c:v mpeg2video -q:v 1 "
                    "-flags +ilme+ildct -top 1 fields.mpg"),
              0)
        << m_said;
    const auto combs = [this](const std::string& options, int height) {
        EXPECT_EQ(Run("-q encode fields.mpg -y -o out.y4m --fit stretch " + options), 0) << m_said;
        const DecodedFile file = ReadMedia(Path("out.y4m"));
        EXPECT_EQ(file.pictures.size(), 25u);
        const unsigned char* const luma = file.pictures.at(12).planes.data();
        int count = 0;
        for (int i = 320; i < 320 * (height - 1); ++i)
            count += luma[i] - luma[i - 320] > 60 && luma[i] - luma[i + 320] > 60;
        return count;
    };
    EXPECT_GT(combs("", 240), 300);
    EXPECT_LT(combs("--deinterlace", 240), 30);
    EXPECT_LT(combs("-s 320x200", 200), 30);
    EXPECT_GT(combs("-s 320x200 --no-deinterlace", 200), 100);
}

// Audio comes at once, and pictures with the next that stands by itself, 3 to 10 seconds later.
TEST_F(HostTest, ATransportStreamCutInTheMiddleStaysInStep)
{
    ASSERT_EQ(Shell("encmgr -q encode testcard:seconds=14,size=160x90 -o a.mkv --vc ffv1 --ac pcm && "
                    "ffmpeg -v error -i a.mkv -c:v libx264 -sc_threshold 0 -c:a aac a.ts && "
                    "dd if=a.ts bs=188 skip=100 status=none | encmgr encode - -o b.mkv --vc ffv1 --ac pcm"),
              0)
        << m_said;
    const DecodedFile file = ReadMedia(Path("b.mkv"));
    const std::vector<double> flashes = Flashes(file), beeps = Beeps(file);
    ASSERT_GE(flashes.size(), 3u);
    for (size_t i = 1; i <= 3; ++i)
        EXPECT_NEAR(beeps.at(beeps.size() - i), flashes[flashes.size() - i], 0.020);
}

TEST_F(HostTest, AFailedFileIsTakenAwayUnlessItWasThere)
{
    std::ofstream(Path("old.y4m")) << "old";
    const std::string encode = "encode testcard:seconds=2,size=320x180 --an -y -o ";
    for (const std::string name : {"new.y4m", "old.y4m"}) {
        EXPECT_EQ(Run(encode + name, "ulimit -f 100 &&"), 6) << m_said;
        EXPECT_TRUE(Said(name + ": the file would become larger than")) << m_said;
    }
    EXPECT_EQ(std::filesystem::file_size(Path("old.y4m")), 3u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 1);
}

TEST_F(HostTest, ConvertsPictures)
{
    const auto pixels = [this](const std::string& name) { return ReadMedia(Path(name)).pictures.at(0).planes; };
    const std::string a = "\x10\x20\x30", b = "\x7f\x01\x02", c = "\x05\x60\x07", d = "\x08\x09\x7a";
    std::ofstream(Path("small.ppm")) << "P6 2 2 255\n" << a + b + c + d;
    ASSERT_EQ(Run("convert small.ppm -o near.png -s 4x4 --scale near"), 0) << m_said;
    const std::string top = a + a + a + b, wanted = top + top + top + c + c + c + d;
    EXPECT_EQ(pixels("near.png"), std::vector<unsigned char>(wanted.begin(), wanted.end()));

    // This grey comes back one level lower from every layout, but for the corner that 4:2:0 leaves as it was. A white
    // overlay with no opacity of its own covers what it is placed on.
    std::ofstream(Path("grey.ppm")) << "P6 5 3 255\n" << std::string(45, '\x50');
    std::ofstream(Path("white.ppm")) << "P6 2 2 255\n" << std::string(12, '\xff');
    for (const std::string layout : {"yuv420", "yuy2", "uyvy"}) {
        ASSERT_EQ(Run("convert grey.ppm -y -o same.png --through " + layout + " --difference 99"), 0) << m_said;
        std::vector<unsigned char> changed(45, 99);
        if (layout == "yuv420")
            std::fill_n(changed.end() - 3, 3, static_cast<unsigned char>(0));
        EXPECT_EQ(pixels("same.png"), changed) << layout;
    }
    ASSERT_EQ(Run("convert grey.ppm -o laid.png --overlay white.ppm --at 1x1"), 0) << m_said;
    EXPECT_EQ(pixels("laid.png")[0], 0x50);
    EXPECT_EQ(pixels("laid.png")[3 * (5 + 1)], 0xff);
    for (const auto& [place, code] : {std::pair{"3x0", 0}, {"4x0", 2}, {"0x2", 2}})
        EXPECT_EQ(Run(std::string("convert grey.ppm -y -o edge.png --overlay white.ppm --at ") + place), code)
            << m_said;
    for (const auto& [wish, size] : {std::pair{"x8", "13x8"},
                                     {"8x", "8x5"},
                                     {"8x-2", "8x4"},
                                     {"-2x8", "14x8"},
                                     {"-1x8", "13x8"},
                                     {"7x2", "7x2"}}) {
        ASSERT_EQ(Run(std::string("convert grey.ppm -y -o sized.png -s ") + wish), 0) << m_said;
        EXPECT_TRUE(Said(std::string("sized.png: ") + size + ", ")) << m_said;
    }
    ASSERT_EQ(Run("convert grey.ppm -y -o laid.png --overlay white.ppm --at 1x0 --overlay-size 4x3"), 0) << m_said;
    EXPECT_EQ(pixels("laid.png")[0], 0x50);
    for (const size_t at : {1, 4, 14})
        EXPECT_EQ(pixels("laid.png")[3 * at], 0xff) << at;
    // The mask's green is how opaque the picture becomes.
    std::ofstream(Path("mask.ppm")) << "P6 1 1 255\n\x09\x3c\x07";
    ASSERT_EQ(Shell("encmgr convert grey.ppm -o cut.png --mask mask.ppm && ffmpeg -v error -i cut.png -f rawvideo "
                    "-pix_fmt rgba cut.raw && tail -c 4 cut.raw | od -An -tu1"),
              0)
        << m_said;
    EXPECT_TRUE(m_said.ends_with("  80  80  80  60\n")) << m_said;
    EXPECT_EQ(Run("convert missing.ppm -o out.png"), 3) << m_said;
    EXPECT_EQ(Run("convert grey.ppm -o grey.ppm -y"), 4) << m_said;
    EXPECT_FALSE(std::filesystem::exists(Path("out.png")));
}

TEST_F(HostTest, QualityIsTheEncodersOrRefused)
{
    const std::string card = "encode testcard:seconds=2,size=160x90,audio=none -y -o ";
    const auto size = [&](const std::string& options) {
        EXPECT_EQ(Run(card + "out.mp4 " + options), 0) << options << m_said;
        EXPECT_EQ(ReadMedia(Path("out.mp4")).pictures.size(), 50u);
        return std::filesystem::file_size(Path("out.mp4"));
    };
    EXPECT_GT(size("--crf 18"), size("--crf 40"));
    EXPECT_GT(size("--gop 1"), size("--gop 50"));
    EXPECT_NE(size("--preset ultrafast --vopt qp=30"), size("--preset slow --vopt qp=30"));
    EXPECT_NEAR(static_cast<double>(size("--vb 30k --passes 2 --vopt x264-params=bframes=0:ref=2")), 7500, 1500);
    EXPECT_TRUE(Said("pass 1 of 2: 50 pictures")) << m_said;

    EXPECT_EQ(Run("list h264"), 0);
    EXPECT_TRUE(Said("0 to 51") && Said("--crf, default: 23") && Said("ultrafast]") && Said("x264-params")) << m_said;
    EXPECT_EQ(Run("list i420"), 0);
    EXPECT_TRUE(Said("states no options")) << m_said;
    for (const auto& [options, says] : {std::pair{"--crf 52", "H264 takes 0 to 51"},
                                        {"--preset snail", "there are: placebo veryslow"},
                                        {"--vc mp4v --preset fast", "MP4V has nothing of the kind, but crf, b, g"},
                                        {"--vc mp4v --vb 1M --passes 2", "MP4V has nothing of the kind"},
                                        {"--vn --crf 20", "there is none"}}) {
        EXPECT_EQ(Run(card + "no.mp4 " + options), 2) << options;
        EXPECT_TRUE(Said(says)) << options << m_said;
    }
    EXPECT_EQ(Run("encode - -o no.mp4 --vb 1M --passes 2", "true |"), 2);
    EXPECT_TRUE(Said("can be read only once")) << m_said;
}

TEST_F(HostTest, PicturesBecomeFilesOfTheirOwn)
{
    const std::string card = "encode testcard:seconds=1,size=160x90,audio=none -o a.png --frames ";
    ASSERT_EQ(Run(card + "3"), 0) << m_said;
    EXPECT_EQ(ReadMedia(Path("a-%05d.png")).pictures.size(), 3u);
    EXPECT_EQ(Run(card + "3"), 4);
    EXPECT_TRUE(Said("a-00001.png: it exists")) << m_said;
    ASSERT_EQ(Run(card + "1"), 0) << m_said;
    EXPECT_EQ(ReadMedia(Path("a.png")).pictures.size(), 1u);
}

TEST_F(HostTest, EndsWithTheCodeOfWhatWentWrong)
{
    std::ofstream(Path("text.txt")) << "no media at all\n";
    std::ofstream(Path("there.mkv")) << "kept";
    ASSERT_EQ(Shell("ffmpeg -v error -f lavfi -i sine=d=1 -c:a pcm_s16le cut.wav </dev/null && "
                    "printf '\\0\\0\\0\\0' | dd of=cut.wav bs=1 seek=24 conv=notrunc status=none"),
              0);
    const std::string card = "encode testcard:seconds=1,size=160x90 ";
    const struct {
        std::string arguments;
        int code;
        std::string says;
    } cases[] = {
        {"encode cut.wav -o out.mkv", 3, "cause: [wav] Invalid sample rate: 0"},
        {"", 2, "list"},
        {"list", 0, "H264"},
        {"--version", 0, "encmgr"},
        {card + "-o out.mkv --vc nonsense", 2, "FFV1"},
        {card + "-o out.xyz", 2, "xyz"},
        {card + "-o out.mp4 --ac pcm", 2, "AAC"},
        {"encode missing.mp4 -o out.mkv", 3, "missing.mp4"},
        {"encode text.txt -o out.mkv", 3, "text.txt"},
        {card + "-o no/such/folder.mkv", 4, "no/such/folder.mkv"},
        {card + "-o there.mkv", 4, "there.mkv"},
        {card + "-o there.mkv -n", 4, "there.mkv"},
        {card + "-o out.mkv --vc h264 -s 16384x16384", 7, "--allow-missing-stream"},
        {card + "-o there.mkv -y --vc h264 -s 16384x16384", 7, "encoder H264"},
        {card + "-o out.mkv -y --vc h264 -s 16384x16384 --an --allow-missing-stream", 7, "encoder H264"},
        {card + "-o sound.mkv --vc h264 -s 16384x16384 --allow-missing-stream", 0, "the file gets no video"},
        {card + "-o out.mkv -r 50 --strict-cfr", 8, "1 repeated, 0 dropped"},
        {"--plugins . list", 5, "PlugIns"},
    };
    for (const auto& [arguments, code, says] : cases) {
        EXPECT_EQ(Run(arguments), code) << arguments << "\n" << m_said;
        EXPECT_TRUE(Said(says) && !Said("cause: \n")) << arguments << "\n" << m_said;
        EXPECT_FALSE(std::filesystem::exists(Path("out.mkv"))) << arguments;
    }
    EXPECT_EQ(std::filesystem::file_size(Path("there.mkv")), 4u);
    EXPECT_EQ(Run("encode testcard:seconds=30 -o /dev/full -f y4m -y"), 6) << m_said;
}

// The old file stays until the new one is finished.
TEST_F(HostTest, AnInterruptedFileIsFinished)
{
    std::ofstream(Path("cut.mkv")) << "old";
    const pid_t child = Start("testcard:seconds=36000,size=160x90", Path("cut.mkv"), STDOUT_FILENO);
    const auto isUnderWay = [this] {
        for (const auto& entry : std::filesystem::directory_iterator(m_folder))
            if (entry.path().filename().string().starts_with("cut.part-") && entry.file_size() > 200000)
                return true;
        return false;
    };
    for (int i = 0; i < 600 && !isUnderWay(); ++i)
        usleep(50000);
    EXPECT_EQ(std::filesystem::file_size(Path("cut.mkv")), 3u);
    kill(child, SIGINT);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 130);
    EXPECT_GT(ReadMedia(Path("cut.mkv")).pictures.size(), 5u);
}

TEST_F(HostTest, ASecondSignalEndsItAtAnyTime)
{
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = Start("testcard:seconds=36000,size=160x90", "-", ends[1]);
    int waiting = 0, before = -1; // bytes that nobody reads
    for (int i = 0; i < 600 && (waiting == 0 || waiting != before); ++i) {
        before = waiting;
        usleep(200000);
        ioctl(ends[0], FIONREAD, &waiting);
    }
    kill(child, SIGINT);
    kill(child, SIGINT); // the same wish, as timeout(1) says it
    usleep(200000);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, WNOHANG), 0) << "it would finish what it writes";
    kill(child, SIGTERM);
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    close(ends[0]), close(ends[1]);
}
