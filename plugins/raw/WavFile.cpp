#include "log/Log.h"
#include "plugins/raw/OutputFile.h"
#include "plugins/raw/RawFiles.h"
#include "plugins/support/Frames.h"
#include "plugins/support/Text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

static_assert(std::endian::native == std::endian::little, "samples are written as they lie in memory");

namespace
{

const ENCODER_MODE s_audioModes[] = {{kRawAudio, 1}, {0, 0}};

constexpr int kMaxChannels = 32;
constexpr int kMaxSampleRate = 768'000;
constexpr uint32_t kSizeElsewhere = 0xFFFFFFFF; // in a 32-bit size: unknown, or in the 64-bit sizes
constexpr uint64_t kUnknownLength = UINT64_MAX;

// A file that breaks off in the middle opens up to the last time its header was brought up to date.
constexpr uint64_t kBytesBetweenUpdates = 1 << 20;

struct WavFile {
    OutputFile file;
    int sampleRate;
    int channels;
    uint64_t dataBytes = 0;
    uint64_t bytesInHeader = 0;
    bool refused = false; // a block; the first one is logged

    int BlockAlign() const { return channels * 2; }
};

// A header under construction, little-endian.
class HeaderBytes
{
public:
    void Tag(const char (&tag)[5])
    {
        for (int i = 0; i < 4; ++i)
            Word(static_cast<uint8_t>(tag[i]), 1);
    }
    void Word(uint64_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i)
            m_bytes[m_size++] = static_cast<uint8_t>(value >> 8 * i);
    }
    size_t Size() const { return m_size; }
    const uint8_t* Data() const { return m_bytes.data(); }

private:
    std::array<uint8_t, 104> m_bytes{}; // what the longest header takes
    size_t m_size = 0;
};

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

void PutFormat(HeaderBytes& header, int sampleRate, int channels)
{
    const bool extensible = channels > 2;
    const int blockAlign = channels * 2;
    header.Tag("fmt ");
    header.Word(extensible ? 40 : 16, 4);
    header.Word(extensible ? 0xFFFE : 1, 2);
    header.Word(channels, 2);
    header.Word(sampleRate, 4);
    header.Word(static_cast<uint64_t>(sampleRate) * blockAlign, 4);
    header.Word(blockAlign, 2);
    header.Word(16, 2);
    if (!extensible)
        return;
    header.Word(22, 2);
    header.Word(16, 2);
    header.Word(ChannelMask(channels), 4);
    header.Word(1, 4); // the sub-format PCM, 00000001-0000-0010-8000-00AA00389B71
    header.Word(0x00100000, 4);
    header.Word(0xAA000080, 4);
    header.Word(0x719B3800, 4);
}

// All that stands before the samples. It keeps its length whatever dataBytes is: a chunk that readers skip keeps the
// place of the 64-bit sizes until a file needs them.
HeaderBytes WavHeader(int sampleRate, int channels, uint64_t dataBytes)
{
    constexpr int kSizesLength = 28;
    const int formatLength = channels > 2 ? 48 : 24;
    const uint64_t riffBytes = 4 + 8 + kSizesLength + formatLength + 8 + dataBytes;
    const bool unknown = dataBytes == kUnknownLength;
    const bool large = !unknown && riffBytes >= kSizeElsewhere;

    HeaderBytes header;
    if (large)
        header.Tag("RF64");
    else
        header.Tag("RIFF");
    header.Word(large || unknown ? kSizeElsewhere : riffBytes, 4);
    header.Tag("WAVE");
    if (large)
        header.Tag("ds64");
    else
        header.Tag("JUNK");
    header.Word(kSizesLength, 4);
    header.Word(large ? riffBytes : 0, 8);
    header.Word(large ? dataBytes : 0, 8);
    header.Word(large ? dataBytes / (static_cast<uint64_t>(channels) * 2) : 0, 8);
    header.Word(0, 4); // no table of further chunks
    PutFormat(header, sampleRate, channels);
    header.Tag("data");
    header.Word(large || unknown ? kSizeElsewhere : dataBytes, 4);
    return header;
}

