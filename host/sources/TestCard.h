// The generated source: a card whose flash and beep fall together once a second.
#ifndef ENCMGR_HOST_TEST_CARD_H
#define ENCMGR_HOST_TEST_CARD_H

#include "host/sources/CardPainter.h"
#include "host/sources/Source.h"

#include <string_view>

namespace host
{

struct TestCardSettings {
    int width = 640;
    int height = 360;
    AVRational frameRate = {25, 1};
    double seconds = 10.0;
    AVRational displayAspect = {0, 1}; // of the whole picture; 0: square pixels
    bool hasAudio = true;
    AudioFormat audio = {48000, 2};
};

// "testcard:" and its parameters, as in "testcard:size=320x240,rate=30000/1001,audio=none". Throws HostError.
TestCardSettings ParseTestCard(std::string_view name);

// What --help says on it.
extern const char* const kTestCardHelp;

// At each whole second from the first on, the first picture that begins at or after it flashes, and so does the next.
// The beep is a tone of 1 kHz that begins with the first of the two and is as long as both.
class TestCard : public Source
{
public:
    TestCard(const TestCardSettings& settings, const Wanted& wanted);

    Item Next() override;

private:
    Item NextPicture();
    Item NextBlock();
    int64_t FirstFlashOf(int64_t second) const;
    bool IsFlash(int64_t picture) const;
    int64_t SampleAt(int64_t picture) const;
    int16_t SampleOf(int64_t position) const;

    TestCardSettings m_settings;
    CardPainter m_painter;
    int64_t m_pictures; // in all
    int64_t m_samples;  // of one channel, in all
    int64_t m_nextPicture = 0;
    int64_t m_nextSample = 0;
    std::vector<int16_t> m_tone; // the beep
};

} // namespace host

#endif // ENCMGR_HOST_TEST_CARD_H
