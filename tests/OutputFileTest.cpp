// The output in the file system, and what the program says and remembers.
#include "host/job/OutputFile.h"
#include "encmgr/Log.h"
#include "host/base/ExitCode.h"
#include "host/base/Messages.h"
#include "host/base/Suggestion.h"
#include "host/base/Text.h"
#include "host/job/OutputNames.h"

#include <cmath>
#include <ctime>
#include <fcntl.h>
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
    ~OutputFileTest() override
    {
        fs::remove_all(m_folder);
        EXPECT_EQ(CountDescriptors(), m_descriptors) << "one stays open";
    }

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

    static std::ptrdiff_t CountDescriptors() { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); }

    fs::path m_folder;
    std::string m_reason;
    std::ptrdiff_t m_descriptors = CountDescriptors();
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
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0); // what is no regular file is written as it is
    EXPECT_EQ(Refusal(Path("pipe"), "", false), kExitGood);
    EXPECT_TRUE(fs::is_fifo(Path("pipe")));
    EXPECT_EQ(Refusal(Path("latin-\xE4"), "", false), kExitOutput);
}

TEST_F(OutputFileTest, TheOldFileStaysUntilTheNewOneIsGood)
{
    fs::create_symlink("target.y4m", Path("link.y4m"));
    fs::create_symlink("nowhere.y4m", Path("dangling.y4m"));
    chmod(Filled("target.y4m").c_str(), 0640);
    std::string longest; // a temporary name is cut, between characters
    for (int i = 0; i < 125; ++i)
        longest += "ö";
    longest += "abc.y";
    for (const std::string name : {"new.y4m", "link.y4m", "dangling.y4m", "100%.y4m", "none", longest.c_str()}) {
        SCOPED_TRACE(name);
        const auto size = [&] { return fs::exists(Path(name)) ? fs::file_size(Path(name)) : 0; };
        const auto before = size();
        for (const bool isGood : {false, true}) {
            OutputFile output(Path(name));
            output.CheckWritable({}, true, false);
            output.Create();
            EXPECT_NE(output.WritePath(), Path(name));
            EXPECT_EQ(fs::path(output.WritePath()).filename().string().find(".part-") == 240, name == longest);
            EXPECT_TRUE(output.WritePath().ends_with(".y4m") || !name.ends_with(".y4m"));
            std::ofstream(output.WritePath()) << "something new";
            EXPECT_EQ(size(), before);
            EXPECT_EQ(output.Size(), 13u);
            if (isGood)
                output.Publish();
            EXPECT_TRUE(output.Discard());
            EXPECT_EQ(size(), isGood ? 13 : before);
        }
    }
    EXPECT_TRUE(fs::is_symlink(Path("link.y4m")) && fs::is_symlink(Path("dangling.y4m")));
    EXPECT_EQ(fs::status(Path("target.y4m")).permissions(), fs::perms(0640));
    const auto files = std::distance(fs::directory_iterator(m_folder), {});
    OutputFile(Path("gone.y4m")).Create(); // its end takes it away
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), {}), files);
}

TEST_F(OutputFileTest, OnlyWhatWasWrittenIsGood)
{
    const auto refusal = [this](const std::string& name, bool overwrite, const auto& spoil) {
        OutputFile output(Path(name));
        output.CheckWritable({}, overwrite, false);
        output.Create();
        std::ofstream(output.WritePath()) << "something new";
        spoil(output.WritePath());
        try {
            output.Publish();
        } catch (const HostError& error) {
            return std::to_string(error.Code()) + " " + error.what();
        }
        return std::string();
    };
    EXPECT_EQ(refusal("a", true, [](const auto&) {}), "");
    EXPECT_NE(refusal("a", true, [](const auto& path) { fs::resize_file(path, 0); }).find("is empty"),
              std::string::npos);
    EXPECT_NE(refusal("a", true, [](const auto& path) { fs::remove(path); }).find("is gone"), std::string::npos);
    const std::string late = refusal("b", false, [this](const auto&) { Filled("b"); });
    EXPECT_TRUE(late.starts_with("4 ") && late.find("it exists by now; the finished file is") != std::string::npos)
        << late;
    EXPECT_EQ(fs::file_size(late.substr(late.rfind(' ') + 1)), 13u);
    EXPECT_EQ(fs::file_size(Path("b")), 4u);
}

