// The queue between the threads that read live sources and the job.
#include "host/sources/LiveClock.h"
#include "host/sources/LiveReader.h"
#include "tests/HostHarness.h"

#include <gtest/gtest.h>
#include <thread>

namespace
{

using namespace host;

constexpr Nanoseconds kMs = 1'000'000;

// Half of the memory is for the audio; a few pictures have room in any case.
TEST(LiveQueue, GivesAudioFirstAndDropsWhatHasNoRoom)
{
    const auto picture = [](Nanoseconds time) {
        Item item = Picture(time);
        item.frame = NewPicture(AV_PIX_FMT_YUV420P, 64, 64);
        return item;
    };
    LiveQueue queue(400'000); // more than 4 pictures, and 100000 samples
    queue.AddReader();
    const Nanoseconds now = Moment::Now().steady;
    EXPECT_FALSE(queue.Take(0));
    EXPECT_FALSE(queue.HasPictures() || queue.HasAudio() || queue.IsOver());
    int pictures = 0;
    for (; queue.DroppedPictures() == 0; ++pictures)
        queue.Put(picture(pictures), 0);
    EXPECT_GT(pictures, 5);
    queue.Put(Block(50, 60'000), now);
    queue.Put(Block(60, 60'000), now); // too much
    EXPECT_EQ(queue.DroppedBlocks(), 1);
    EXPECT_TRUE(queue.HasPictures() && queue.HasAudio());
    EXPECT_EQ(queue.Take(0)->time, 50);
    queue.Put(Block(70, 100'000), now); // exactly full
    EXPECT_EQ(queue.Take(0)->time, 70);
    EXPECT_FALSE(queue.HasAudio());
    EXPECT_EQ(queue.Take(0)->time, 0);
    queue.Put(picture(100), 0); // there is room again
    EXPECT_EQ(queue.DroppedPictures(), 1);

    // Waits for room until the deadline, or until the queue is closed, or until somebody takes.
    queue.Put(picture(101), Moment::Now().steady + 50 * kMs);
    EXPECT_GE(Moment::Now().steady - now, 50 * kMs);
    EXPECT_EQ(queue.DroppedPictures(), 2);
    std::thread taker([&queue] { queue.Take(0); });
    queue.Put(picture(102), Moment::Now().steady + 20 * kSecond);
    taker.join();
    EXPECT_EQ(queue.DroppedPictures(), 2);
    std::thread closer([&queue] { queue.Close(); });
    queue.Put(picture(103), Moment::Now().steady + 20 * kSecond);
    closer.join();
    EXPECT_EQ(queue.DroppedPictures(), 3);
    EXPECT_LT(Moment::Now().steady - now, 15 * kSecond);

    queue.EndReader();
    EXPECT_FALSE(queue.IsOver()) << "what waits is still to be taken";
    Nanoseconds last = 0;
    while (const auto item = queue.Take(0))
        last = item->time;
    EXPECT_EQ(last, 102);
    EXPECT_TRUE(queue.IsOver());

    LiveQueue small(0);
    for (int i = 0; i < 6; ++i)
        small.Put(picture(i), 0);
    EXPECT_EQ(small.DroppedPictures(), 2);
    std::thread giver([&small] { small.Put(Block(9, 0), 0); });
    giver.join();
    EXPECT_EQ(small.Take(kSecond)->time, 9);
}

} // namespace
