// The test card as a source, to the byte, and what it is set to.
#include "host/sources/TestCard.h"
#include "host/base/ExitCode.h"

#include <gtest/gtest.h>

namespace host
{

TEST(TestCard, IsTheSameToTheByte)
{
    // FNV-1a over all bytes of pictures and samples, of cards that were looked at and listened to.
    const struct {
        const char* parameters;
        uint64_t sum;
    } cases[] = {
        {"seconds=1.2,size=160x90", 7132383637295493997u},
        {"seconds=1.2,size=65x131,rate=10,aspect=4:3,audio=8000x1", 12138457750958040803u},
        {"seconds=1.1,size=1280x721,rate=2,audio=none", 2645373059594510879u},
        // 30 x 1001 / 30000 s is the first picture's time behind second 1: it flashes, and sample 48048 begins a beep.
        {"seconds=2.5,size=64x64,rate=30000/1001", 14763764631817872457u},
        {"seconds=2.2,size=64x64,rate=1,audio=44100x1", 4990546419116757455u},
        {"seconds=1.1,size=64x64,rate=200,audio=8000x1", 9095319985088805925u},
    };
    for (const auto& [parameters, wanted] : cases) {
        TestCard card(ParseTestCard(std::string("testcard:") + parameters), {true, true});
        uint64_t sum = 14695981039346656037u;
        const auto add = [&sum](const void* bytes, size_t count) {
            for (size_t i = 0; i < count; ++i)
                sum = (sum ^ static_cast<const uint8_t*>(bytes)[i]) * 1099511628211u;
        };
        for (Item item = card.Next(); item.kind != Item::Kind::kEnd; item = card.Next()) {
            add(item.samples.data(), item.samples.size() * sizeof(int16_t));
            for (int plane = 0; item.frame && plane < 3; ++plane)
                for (int y = 0; y < (plane ? (item.frame->height + 1) / 2 : item.frame->height); ++y)
                    add(item.frame->data[plane] + ptrdiff_t{y} * item.frame->linesize[plane],
                        static_cast<size_t>(plane ? (item.frame->width + 1) / 2 : item.frame->width));
        }
        EXPECT_EQ(sum, wanted) << parameters;
    }
}

TEST(TestCard, BadParametersAreNamed)
{
    const TestCardSettings settings = ParseTestCard("testcard:size=720x576,aspect=16:9,rate=23.976,audio=none");
    EXPECT_EQ(settings.width, 720);
    EXPECT_EQ(settings.displayAspect.den, 9);
    EXPECT_EQ(settings.frameRate.num, 24000);
    EXPECT_FALSE(settings.hasAudio);
    EXPECT_EQ(ParseTestCard("testcard:audio=8000").audio.channels, 2);
    EXPECT_EQ(TestCard(settings, {true, true}).Video()->pixelAspect.num, 64);
    for (const std::string bad : {"size", "size=63x64", "rate=0.5", "seconds=0", "seconds=nan", "aspect=16",
                                  "audio=48000x3", "audio=999", "audio=", "colour=red", "size=64x64x"}) {
        try {
            ParseTestCard("testcard:seconds=1," + bad);
            ADD_FAILURE() << bad;
        } catch (const HostError& error) {
            EXPECT_EQ(error.Code(), kExitUsage);
            EXPECT_NE(std::string(error.what()).find('"' + bad + '"'), std::string::npos) << error.what();
        }
    }
}

} // namespace host
