#include "plugins/raw/WavHeader.h"

namespace
{

constexpr uint32_t kSizeElsewhere = 0xFFFFFFFF; // in a 32-bit size: unknown, or in the 64-bit sizes

void PutWord(WavHeader& header, uint64_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        header.bytes[header.size++] = static_cast<uint8_t>(value >> 8 * i);
}

void PutTag(WavHeader& header, const char (&tag)[5])
{
    for (int i = 0; i < 4; ++i)
        PutWord(header, static_cast<uint8_t>(tag[i]), 1);
}

// Where the usual layouts put their channels (dwChannelMask of WAVEFORMATEXTENSIBLE); 0 says nothing about it.
uint32_t ChannelMask(int channels)
{
    switch (channels) {
    case 4:
        return 0x33; // front and back, left and right
    case 6:
        return 0x3F; // 5.1
    case 8:
        return 0x63F; // 7.1
    default:
        return 0;
    }
}

void PutFormat(WavHeader& header, int sampleRate, int channels)
{
    const bool extensible = channels > 2;
    const int blockAlign = channels * 2;
    PutTag(header, "fmt ");
    PutWord(header, extensible ? 40 : 16, 4);
    PutWord(header, extensible ? 0xFFFE : 1, 2);
    PutWord(header, channels, 2);
    PutWord(header, sampleRate, 4);
    PutWord(header, static_cast<uint64_t>(sampleRate) * blockAlign, 4);
    PutWord(header, blockAlign, 2);
    PutWord(header, 16, 2);
    if (!extensible)
        return;
    PutWord(header, 22, 2);
    PutWord(header, 16, 2);
    PutWord(header, ChannelMask(channels), 4);
    PutWord(header, 1, 4); // the sub-format PCM, 00000001-0000-0010-8000-00AA00389B71
    PutWord(header, 0x00100000, 4);
    PutWord(header, 0xAA000080, 4);
    PutWord(header, 0x719B3800, 4);
}

} // namespace

WavHeader MakeWavHeader(int sampleRate, int channels, uint64_t dataBytes)
{
    constexpr int kSizesLength = 28;
    const int formatLength = channels > 2 ? 48 : 24;
    const uint64_t riffBytes = 4 + 8 + kSizesLength + formatLength + 8 + dataBytes;
    const bool unknown = dataBytes == kUnknownLength;
    const bool large = !unknown && riffBytes >= kSizeElsewhere;

    WavHeader header;
    PutTag(header, large ? "RF64" : "RIFF");
    PutWord(header, large || unknown ? kSizeElsewhere : riffBytes, 4);
    PutTag(header, "WAVE");
    PutTag(header, large ? "ds64" : "JUNK");
    PutWord(header, kSizesLength, 4);
    PutWord(header, large ? riffBytes : 0, 8);
    PutWord(header, large ? dataBytes : 0, 8);
    PutWord(header, large ? dataBytes / (static_cast<uint64_t>(channels) * 2) : 0, 8);
    PutWord(header, 0, 4); // no table of further chunks
    PutFormat(header, sampleRate, channels);
    PutTag(header, "data");
    PutWord(header, large || unknown ? kSizeElsewhere : dataBytes, 4);
    return header;
}
