#include "encmgr/Log.h"
#include "plugins/raw/OutputFile.h"
#include "plugins/raw/RawFiles.h"
#include "plugins/raw/WavHeader.h"
#include "plugins/support/Frames.h"
#include "plugins/support/Text.h"

#include <algorithm>
#include <bit>
#include <cstdint>

static_assert(std::endian::native == std::endian::little, "samples are written as they lie in memory");

namespace
{

const ENCODER_MODE s_audioModes[] = {{kRawAudio, 1}, {0, 0}};

constexpr int kMaxChannels = 32;
constexpr int kMaxSampleRate = 768'000;

struct WavFile {
    OutputFile file;
    int sampleRate;
    int channels;
    uint64_t dataBytes = 0;
    uint64_t bytesInHeader = 0;
    bool refused = false; // a block; the first one is logged

    int BlockAlign() const { return channels * 2; }
    // A file that breaks off in the middle opens up to the last time its header was brought up to date: half a second.
    uint64_t BytesBetweenUpdates() const { return static_cast<uint64_t>(sampleRate) * channels; }
};

bool UpdateHeader(WavFile& wav)
{
    wav.bytesInHeader = wav.dataBytes;
    if (!wav.file.CanSeek())
        return true;
    const uint64_t wholeBlocks = wav.dataBytes - wav.dataBytes % wav.BlockAlign();
    const WavHeader header = MakeWavHeader(wav.sampleRate, wav.channels, wholeBlocks);
    return wav.file.WriteAtStart(header.bytes.data(), header.size);
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
    // Into a pipe the sizes can't be written later.
    const uint64_t dataBytes = wav->file.CanSeek() ? 0 : kUnknownLength;
    const WavHeader header = MakeWavHeader(audio.nSampleRate, audio.nChannels, dataBytes);
    if (!wav->file.Write(header.bytes.data(), header.size))
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
    if (wav.dataBytes - wav.bytesInHeader >= wav.BytesBetweenUpdates() && !UpdateHeader(wav))
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
    if (pAudio->nChannels > kMaxChannels)
        pAudio->nChannels = 2; // the library converts to no more
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