bool UpdateHeader(WavFile& wav)
{
    wav.bytesInHeader = wav.dataBytes;
    if (!wav.file.CanSeek())
        return true;
    const uint64_t wholeBlocks = wav.dataBytes - wav.dataBytes % wav.BlockAlign();
    const HeaderBytes header = WavHeader(wav.sampleRate, wav.channels, wholeBlocks);
    return wav.file.WriteAtStart(header.Data(), header.Size());
}

void* CreateWav(const wchar_t* pszPath, EncodeParam* pParam)
{
    const EncodeParamAudio& audio = pParam->audio;
    // The library lets a host name any encoder; only raw audio arrives as frames.
    if (pParam->bAudioDisabled || audio.dwFourCC != kRawAudio || audio.nSampleRate <= 0 ||
        audio.nSampleRate > kMaxSampleRate || audio.nChannels <= 0 || audio.nChannels > kMaxChannels ||
        audio.nBitsPerSample != 16) {
        KXLog(L"wpraw: a WAV file needs raw audio of 16 bits with a sample rate and channels.");
        return nullptr;
    }
    auto wav = std::make_unique<WavFile>();
    wav->sampleRate = audio.nSampleRate;
    wav->channels = audio.nChannels;
    if (!wav->file.Open(pszPath))
        return nullptr;
    // Into a pipe the sizes can't be written later; readers then take the data to the end.
    const HeaderBytes header = WavHeader(audio.nSampleRate, audio.nChannels, wav->file.CanSeek() ? 0 : kUnknownLength);
    if (!wav->file.Write(header.Data(), header.Size()))
        return nullptr;
    return wav.release();
}

int WriteBlock(void* hFile, const void* pData, KXDWORD)
{
    auto& wav = *static_cast<WavFile*>(hFile);
    const auto* frame = static_cast<const MEDIA_FRAME*>(pData);
    if (!frame || !IsReadable(frame->audio, wav.sampleRate, wav.channels)) {
        if (!wav.refused)
            KXLogEx(L"wpraw: an audio block isn't of %d Hz, %d channels and 16 bits, or is empty.", wav.sampleRate,
                    wav.channels);
        wav.refused = true;
        return 0;
    }
    const auto size = static_cast<size_t>(frame->audio.nDataSize);
    if (!wav.file.Write(frame->audio.pData, size))
        return 0;
    wav.dataBytes += size;
    if (wav.dataBytes - wav.bytesInHeader >= kBytesBetweenUpdates && !UpdateHeader(wav))
        return 0;
    return 1;
}

void CloseWav(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    const std::unique_ptr<WavFile> wav(static_cast<WavFile*>(hFile));
    const uint8_t silence[kMaxChannels * 2] = {};
    const size_t partial = wav->dataBytes % wav->BlockAlign();
    if (partial != 0 && wav->file.Write(silence, wav->BlockAlign() - partial))
        wav->dataBytes += wav->BlockAlign() - partial;
    UpdateHeader(*wav);
    const bool complete = wav->file.Close() && !wav->refused;
    if (pfnCallback) {
        const uint64_t milliseconds = wav->dataBytes / wav->BlockAlign() * 1000 / wav->sampleRate;
        pfnCallback(pCallbackParam, complete ? 0 : 1, 0,
                    static_cast<unsigned int>(std::min<uint64_t>(milliseconds, UINT32_MAX)));
    }
}

} // namespace

int ReviseRawAudio(EncodeParamAudio* pAudio)
{
    if (pAudio->nSampleRate <= 0 || pAudio->nChannels <= 0) {
        KXLogEx(L"wpraw: can't write audio of %d Hz and %d channels.", pAudio->nSampleRate, pAudio->nChannels);
        return 0;
    }
    pAudio->nSampleRate = std::min(pAudio->nSampleRate, kMaxSampleRate);
    pAudio->nChannels = std::min(pAudio->nChannels, kMaxChannels);
    pAudio->nBitsPerSample = 16;
    return 1;
}

FILEFORMAT_ITEM WavFormat()
{
    FILEFORMAT_ITEM item{};
    item.dwFourCC = KX_FOURCC('W', 'A', 'V', ' ');
    SetText(item.szShortName, L"WAV");
    SetText(item.szName, L"Wave audio");
    SetText(item.szDescription, L"Uncompressed audio that everything plays");
    item.pAudioModes = s_audioModes;
    item.pfnCreate = CreateWav;
    item.pfnWriteAudio = WriteBlock;
    item.pfnClose = CloseWav;
    return item;
}
