// Reading ahead: the same as without it, never far ahead, and ended from any wait.
#include "host/base/Messages.h"
#include "host/base/Text.h"
#include "host/sources/AheadSource.h"
#include "tests/HostHarness.h"

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using namespace host;

// Blocks between pictures; then a failure, or damage and a break.
class FaultySource final : public Source
{
public:
    FaultySource(int items, bool fails, std::atomic<int>& given) : m_items(items), m_fails(fails), m_given(given)
    {
        m_duration = 7;
    }

    Item Next() override
    {
        if (m_given == m_items && m_fails)
            throw std::runtime_error("fails");
        if (m_given == m_items) {
            m_brokenOff = "broken";
            return {};
        }
        const int number = m_given++;
        m_damaged = number / 2;
        return number % 2 ? Block(number, 1) : Picture(number);
    }

private:
    int m_items;
    bool m_fails;
    std::atomic<int>& m_given;
};

TEST(AheadSource, GivesTheSameInOrderAndNeverReadsFarAhead)
{
    for (const bool fails : {false, true}) {
        std::atomic<int> given = 0;
        AheadSource ahead(std::make_unique<FaultySource>(100, fails, given));
        EXPECT_EQ(ahead.Duration(), 7);
        for (int i = 0; i < 100; ++i) {
            const Item item = ahead.Next();
            ASSERT_EQ(item.time, i);
            EXPECT_EQ(item.kind, i % 2 ? Item::Kind::kAudio : Item::Kind::kPicture);
            EXPECT_EQ(ahead.Damaged(), i / 2);
            EXPECT_LE(given, i + 11); // four pictures, one that waits for room, and their blocks
            EXPECT_EQ(ahead.BrokenOff(), "");
        }
        if (fails) {
            EXPECT_THROW(ahead.Next(), std::runtime_error);
        }
        EXPECT_EQ(ahead.Next().kind, Item::Kind::kEnd);
        EXPECT_EQ(ahead.BrokenOff(), fails ? "" : "broken");
        EXPECT_EQ(ahead.Next().kind, Item::Kind::kEnd);
    }
}

// The thread waits for room, or for a pipe whose writer is silent.
TEST(AheadSource, EndsFromAnyWait)
{
    std::atomic<int> given = 0;
    AheadSource full(std::make_unique<FaultySource>(1'000'000, false, given));
    EXPECT_EQ(full.Next().time, 0);
    full.Stop();
    EXPECT_LE(given, 12);
    EXPECT_EQ(full.Next().kind, Item::Kind::kEnd);

    const std::string path = Format("%ssilent%d.y4m", testing::TempDir().c_str(), static_cast<int>(getpid()));
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int fifo = open(path.c_str(), O_RDWR);
    std::string text = "YUV4MPEG2 W2 H2 F25:1 Ip A1:1 C420\n";
    for (int i = 0; i < 4000; ++i)
        text += "FRAME\n" + std::string(6, '\x50');
    ASSERT_EQ(write(fifo, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    {
        Messages messages;
        AheadSource silent(OpenSource(path, {true, false}, messages));
        for (int i = 0; i < 4000; ++i)
            ASSERT_EQ(silent.Next().kind, Item::Kind::kPicture);
        silent.Stop();
        EXPECT_EQ(silent.BrokenOff(), "");
    }
    close(fifo);
    unlink(path.c_str());
}

} // namespace
