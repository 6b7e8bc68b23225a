// Pictures, samples and whole jobs from fixed input, as hashes. They are the same from every compiler, at every level
// of optimisation, for every word size, instruction set and processor.
//
// Usage: Golden LIST compares them with the list, for each instruction set that the machine has; without a list they
// are printed, to become it.
#include "Common/Audio/AudioConverter.h"
#include "Common/Image/ImageResize.h"
#include "Common/InstructionSet.h"
#include "encmgr/EncMgr.h"
#include "encmgr/Log.h"
#include "plugin_host/PluginMgr.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{

using Bytes = std::vector<unsigned char>;

// FNV-1a with 64 bits.
class Hash
{
public:
    void Add(const unsigned char* bytes, size_t count)
    {
        for (size_t i = 0; i < count; ++i)
            m_value = (m_value ^ bytes[i]) * 1099511628211u;
    }
    void Add(const Bytes& bytes) { Add(bytes.data(), bytes.size()); }
    void Number(int64_t number)
    {
        for (int shift = 0; shift < 64; shift += 8) {
            const auto byte = static_cast<unsigned char>(static_cast<uint64_t>(number) >> shift);
            Add(&byte, 1);
        }
    }
    uint64_t Value() const { return m_value; }

private:
    uint64_t m_value = 14695981039346656037u;
};

// The same numbers everywhere (the constants are those of MMIX).
class Numbers
{
public:
    unsigned Next()
    {
        return static_cast<unsigned>((m_state = m_state * 6364136223846793005u + 1442695040888963407u) >> 33);
    }
    unsigned char* Fill(Bytes& bytes, size_t count)
    {
        bytes.resize(count);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(Next() >> 8);
        return bytes.data();
    }

private:
    uint64_t m_state = 1;
};

Hash Scaled(int (*scale)(const IMG_PARAM&, IMG_PARAM&), int srcBytes, int dstBytes)
{
    Numbers numbers;
    Hash hash;
    const int sizes[][4] = {{97, 61, 33, 29},  {33, 29, 97, 61},  {640, 7, 1283, 5}, {1283, 5, 640, 7},
                            {64, 64, 128, 32}, {200, 9, 100, 18}, {5, 5, 5, 5},      {1, 1, 7, 9},
                            {4001, 3, 2, 2},   {2, 2, 4001, 3}};
    for (const auto& [sw, sh, dw, dh] : sizes) {
        // Room for chroma that is told in luma pixels, and for a rectangle that doesn't begin in the corner.
        Bytes from, to;
        const int srcPitch = (sw + 3) * srcBytes, dstPitch = (dw + 5) * dstBytes;
        const IMG_PARAM src = {numbers.Fill(from, static_cast<size_t>(srcPitch * (sh + 2))),
                               sw + 3,
                               sh + 2,
                               srcPitch,
                               8 * srcBytes,
                               2,
                               2,
                               sw,
                               sh};
        IMG_PARAM dst = {numbers.Fill(to, static_cast<size_t>(dstPitch * (dh + 4))),
                         dw + 5,
                         dh + 4,
                         dstPitch,
                         8 * dstBytes,
                         3,
                         1,
                         dw,
                         dh};
        hash.Number(scale(src, dst));
        hash.Add(to);
    }
    return hash;
}

Hash Resampled(int fromChannels, int toChannels, int fromRate, int toRate)
{
    Numbers numbers;
    Hash hash;
    CAudioConverter::Spare() = 0;
    CAudioConverter converter(fromChannels, toChannels, fromRate, toRate, 0);
    for (int i = 0; i < 60; ++i) {
        std::vector<short> block(numbers.Next() % 900 * static_cast<unsigned>(fromChannels)), out(60000);
        for (short& sample : block)
            sample = static_cast<short>(numbers.Next());
        hash.Number(converter.Put(block.data(), static_cast<int>(block.size())));
        const int count = converter.Get(out.data(), static_cast<int>(out.size()));
        for (int at = 0; at < count; ++at)
            hash.Number(out[static_cast<size_t>(at)]);
    }
    return hash;
}