TEST_F(OutputFileTest, OthersAreWrittenDirectly)
{
    try {
        OutputFile(Path("none/new")).Create();
        ADD_FAILURE();
    } catch (const HostError& error) {
        EXPECT_EQ(error.Code(), kExitOutput);
    }
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    for (const std::string name : {"pipe", "picture-%03d.png"}) { // nobody reads: to open it would wait for ever
        OutputFile output(Path(name));
        output.CheckWritable({}, false, false);
        output.Create();
        EXPECT_FALSE(output.IsPlainFile());
        EXPECT_EQ(output.WritePath(), Path(name));
        EXPECT_NO_THROW(output.Publish());
    }
    EXPECT_FALSE(fs::exists(Path("picture-%03d.png")));
    // What lies under /proc is written in its place; this is the folder of the tests.
    const fs::path before = fs::current_path();
    fs::current_path(m_folder);
    Filled("old");
    const auto direct = [](const char* name, const auto& meanwhile) {
        OutputFile output(std::string("/proc/self/cwd/") + name);
        output.CheckWritable({}, true, false);
        output.Create();
        meanwhile();
        return output.Discard();
    };
    EXPECT_TRUE(direct("fresh", [] { std::ofstream("fresh") << "some"; }));
    EXPECT_FALSE(fs::exists("fresh"));
    EXPECT_TRUE(direct("fresh", [] { fs::remove("fresh"); }));
    EXPECT_TRUE(direct("old", [] {}));
    EXPECT_EQ(fs::file_size("old"), 4u);
    EXPECT_FALSE(direct("old", [] { std::ofstream("old") << "something"; }));
    EXPECT_FALSE(direct("old", [] { fs::last_write_time("old", fs::file_time_type()); })) << "as large as before";
    EXPECT_EQ(direct("old",
                     [&] {
                         fs::rename("old", "moved"), Filled("old");
                         OutputFile output("/proc/self/cwd/moved");
                         output.CheckWritable({}, true, false);
                         output.Create();
                         fs::rename("old", "moved");
                         EXPECT_THROW(output.Publish(), HostError) << "another file";
                     }),
              true);
    fs::create_symlink("loop", "loop");
    OutputFile loop(Path("loop"));
    EXPECT_THROW(loop.Create(), HostError);
    fs::current_path(before);

    // A descriptor of the program's own leads to a file that others hold open.
    const int file = open(Filled("held").c_str(), O_RDWR);
    OutputFile held("/proc/self/fd/" + std::to_string(file));
    held.CheckWritable({}, true, false);
    held.Create();
    EXPECT_TRUE(held.Discard()) << "to try it doesn't write to it";
    EXPECT_EQ(held.Size(), 4u);
    ASSERT_EQ(write(file, "overwritten", 11), 11);
    EXPECT_NO_THROW(held.Publish());
    close(file);
}

TEST(Messages, TheLogHasAllThatTheVolumeKeepsBack)
{
    const std::string path = (fs::temp_directory_path() / ("encmgr-log-" + std::to_string(getpid()))).string();
    std::ofstream(path) << "before\n";
    {
        Messages messages;
        messages.SetVolume(Volume::kQuiet);
        EXPECT_THROW(messages.OpenLog("/nowhere/log"), HostError);
        messages.OpenLog(path);
        messages.Say("said");
        messages.Detail("a detail");
        KXLog(L"of the library");
        av_log(nullptr, AV_LOG_VERBOSE, "of libav\n");
        av_log(nullptr, AV_LOG_DEBUG, "too much\n");
        ASSERT_EQ(messages.AllSaid().size(), 1u);
        EXPECT_EQ(messages.AllSaid()[0].text, "said");
    }
    std::ifstream file(path);
    std::string line;
    for (const char* expected :
         {"before", "note     said", "detail   a detail", "library  of the library", "libav    of libav"}) {
        ASSERT_TRUE(std::getline(file, line)) << expected;
        EXPECT_TRUE(line.ends_with(expected)) << line;
        if (line != "before") {
            tm parts = {};
            const char* const rest = strptime(line.c_str(), "%Y-%m-%dT%H:%M:%S.", &parts);
            ASSERT_TRUE(rest && rest[3] == 'Z') << line;
            EXPECT_NEAR(static_cast<double>(timegm(&parts)), static_cast<double>(std::time(nullptr)), 60) << line;
        }
    }
    EXPECT_FALSE(std::getline(file, line));
    fs::remove(path);
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

TEST(ExitCode, TellsTheProgramsFaultsFromOthers)
{
    EXPECT_EQ(ExitOf(HostError(kExitInput, "why")).code, kExitInput);
    EXPECT_EQ(ExitOf(std::bad_alloc()).code, kExitInternal);
    EXPECT_EQ(ExitOf(std::logic_error("why")).text, "internal error: why");
}

TEST(Suggestion, IsTheNearestWord)
{
    const std::vector<Known> known = {{"bilinear", "B"}, {"near", "N"}, {"h265", "HEVC"}, {"h266", "VVC"}, {"y", "Y"}};
    for (const auto& [word, suggestion] : {std::pair{"bilienar", "did you mean B?"},
                                           {"blinear", "did you mean B?"},
                                           {"NAER", "did you mean N?"},
                                           {"H.265", "did you mean HEVC?"},
                                           {"h267", "did you mean HEVC or VVC?"},
                                           {"linear", "did you mean B or N?"},
                                           {"x", ""},
                                           {"", ""},
                                           {"nothing", ""}})
        EXPECT_EQ(DidYouMean(word, known), suggestion) << word;
    EXPECT_EQ(DidYouMean("ab0", {{"ab1", "1"}, {"ab2", "2"}, {"ab3", "3"}, {"ab4", "4"}}), "did you mean 1, 2 or 3?");
    EXPECT_EQ(DidYouMean(std::string(100000, 'x'), {{std::string(100000, 'y'), "Y"}}), "");
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

TEST_F(OutputFileTest, SequencesHaveAPlaceForANumberInTheirName)
{
    const struct {
        const char *path, *sequence, *first;
    } cases[] = {
        {"a.png", "a-%05d.png", "a-00001.png"},
        {"b.c/a", "b.c/a-%05d", "b.c/a-00001"},
        {"%3d/.a", "%3d/.a-%05d", "%3d/.a-00001"},
    };
    for (const auto& [path, sequence, first] : cases) {
        EXPECT_FALSE(IsSequence(path)) << path;
        EXPECT_EQ(SequenceOf(path), sequence);
        EXPECT_TRUE(IsSequence(sequence)) << sequence;
        EXPECT_EQ(FirstOf(sequence), first);
    }
    EXPECT_EQ(FirstOf("100%a%d.png"), "100%a1.png");
}
