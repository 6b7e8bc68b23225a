// Jobs through the front door on plug-ins whose answers the input scripts: hostile records, sizes, times and calls.
// The slots read all that they are handed, to the byte, and see that they are called in order.
#include "Common/Audio/AudioConverter.h"
#include "Common/Numbers.h"
#include "encmgr/EncMgr.h"
#include "encmgr/Log.h"
#include "fuzz/FuzzInput.h"
#include "media_file/MediaFile.h"
#include "media_file/Pacing.h"
#include "media_file/PicturePlan.h"

#include <stdexcept>

// Absurd sizes are refused for want of memory, as without the sanitizer.
extern "C" ENCMGR_API const char* __asan_default_options();
extern "C" ENCMGR_API const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace
{

constexpr KXDWORD kVideo = 11, kAudio = 12, kOther = 13, kFormat = 21, kCopy = KX_FOURCC('C', 'O', 'P', 'Y');
constexpr int kMostSide = 200, kMostBytes = 1 << 16;
constexpr int64_t kMostWrites = 500, kMostFill = 1 << 22; // that one frame may give rise to

FuzzInput* g_input;
int g_handles[3]; // open ones: video, audio, file
volatile unsigned g_sum;

void Read(const void* data, int64_t size)
{
    unsigned sum = 0;
    for (int64_t i = 0; i < size; ++i)
        sum += static_cast<const unsigned char*>(data)[i];
    g_sum = sum;
}

// A slot's answer; at times it throws.
int Answer()
{
    const int answer = g_input->Random(0, 15);
    if (answer == 15)
        throw std::runtime_error("by the script");
    return answer;
}

void* Opened(int kind)
{
    if (Answer() == 0)
        return nullptr;
    ++g_handles[kind];
    return &g_handles[kind];
}

void Closed(int kind, void* handle)
{
    Expect(handle == &g_handles[kind] && --g_handles[kind] == 0, "a handle is ended that isn't open");
    Answer();
}

void ReadPicture(const MEDIA_FRAME& frame)
{
    const auto& video = frame.video;
    const auto plane = [](const unsigned char* bits, int pitch, int width, int height) {
        for (int row = 0; bits && width > 0 && row < height; ++row)
            Read(bits + ptrdiff_t{row} * pitch, width);
    };
    plane(video.pY, video.nPitchY, video.nWidth, video.nHeight);
    plane(video.pU, video.nPitchU, ChromaSize(video.nWidth), ChromaSize(video.nHeight));
    plane(video.pV, video.nPitchV, ChromaSize(video.nWidth), ChromaSize(video.nHeight));
}

void ReadFrame(bool isVideo, const MEDIA_FRAME& frame)
{
    if (isVideo)
        ReadPicture(frame);
    else
        Read(frame.audio.pData, frame.audio.nDataSize);
}

// Encoders leave nothing, or their handle.
bool IsNoFrame(const void* data)
{
    return !data || data == &g_handles[0] || data == &g_handles[1];
}

// A side of a picture, that can be made or not at all.
int AnySide()
{
    const int side = g_input->Hostile(g_input->Random(1, kMostSide));
    return side > kMostSide && side < INT_MAX - 2 ? kMostSide : side;
}

void Revise(EncodeParamVideo& video)
{
    video.nWidth = AnySide();
    video.nHeight = AnySide();
    if (std::max(video.nWidth, video.nHeight) > kMostSide && std::min(video.nWidth, video.nHeight) > 0)
        video.nWidth = video.nHeight = INT_MAX; // more than any memory holds
    video.dFrameRate = g_input->Random(0, 3) ? g_input->Random(0, 60) : g_input->Raw<double>();
    video.nResizeMethod = g_input->Random(-1, 6);
    video.nInterpolation = g_input->Random(-1, 4);
}

void Revise(EncodeParamAudio& audio)
{
    audio.nSampleRate = g_input->Hostile(48000);
    audio.nChannels = g_input->Hostile(g_input->Random(1, 8));
    audio.nBitsPerSample = g_input->Random(0, 7) ? 16 : g_input->Hostile(8);
}

ENCODER_ITEM Encoder(bool isVideo)
{
    ENCODER_ITEM item = {};
    item.dwFourCC = isVideo ? kVideo : kAudio;
    item.nType = g_input->Random(0, 15) ? isVideo : !isVideo;
    item.pfnCreate =
        isVideo ? [](KXDWORD, EncodeParam*) { return Opened(0); } : [](KXDWORD, EncodeParam*) { return Opened(1); };
    item.pfnEncode = [](void* handle, const MEDIA_FRAME* frame, void** out, KXDWORD* count) {
        ReadFrame(handle == &g_handles[0], *frame);
        *out = Answer() == 0 ? nullptr : handle;
        if (count)
            *count = g_input->Raw<uint32_t>();
        return 0;
    };
    item.pfnDestroy = isVideo ? [](void* handle) { Closed(0, handle); } : [](void* handle) { Closed(1, handle); };
    item.pfnGetDelay = [](void*) { return Answer() ? g_input->Random(0, kMostBytes) : -Answer(); };
    item.pfnGetAudioExtra = [](void*, void** value, KXDWORD*) { *value = Answer() ? nullptr : value; };
    item.pfnGetVideoExtra = [](void*, uintptr_t* value, uintptr_t*, uintptr_t*, uintptr_t*) { *value = Answer(); };
    item.pfnReviseAudio = [](EncodeParamAudio* audio) { return Revise(*audio), Answer(); };
    item.pfnReviseVideo = [](EncodeParam* param) { return Revise(param->video), Answer(); };
    return item;
}

FILEFORMAT_ITEM FileFormat(KXDWORD fourCC, const ENCODER_MODE* audio, const ENCODER_MODE* video)
{
    FILEFORMAT_ITEM item = {};
    item.dwFourCC = fourCC;
    item.pAudioModes = audio;
    item.pVideoModes = video;
    item.pfnCreate = [](const wchar_t*, EncodeParam*) { return Opened(2); };
    item.pfnWriteAudio = [](void*, const void* data, KXDWORD) {
        if (!IsNoFrame(data))
            ReadFrame(false, *static_cast<const MEDIA_FRAME*>(data));
        return Answer();
    };
    item.pfnWriteVideo = [](void*, const void* data) {
        if (!IsNoFrame(data))
            ReadFrame(true, *static_cast<const MEDIA_FRAME*>(data));
        return Answer();
    };
    item.pfnClose = [](void* handle, FC_CLOSE_CALLBACK, void*) { Closed(2, handle); };
    item.pfnSetAudioExtra = [](void*, void*, KXDWORD) { Answer(); };
    item.pfnSetVideoExtra = [](void*, uintptr_t, uintptr_t, uintptr_t, uintptr_t) { Answer(); };
    item.dwFlags = g_input->Random(0, 3);
    return item;
}

// Takes slots away from a record, as plug-ins leave them out.
template <class Item> void Thin(Item& item)
{
    const auto drop = [](auto& slot) { slot = g_input->Random(0, 31) ? slot : nullptr; };
    drop(item.pfnCreate);
    if constexpr (requires { item.pfnEncode; }) {
        drop(item.pfnEncode), drop(item.pfnDestroy), drop(item.pfnGetDelay), drop(item.pfnGetAudioExtra);
        drop(item.pfnGetVideoExtra), drop(item.pfnReviseAudio), drop(item.pfnReviseVideo);
    } else {
        drop(item.pAudioModes), drop(item.pVideoModes), drop(item.pfnWriteAudio), drop(item.pfnWriteVideo);
        drop(item.pfnClose), drop(item.pfnSetAudioExtra), drop(item.pfnSetVideoExtra);
    }
}

// A time near the position reached, or an absurd one.
int64_t AnyTime(int64_t reached)
{
    static constexpr int64_t absurd[] = {INT64_MIN, INT64_MIN + 1, -1, 0, INT64_MAX - 1, INT64_MAX};
    const int choice = g_input->Random(0, 15);
    if (choice < 6)
        return absurd[choice];
    return choice == 15 ? g_input->Raw<int64_t>() : SaturatingAdd(reached, g_input->Random(-10'000'000, 20'000'000));
}

void WritePicture(MediaFile& job, const KXVideoInfo& source, int64_t& reached)
{
    const int width = source.width, height = source.height;
    const bool exists = width > 0 && height > 0 && width <= kMostSide && height <= kMostSide;
    const int pitch = exists ? width + g_input->Random(0, 9) : 0;
    Bytes y(static_cast<size_t>(pitch * height)), u(y.size()), v(y.size());
    MEDIA_FRAME frame = {};
    frame.video = {{}, y.data(), u.data(), v.data(), 0, width, height, pitch, pitch, pitch};
    if (!exists || g_input->Random(0, 15) == 0)
        frame.video.pY = frame.video.pU = frame.video.pV = nullptr;
    frame.llStreamTime = reached = AnyTime(reached);
    frame.llTimeStamp = AnyTime(reached);
    if (CopiesDue(frame.llStreamTime, job.m_EncParam.video.dFrameRate, job.m_nFramesOut) > kMostWrites)
        return;
    FCWriteVideoFrame(&job, &frame);
}

void WriteBlock(MediaFile& job, const KXAudioInfo& source, int64_t& reached)
{
    Bytes block(static_cast<size_t>(g_input->Random(1, 5000)));
    MEDIA_FRAME frame = {};
    frame.audio = {
        source.samplerate, source.channels, source.bitspersample, block.data(), static_cast<int>(block.size()), 0};
    frame.audio.nDataSize = g_input->Random(0, 15) ? frame.audio.nDataSize : g_input->Random(-2, 0);
    frame.audio.pData = g_input->Random(0, 15) ? frame.audio.pData : nullptr;
    frame.llStreamTime = reached = AnyTime(reached);
    frame.llTimeStamp = AnyTime(reached);
    frame.nDuration = g_input->Hostile(10000);
    const EncodeParamAudio& format = job.m_EncParam.audio;
    const auto rate = RateOf(format);
    const auto gap = rate ? GapSamples(frame.llStreamTime, job.m_llAudioBytes, format, *rate) : std::nullopt;
    if (gap && BytesOfSamples(*gap, format) > kMostFill)
        return;
    if (job.m_pAudioConverter && job.m_pAudioConverter->CountOf(static_cast<int>(block.size())) > kMostFill)
        return;
    FCWriteAudioData(&job, &frame);
}

void RunJob(const EncodeParam& param)
{
    const auto source = [](int target) { return g_input->Hostile(g_input->Random(0, 3) ? target : 64); };
    KXVideoInfo video = {source(AnySide()), source(AnySide()), 25.0, 0, g_input->Hostile(16), g_input->Hostile(9), {}};
    video.framerate = g_input->Random(0, 3) ? g_input->Random(0, 60) : g_input->Raw<double>();
    const KXAudioInfo audio = {g_input->Hostile(44100), g_input->Hostile(2), g_input->Random(0, 15) ? 16 : 8};
    void* const handle =
        FCCreateMediaFile(g_input->Random(0, 31) ? L"out" : nullptr, &param, g_input->Random(0, 7) ? &video : nullptr,
                          g_input->Random(0, 7) ? &audio : nullptr);
    int64_t picture = 0, block = 0;
    for (int calls = 0; handle && calls < 50 && !g_input->IsUsedUp(); ++calls) {
        if (g_input->Random(0, 15) == 0)
            FCWriteVideoFrame(handle, nullptr), FCWriteAudioData(handle, nullptr);
        if (g_input->Random(0, 1))
            WritePicture(*static_cast<MediaFile*>(handle), video, picture);
        else
            WriteBlock(*static_cast<MediaFile*>(handle), audio, block);
    }
    FCCloseMediaFile(handle, nullptr, nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    KXLogSetSink([](void*, const wchar_t*) {}, nullptr);
    FuzzInput input(data, size);
    g_input = &input;
    const ENCODER_MODE audioModes[] = {{kOther, 0}, {kAudio, static_cast<KXDWORD>(input.Random(0, 1))}, {0, 0}};
    const ENCODER_MODE videoModes[] = {{kVideo, static_cast<KXDWORD>(input.Random(0, 1))}, {0, 0}};
    PluginMgr::m_arEncoder = {Encoder(true), Encoder(false)};
    PluginMgr::m_arFileFormat = {FileFormat(kFormat, audioModes, videoModes),
                                 FileFormat(kCopy, audioModes, videoModes)};
    for (ENCODER_ITEM& item : PluginMgr::m_arEncoder)
        Thin(item);
    for (FILEFORMAT_ITEM& item : PluginMgr::m_arFileFormat)
        Thin(item);

    EncodeParam param = {};
    param.dwFileFourCC = input.Random(0, 15) ? kFormat : kCopy;
    param.video.dwFourCC = input.Random(0, 31) ? kVideo : kOther;
    param.audio.dwFourCC = input.Random(0, 31) ? kAudio : kVideo;
    Revise(param.video);
    Revise(param.audio);
    param.bVideoDisabled = input.Random(0, 3) == 0;
    param.bAudioDisabled = input.Random(0, 3) == 0;
    CAudioConverter::Spare() = 0;
    RunJob(param);
    Expect(!g_handles[0] && !g_handles[1] && !g_handles[2], "a handle stays open");
    return 0;
}
