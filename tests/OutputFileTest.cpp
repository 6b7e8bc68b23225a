// The output in the file system, and what the program says and remembers.
#include "host/job/OutputFile.h"
#include "host/base/ExitCode.h"
#include "host/base/Messages.h"
#include "host/base/Text.h"
#include "log/Log.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

namespace
{

using namespace host;
namespace fs = std::filesystem;

class OutputFileTest : public testing::Test
{
protected:
    OutputFileTest() : m_folder(fs::temp_directory_path() / ("encmgr-output-" + std::to_string(getpid())))
    {
        fs::create_directories(m_folder);
    }
    ~OutputFileTest() override { fs::remove_all(m_folder); }

    std::string Path(const std::string& name) const { return (m_folder / name).string(); }
    std::string Filled(const std::string& name) const
    {
        std::ofstream(Path(name)) << "kept";
        return Path(name);
    }

    // The exit code with which the output is refused, and the reason; 0 if it may be written.
    int Refusal(const std::string& path, const std::string& input, bool overwrite)
    {
        try {
            OutputFile(path).CheckWritable({input}, overwrite, false);
        } catch (const HostError& error) {
            m_reason = error.what();
            return error.Code();
        }
        m_reason.clear();
        return 0;
    }

    fs::path m_folder;
    std::string m_reason;
};

} // namespace

TEST_F(OutputFileTest, IsRefusedWhereSomethingWouldBeLost)
{
    Filled("old"), Filled("another");
    fs::create_directory(Path("folder"));
    fs::create_hard_link(Path("old"), Path("hard"));
    fs::create_symlink("old", Path("soft"));
    const struct {
        const char *output, *input;
        bool overwrite;
        const char* reason; // empty: it may be written
    } cases[] = {
        {"new", "old", false, ""},
        {"ñandú ☃", "old", false, ""},
        {"old", "", false, "it exists (-y overwrites it)"},
        {"old", "another", true, ""},
        {"old", "old", true, "it's the input"},
        {"old", "hard", true, "it's the input"},
        {"soft", "old", true, "it's the input"},
        {"folder", "", true, "it's a folder"},
        {"none/new", "", true, "No such file or directory"},
        {"old/new", "", true, "Not a directory"},
    };
    for (const auto& [output, input, overwrite, reason] : cases) {
        EXPECT_EQ(Refusal(Path(output), Path(input), overwrite), *reason ? kExitOutput : kExitGood) << output;
        EXPECT_NE(m_reason.find(reason), std::string::npos) << m_reason;
    }
    EXPECT_EQ(Refusal("/dev/null", "", false), 0);
    EXPECT_EQ(Refusal(Path("latin-\xE4"), "", false), kExitOutput);
}

TEST_F(OutputFileTest, ANewFileGoesAfterAFailureAndAnOldOneIsAsItWas)
{
    OutputFile fresh(Path("new")), old(Filled("old")), written(Filled("written"));
    for (OutputFile* output : {&fresh, &old, &written}) {
        output->CheckWritable({}, true, false);
        output->Create();
    }
    EXPECT_TRUE(fs::exists(Path("new")));
    EXPECT_EQ(old.Size(), 4u) << "to try it doesn't empty it";
    std::ofstream(Path("written")) << "something else";
    EXPECT_TRUE(fresh.RemoveIfNew());
    EXPECT_FALSE(fs::exists(Path("new")));
    EXPECT_TRUE(old.RemoveIfNew());
    EXPECT_EQ(old.Size(), 4u);
    EXPECT_FALSE(written.RemoveIfNew());
    EXPECT_EQ(written.Size(), 14u);
}

TEST_F(OutputFileTest, CreationFailsForPlainFilesAlone)
{
    try {
        OutputFile(Path("none/new")).Create();
        ADD_FAILURE();
    } catch (const HostError& error) {
        EXPECT_EQ(error.Code(), kExitOutput);
    }
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    OutputFile pipe(Path("pipe")); // nobody reads: to open it would wait for ever
    pipe.CheckWritable({}, false, false);
    pipe.Create();
    EXPECT_FALSE(pipe.IsPlainFile());
    EXPECT_FALSE(fs::exists(Path("new")));
}

TEST(Messages, RememberTheLogsInCleanLines)
{
    Messages messages;
    messages.SetVolume(Volume::kQuiet);
    const uint64_t start = messages.Mark();
    KXLog(L"one\r\n\t\ttwo  \r\n");
    EXPECT_EQ(messages.LinesSince(start), std::vector<std::string>{"one two"});
    const uint64_t later = messages.Mark();
    for (int i = 0; i < 300; ++i)
        KXLogEx(L"line %d", i);
    const auto lines = messages.LinesSince(later);
    ASSERT_EQ(lines.size(), 200u) << "the latest alone";
    EXPECT_EQ(lines.front(), "line 100");
    EXPECT_EQ(lines.back(), "line 299");
    EXPECT_TRUE(messages.LinesSince(messages.Mark()).empty());

    messages.TakeMediaText(AV_LOG_ERROR, "[mp3 @ 0x55d0c8] in two ");
    messages.TakeMediaText(AV_LOG_ERROR, "pieces\n");
    messages.TakeMediaText(AV_LOG_WARNING, "a warning\n");
    EXPECT_EQ(messages.TakeMediaError(), "[mp3] in two pieces");
    EXPECT_EQ(messages.TakeMediaError(), "") << "told once";
}

TEST(Text, IsWhatPeopleWrite)
{
    EXPECT_EQ(FourCCText(KX_FOURCC('M', 'P', '4', ' ')), "MP4");
    EXPECT_EQ(FourCCText(KX_FOURCC('A', '\x01', '\xFF', 'B')), "A??B");
    EXPECT_EQ(Folded("H.264 / AVC"), Folded("h264avc"));
    EXPECT_EQ(Folded("Größe-1"), "größe1");
    for (const auto& [bytes, text] : {std::pair{uint64_t{0}, "0 B"},
                                      {999, "999 B"},
                                      {1000, "1.0 kB"},
                                      {999'949, "999.9 kB"},
                                      {999'950, "1.0 MB"},
                                      {5'000'000'000'000'000, "5000.0 TB"}})
        EXPECT_EQ(SizeText(bytes), text);
    for (const auto& [seconds, text] :
         {std::pair{59.99, "0:59"}, {3599., "59:59"}, {3661., "1:01:01"}, {-1., "0:00"}, {double{NAN}, "0:00"}})
        EXPECT_EQ(ClockText(seconds), text);
}
