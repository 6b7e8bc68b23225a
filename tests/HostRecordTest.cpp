// "encmgr record" without devices: files and pipes in real time, and how it ends. tests/record.sh has a screen and
// sound.
#include "tests/HostRun.h"
#include "tests/MediaReader.h"

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

class HostRecordTest : public HostTest
{
protected:
    void MakeCard(const std::string& more)
    {
        ASSERT_EQ(Run("-q encode testcard:size=160x90,rate=25," + more + " -o card.mkv --vc ffv1 --ac pcm"), 0)
            << m_said;
    }
};

TEST_F(HostRecordTest, TakesAFileInRealTimeToItsLengthOrItsEnd)
{
    MakeCard("seconds=1");
    const struct {
        const char* command;
        size_t pictures;
        double seconds;
    } rows[] = {
        {"encmgr record card.mkv -o out.mkv --vc ffv1 --ac pcm -y --duration 0.6", 15, 0.6},
        {"encmgr record card.mkv -o out.mkv --vc ffv1 --ac pcm -y -r 50 --frames 25", 25, 0.5},
        {"mkfifo pipe; cat card.mkv >pipe & encmgr record pipe -o out.mkv --vc ffv1 --ac pcm -y", 25, 1.0},
    };
    for (const auto& row : rows) {
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(Shell(row.command), 0) << row.command << m_said;
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        EXPECT_GT(took.count(), row.seconds * 0.8) << row.command;
        const DecodedFile file = ReadMedia(Path("out.mkv"));
        EXPECT_EQ(file.pictures.size(), row.pictures) << row.command << m_said;
        EXPECT_NEAR(file.AudioSeconds(), row.seconds, 0.04) << row.command;
        std::filesystem::remove(Path("out.mkv"));
    }
}

TEST_F(HostRecordTest, EndsWellBySignalAndRefusesWhatIsNotThere)
{
    MakeCard("seconds=60");
    const std::string record = ENCMGR_PROGRAM " record card.mkv -y --an -o ";
    EXPECT_EQ(Shell(record + "out.y4m & " + UntilWritten("out", 200000) + "; kill -INT $!; wait $!"), 0) << m_said;
    EXPECT_TRUE(Said("out.y4m: ")) << m_said;
    // At a terminal by a key, and the terminal is left as it was.
    EXPECT_EQ(Shell("(" + UntilWritten("key", 200000) + "; printf xq) | script -qec '" + record +
                    "key.y4m && stty -a' /dev/null"),
              0)
        << m_said;
    EXPECT_TRUE(Said("q or Ctrl-C") && Said(" icanon") && Said(" echo ") && Said("susp = ^Z")) << m_said;
    for (const char* name : {"out.y4m", "key.y4m"}) {
        const size_t pictures = ReadMedia(Path(name)).pictures.size();
        EXPECT_TRUE(pictures > 5 && pictures < 1000) << name << " " << pictures;
    }
    // x264 writes its settings into the file: it takes less care than usual, unless it is asked for more.
    for (const auto& [options, setting] : {std::pair{"", "rc_lookahead=10 "}, {"--preset slow ", "rc_lookahead=50 "}})
        EXPECT_EQ(
            Shell(record + "speed.mp4 --vc h264 --frames 2 " + options + "&& grep -aq '" + setting + "' speed.mp4"), 0)
            << m_said;
    const struct {
        const char* arguments;
        int code;
        const char* says;
    } rows[] = {
        {"record -o new.mkv", 2, "SOURCE"},
        {"record screen::0", 2, "output"},
        {"record testcard: -o new.mkv", 2, "encode"},
        {"record camera:/dev/null -o new.mkv", 3, "--list"},
        {"record missing.mkv -o new.mkv", 3, "missing.mkv"},
        {"record card.mkv -o new.mkv --duration 0", 2, "duration"},
        {"record card.mkv -o card.mkv -y", 4, "card.mkv"},
        {"record --list", 0, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Run(row.arguments), row.code) << row.arguments << m_said;
        EXPECT_TRUE(Said(row.says)) << row.arguments << m_said;
    }
    EXPECT_FALSE(std::filesystem::exists(Path("new.mkv")));
}

TEST_F(HostRecordTest, WhoeverDoesNotAnswerIsGivenUpBySignal)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof(address);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(listener, 8), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
    const std::string name = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    for (const std::string& command : {"probe " + name, "encode -o a.mkv " + name, "record -o a.mkv " + name})
        EXPECT_EQ(Run(command, "timeout --preserve-status -k 9 -s INT 0.5"), 130) << command << m_said;
    close(listener);
}

} // namespace