// ---- whole jobs, with a format that takes all it is given into the hash ----

constexpr KXDWORD kFormat = 1, kPicture = 2, kSound = 3;
constexpr ENCODER_MODE kPictures[] = {{kPicture, 1}, {0, 0}}, kSounds[] = {{kSound, 1}, {0, 0}};

void AddTimes(Hash& hash, const MEDIA_FRAME& frame)
{
    for (const int64_t number : {frame.llTimeStamp, frame.llStreamTime, int64_t{frame.nDuration}})
        hash.Number(number);
}

Hash g_written;

void FillCatalogue()
{
    ENCODER_ITEM picture = {}, sound = {};
    picture.dwFourCC = kPicture;
    picture.nType = ENCODER_TYPE_VIDEO;
    sound.dwFourCC = kSound;
    PluginMgr::m_arEncoder = {picture, sound};
    FILEFORMAT_ITEM format = {};
    format.dwFourCC = kFormat;
    format.pAudioModes = kSounds;
    format.pVideoModes = kPictures;
    format.pfnCreate = [](const wchar_t*, EncodeParam* param) -> void* {
        g_written.Number(static_cast<int64_t>(param->video.dFrameRate * 1e6));
        return &g_written;
    };
    format.pfnWriteAudio = [](void*, const void* data, KXDWORD) {
        const auto& frame = *static_cast<const MEDIA_FRAME*>(data);
        AddTimes(g_written, frame);
        g_written.Add(static_cast<const unsigned char*>(frame.audio.pData), static_cast<size_t>(frame.audio.nDataSize));
        return 1;
    };
    format.pfnWriteVideo = [](void*, const void* data) {
        const auto& frame = *static_cast<const MEDIA_FRAME*>(data);
        const MEDIA_FRAME_VIDEO& video = frame.video;
        AddTimes(g_written, frame);
        const auto add = [](const unsigned char* plane, int pitch, int width, int height) {
            for (int y = 0; y < height; ++y)
                g_written.Add(plane + static_cast<ptrdiff_t>(y) * pitch, static_cast<size_t>(width));
        };
        add(video.pY, video.nPitchY, video.nWidth, video.nHeight);
        for (const unsigned char* chroma : {video.pU, video.pV})
            add(chroma, video.nPitchU, (video.nWidth + 1) / 2, (video.nHeight + 1) / 2);
        return 1;
    };
    format.pfnClose = [](void*, FC_CLOSE_CALLBACK, void*) {};
    PluginMgr::m_arFileFormat = {format};
}

// Ten seconds of an unsteady camera and of a sound card that loses blocks, comes late, and drifts.
Hash Job(int method, int interpolation, double frameRate, int audioRate)
{
    EncodeParam param = {};
    param.dwFileFourCC = kFormat;
    param.video.dwFourCC = kPicture;
    param.video.nWidth = 75;
    param.video.nHeight = 40;
    param.video.dFrameRate = frameRate;
    param.video.nResizeMethod = method;
    param.video.nInterpolation = interpolation;
    param.audio = {kSound, audioRate, 2, 0, {}, 16};
    const KXVideoInfo video = {48, 36, 30, 0, 16, 11, {}};
    const KXAudioInfo audio = {44100, 1, 16};
    g_written = {};
    CAudioConverter::Spare() = 0;
    void* const job = FCCreateMediaFile(L"golden", &param, &video, &audio);
    Numbers numbers;
    Bytes planes, samples;
    numbers.Fill(samples, 2048);
    for (int64_t i = 0, shown = 0; i < 430; ++i) {
        const int64_t now = i * 1024 * 10000000 / 44100;
        MEDIA_FRAME frame = {};
        frame.audio = {44100, 1, 16, samples.data(), 2048, 2048};
        frame.llTimeStamp = frame.llStreamTime = now + i * 40 - numbers.Next() % 300 * static_cast<unsigned>(i % 7);
        if (numbers.Next() % 20)
            g_written.Number(FCWriteAudioData(job, &frame));
        for (; shown * 333667 <= now; ++shown) {
            frame = {};
            frame.video.pY = numbers.Fill(planes, 48 * 36 * 3 / 2);
            frame.video.pU = frame.video.pY + 48 * 36;
            frame.video.pV = frame.video.pU + 24 * 18;
            frame.video.nWidth = frame.video.nPitchY = 48;
            frame.video.nHeight = 36;
            frame.video.nPitchU = frame.video.nPitchV = 24;
            frame.llTimeStamp = frame.llStreamTime = shown * 333667 + numbers.Next() % 400000;
            g_written.Number(FCWriteVideoFrame(job, &frame));
        }
    }
    FCCloseMediaFile(job, nullptr, nullptr);
    return g_written;
}

