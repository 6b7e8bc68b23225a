// What encmgr says while it works and at its end.
#include "tests/HostRun.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace
{

class HostSaysTest : public HostTest
{
protected:
    // What was said, by lines; those that were overwritten in place too.
    std::vector<std::string> Lines() const
    {
        std::vector<std::string> lines;
        std::string text = m_said;
        std::replace(text.begin(), text.end(), '\r', '\n');
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        return lines;
    }

    // Cuts a file, or puts noise into it.
    void Damage(const std::string& from, const std::string& to, double keep, bool isNoisy) const
    {
        std::ifstream in(Path(from), std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        bytes.resize(static_cast<size_t>(static_cast<double>(bytes.size()) * keep));
        for (size_t i = bytes.size() / 2; isNoisy && i < bytes.size() / 2 + 3000; ++i)
            bytes[i] = static_cast<char>(i * 37);
        std::ofstream(Path(to), std::ios::binary) << bytes;
    }
};

} // namespace

TEST_F(HostSaysTest, TheSummaryCountsWhatWasWritten)
{
    ASSERT_EQ(Run("encode testcard:seconds=2,size=160x90,rate=30 -o a.y4m -r 25 --an"), 0);
    EXPECT_TRUE(m_said.starts_with("encmgr: a.y4m: 50 pictures, 2.000 s, 1.1 MB, in ")) << m_said;
    EXPECT_TRUE(m_said.ends_with("x), 0 repeated, 10 dropped\n")) << m_said;
    ASSERT_EQ(Run("encode testcard:seconds=2 -o a.wav"), 0);
    EXPECT_TRUE(m_said.find("encmgr: a.wav: audio 2.000 s, 384.1 kB, in ") != std::string::npos) << m_said;
    const auto size = std::filesystem::file_size(Path("a.wav"));
    ASSERT_EQ(Run("encode testcard:seconds=2,audio=44100x2 -o b.wav --ar 48000"), 0);
    EXPECT_EQ(std::filesystem::file_size(Path("b.wav")), size) << "the resampler held samples back";
    ASSERT_EQ(Run("-q encode testcard:seconds=2,size=160x90 -o a.mkv"), 0);
    EXPECT_EQ(m_said, "");
    ASSERT_EQ(Run("-v encode testcard:seconds=1,size=160x90 -o b.mkv"), 0);
    EXPECT_TRUE(Said("video: 160x90, pixels 1:1, 25/1 fps -> 160x90, 25/1 fps, H264")) << m_said;
    EXPECT_TRUE(Said("audio: 48000 Hz, 2 channels -> 48000 Hz, 2 channels, AAC")) << m_said;
    EXPECT_TRUE(Said("encmgr: log: ")) << m_said;
}

TEST_F(HostSaysTest, WhatAnEncoderMadeOfTheOptionsIsTold)
{
    const std::string job = "encode testcard:seconds=1,size=160x90 -o a.mp4 -y -s 321x201 --ar 11111";
    ASSERT_EQ(Run(job), 0) << m_said;
    EXPECT_TRUE(Said("encmgr: a.mp4: its video is written with 320x200 pixels rather than 321x201 pixels")) << m_said;
    EXPECT_TRUE(Said("encmgr: a.mp4: its audio is written with 11025 Hz rather than 11111 Hz")) << m_said;
    EXPECT_FALSE(Said("bits/s")) << m_said;
    ASSERT_EQ(Run("-q " + job), 0);
    EXPECT_EQ(m_said, "");
}

TEST_F(HostSaysTest, FilesThatAreNoPluginsAreTold)
{
    ASSERT_EQ(Shell("mkdir -p a/PlugIns && cd a/PlugIns && echo bad >wpbad.dylib && touch wpx.so README wp.SO.1 wp.DLL "
                    "x.dylib wpy.txt"),
              0)
        << m_said;
    EXPECT_EQ(Run("--plugins a list"), 5) << m_said;
    EXPECT_TRUE(Said("wpbad.dylib: file too short")) << m_said;
    EXPECT_TRUE(Said("wpx.so isn't loaded: the names of plug-ins begin with \"wp\"")) << m_said;
    for (const char* name : {"wp.SO.1", "wp.DLL", "x.dylib"})
        EXPECT_TRUE(Said(std::string(name) + " isn't loaded")) << m_said;
    EXPECT_FALSE(Said("README") || Said("wpy.txt") || Said("wpbad.dylib isn't loaded")) << m_said;
    const std::string good = std::filesystem::path(ENCMGR_PROGRAM).parent_path() / "PlugIns/wpraw.dylib";
    ASSERT_EQ(Shell("cp " + good + " a/PlugIns/wp1.dylib && cp " + good + " a/PlugIns/wp2.dylib"), 0) << m_said;
    EXPECT_EQ(Run("--plugins a list"), 0) << m_said;
    EXPECT_TRUE(Said("which has the same FourCC, I420")) << m_said;
    ASSERT_EQ(Shell("mkdir flat && cp a/PlugIns/wp1.dylib flat"), 0) << m_said;
    for (const char* folder : {"a/PlugIns/", "flat", "."}) { // itself one, or with plug-ins in it, or without
        EXPECT_EQ(Run(std::string("list --plugins ") + folder, "env ENCMGR_PLUGINS=/nowhere"), *folder == '.' ? 5 : 0);
        EXPECT_EQ(Run("list", std::string("env ENCMGR_PLUGINS=") + folder), *folder == '.' ? 5 : 0) << m_said;
    }
    EXPECT_EQ(Run("list"), 0);
    EXPECT_FALSE(Said("warning")) << m_said;
}

TEST_F(HostSaysTest, ATerminalShowsHowFarTheJobIs)
{
    const std::string job =
        "stty cols 70; " ENCMGR_PROGRAM " encode testcard:seconds=20,size=640x360,audio=none -o a.mp4";
    ASSERT_EQ(Shell("script -qec '" + job + "' /dev/null"), 0) << m_said;
    const std::vector<std::string> lines = Lines();
    const auto isProgress = [](const std::string& line) { return line.find("%  ") < 5; };
    const auto first = std::find_if(lines.begin(), lines.end(), isProgress);
    ASSERT_NE(first, lines.end()) << m_said;
    EXPECT_NE(first->find(" pictures  "), std::string::npos);
    EXPECT_NE(first->find(" fps  "), std::string::npos);
    EXPECT_NE(first->find("  ETA 0:0"), std::string::npos);
    EXPECT_EQ(first->find("repeated"), std::string::npos);                 // no room
    EXPECT_LT(std::count_if(lines.begin(), lines.end(), isProgress), 100); // not for each picture
    EXPECT_TRUE(std::none_of(lines.begin(), lines.end(),
                             [&](const std::string& line) { return isProgress(line) && line.size() >= 70; }));
}

TEST_F(HostSaysTest, ATerminalIsAskedWhetherToOverwrite)
{
    for (const auto& [answer, code] : {std::pair{"n", 4}, {"", 4}, {"yes", 0}}) {
        ASSERT_EQ(Shell("echo old >a.y4m"), 0);
        EXPECT_EQ(Shell(std::string("(sleep 0.3; echo ") + answer +
                        ") | script -qec '" ENCMGR_PROGRAM
                        " encode testcard:seconds=1,size=64x64,audio=none -o a.y4m' /dev/null"),
                  code)
            << m_said;
        EXPECT_TRUE(Said("encmgr: a.y4m exists. Overwrite it? [y/N] ")) << m_said;
        EXPECT_EQ(std::filesystem::file_size(Path("a.y4m")) == 4, code != 0);
    }
    EXPECT_EQ(Shell("script -qec '" ENCMGR_PROGRAM " encode testcard:seconds=1 -f y4m -o -' /dev/null"), 4);
    EXPECT_TRUE(Said("the standard output is a terminal")) << m_said;
}

TEST_F(HostSaysTest, TheListHasColumns)
{
    ASSERT_EQ(Run("list"), 0);
    std::vector<size_t> columns;
    for (const std::string& line : Lines())
        if (line.starts_with("    video  ") || line.starts_with("    audio  "))
            columns.push_back(line.rfind("  ") + 2); // where the description begins
    ASSERT_GT(columns.size(), 3u);
    EXPECT_EQ(std::count(columns.begin(), columns.end(), columns.front()), static_cast<std::ptrdiff_t>(columns.size()));
}

TEST_F(HostSaysTest, WhatTheInputLacksIsTold)
{
    ASSERT_EQ(Shell("encmgr -q encode testcard:seconds=4,size=160x90 -o a.mp4 && "
                    "ffmpeg -v error -i a.mp4 -c copy -movflags +faststart whole.mp4 && "
                    "ffmpeg -v error -i a.mp4 -c copy -metadata:s:v rotate=30 turned.mp4 </dev/null"),
              0)
        << m_said;
    Damage("whole.mp4", "noisy.mp4", 1, true);
    ASSERT_EQ(Run("encode noisy.mp4 -o noisy.mkv"), 0) << m_said;
    EXPECT_TRUE(Said("warning: noisy.mp4: error in its ")) << m_said;
    EXPECT_TRUE(Said("what couldn't be decoded is left out")) << m_said;
    Damage("whole.mp4", "cut.mp4", 0.5, false);
    Run("encode cut.mp4 -o cut.mkv");
    EXPECT_TRUE(Said("warning: cut.mp4 ends after ") || Said("cut.mp4 breaks off")) << m_said;
    ASSERT_EQ(Run("encode turned.mp4 -o turned.mkv"), 0) << m_said;
    EXPECT_TRUE(Said("is to be shown turned left by 30 degrees")) << m_said;
    ASSERT_EQ(Run("encode a.mp4 -o a.wav --frames 5"), 0) << m_said;
    EXPECT_TRUE(Said("a.wav holds audio alone; the input's video is left out")) << m_said;
    EXPECT_TRUE(Said("without video, --frames has no effect")) << m_said;
    EXPECT_EQ(Run("convert a.wav -o a.png"), 3) << m_said;
    EXPECT_TRUE(Said("can't read a picture from a.wav")) << m_said;
}

TEST_F(HostSaysTest, AnInterruptBeforeTheFirstPictureLeavesNothing)
{
    // Pipes that stall: in the file's head, and behind its first picture.
    ASSERT_EQ(Run("-q encode testcard:seconds=2,size=160x90 --an -o a.y4m"), 0);
    for (const std::string bytes : {"10", "30000"})
        EXPECT_EQ(Shell("rm -f pipe; mkfifo pipe; (head -c " + bytes +
                        " a.y4m; exec sleep 20) >pipe & feeder=$!; "
                        "timeout --preserve-status -s INT 0.7 " ENCMGR_PROGRAM " encode pipe -o b.mkv </dev/null; "
                        "code=$?; kill $feeder; test $code = 130"),
                  0)
            << m_said;
    EXPECT_TRUE(Said("interrupted")) << m_said;
    EXPECT_FALSE(std::filesystem::exists(Path("b.mkv")));
}

TEST_F(HostSaysTest, ClosedAndFullDescriptorsAreNoOutput)
{
    const std::string job = "encmgr -v encode testcard:seconds=1,size=160x90,audio=none -o ";
    EXPECT_EQ(Shell(job + "a.y4m && " + job + "b.y4m <&- >&- 2>&- && cmp a.y4m b.y4m"), 0) << m_said;
    for (const auto& [stream, code] : {std::pair{">&-", 1}, {">/dev/full", 6}}) {
        EXPECT_EQ(Shell(std::string("encmgr list ") + stream), code);
        EXPECT_TRUE(Said("can't write to the standard output")) << m_said;
    }
}
