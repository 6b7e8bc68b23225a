// The program encmgr as its users run it: what it writes, what it says, how it ends.
#include "tests/MediaReader.h"

#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

class HostTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_folder = std::filesystem::temp_directory_path() / ("encmgr-host-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    // Runs encmgr in the test's folder; m_said holds what it said. Returns its exit code, or -1 if a signal ended it.
    int Run(const std::string& arguments, const std::string& before = "")
    {
        const std::string command = "cd " + m_folder.string() + " && " + before + " " ENCMGR_PROGRAM " " + arguments +
                                    (before.empty() ? " </dev/null" : "") + " 2>&1";
        m_said.clear();
        FILE* pipe = popen(command.c_str(), "r");
        for (int c; (c = std::fgetc(pipe)) != EOF;)
            m_said += static_cast<char>(c);
        const int status = pclose(pipe);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    bool Said(const std::string& text) const { return m_said.find(text) != std::string::npos; }

    std::filesystem::path m_folder;
    std::string m_said;
};

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

TEST_F(HostTest, AFailedFileIsTakenAwayUnlessItWasThere)
{
    std::ofstream(Path("old.y4m")) << "old";
    const std::string encode = "encode testcard:seconds=2,size=320x180 --an -y -o ";
    EXPECT_EQ(Run(encode + "new.y4m", "ulimit -f 100 &&"), 1) << m_said;
    EXPECT_FALSE(std::filesystem::exists(Path("new.y4m")));
    EXPECT_EQ(Run(encode + "old.y4m", "ulimit -f 100 &&"), 1) << m_said;
    EXPECT_TRUE(std::filesystem::exists(Path("old.y4m")));
    EXPECT_TRUE(Said("old.y4m has been overwritten and is no good file")) << m_said;
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
    EXPECT_EQ(Run("convert grey.ppm -o out.png --overlay white.ppm --at 4x2"), 2) << m_said;
    EXPECT_EQ(Run("convert missing.ppm -o out.png"), 3) << m_said;
    EXPECT_EQ(Run("convert grey.ppm -o grey.ppm -y"), 4) << m_said;
    EXPECT_FALSE(std::filesystem::exists(Path("out.png")));
}

TEST_F(HostTest, EndsWithTheCodeOfWhatWentWrong)
{
    std::ofstream(Path("text.txt")) << "no media at all\n";
    std::ofstream(Path("there.mkv")) << "kept";
    const std::string card = "encode testcard:seconds=1,size=160x90 ";
    const struct {
        std::string arguments;
        int code;
        std::string says;
    } cases[] = {
        {"", 2, "list"},
        {"list", 0, "H264"},
        {"--version", 0, "encmgr"},
        {card + "-o out.mkv --vc nonsense", 2, "FFV1"},
        {card + "-o out.xyz", 2, "xyz"},
        {card + "-o out.mp4 --ac pcm", 2, "AAC"},
        {"encode testcard:size=1 -o out.mkv", 2, "size"},
        {"encode missing.mp4 -o out.mkv", 3, "missing.mp4"},
        {"encode text.txt -o out.mkv", 3, "text.txt"},
        {card + "-o no/such/folder.mkv", 4, "no/such/folder.mkv"},
        {card + "-o there.mkv", 4, "there.mkv"},
        {card + "-o out.mkv --vc h264 -s 16384x16384", 1, "the video encoder can't be set up"},
        {"--plugins . list", 5, "PlugIns"},
    };
    for (const auto& [arguments, code, says] : cases) {
        EXPECT_EQ(Run(arguments), code) << arguments << "\n" << m_said;
        EXPECT_TRUE(Said(says)) << arguments << "\n" << m_said;
        EXPECT_FALSE(std::filesystem::exists(Path("out.mkv"))) << arguments;
    }
    EXPECT_EQ(std::filesystem::file_size(Path("there.mkv")), 4u);
    EXPECT_EQ(Run("encode testcard:seconds=30 -o /dev/full -f y4m -y"), 1) << m_said;
}

TEST_F(HostTest, AnInterruptedFileIsFinished)
{
    const std::string output = Path("cut.mkv");
    const pid_t child = fork();
    if (child == 0) {
        execl(ENCMGR_PROGRAM, "encmgr", "-q", "encode", "testcard:seconds=36000,size=160x90", "-o", output.c_str(),
              "--vc", "ffv1", nullptr);
        _exit(127);
    }
    std::error_code missing;
    for (int i = 0; i < 600 && !(std::filesystem::file_size(output, missing) > 200000 && !missing); ++i)
        usleep(50000);
    kill(child, SIGINT);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 130);
    EXPECT_GT(ReadMedia(output).pictures.size(), 5u);
}