// ---- the list ----

std::string AllLines()
{
    std::string lines;
    const auto add = [&lines](const std::string& name, const Hash& hash) {
        char text[17];
        std::snprintf(text, sizeof(text), "%016" PRIx64, hash.Value());
        lines += name + " " + text + "\n";
    };
#define SCALER(name, ...) add(#name, Scaled(name, __VA_ARGS__))
    SCALER(DIB_ResizeNear, 4, 4);
    SCALER(DIB_ResizeNear8, 1, 1);
    SCALER(DIB_ResizeNearY, 1, 1);
    SCALER(DIB_ResizeNearUV, 1, 1);
    SCALER(DIB_ResizeBiLiner, 4, 4);
    SCALER(DIB_ResizeBiLiner8, 1, 1);
    SCALER(DIB_ResizeBiLinerY, 1, 1);
    SCALER(DIB_ResizeBiLinerUV, 1, 1);
    SCALER(DIB_ResizeBiLinerY_Simulate, 1, 1);
    SCALER(DIB_ResizeConvolve, 4, 4);
    SCALER(DIB_AlphaResizeBiLiner, 4, 4);
    SCALER(StretchMaskResizeNear, 1, 4);
    SCALER(StretchMaskResizeBiLiner, 1, 4);
    for (const auto& [from, to] :
         {std::pair{44100, 48000}, {48000, 44100}, {8000, 96000}, {48000, 48000}, {192000, 11025}})
        for (const int channels : {11, 12, 21, 22})
            add("audio-" + std::to_string(from) + "-" + std::to_string(to) + "-" + std::to_string(channels),
                Resampled(channels / 10, channels % 10, from, to));
    for (const int method : {0, 1, 2, 3, 5})
        for (const int interpolation : {1, 2})
            add("job-" + std::to_string(method) + "-" + std::to_string(interpolation),
                Job(method, interpolation,
                    method == 0   ? 30000 / 1001.0
                    : method == 1 ? 24000 / 1001.0
                                  : 60,
                    method == 2 ? 44100 : 48000));
    return lines;
}

} // namespace

int main(int argc, char** argv)
{
    KXLogSetSink([](void*, const wchar_t*) {}, nullptr);
    FillCatalogue();
    if (argc < 2)
        return std::fputs(AllLines().c_str(), stdout) < 0;
    std::ifstream file(argv[1]);
    const std::string expected((std::istreambuf_iterator<char>(file)), {});
    for (int set = 0; set <= static_cast<int>(BestInstructionSet()); ++set) {
        UseInstructionSet(static_cast<InstructionSet>(set));
        if (const std::string lines = AllLines(); lines != expected) {
            std::printf("with instruction set %d, other than in %s:\n%s", set, argv[1], lines.c_str());
            return 1;
        }
        std::printf("instruction set %d: as in %s\n", set, argv[1]);
    }
}
