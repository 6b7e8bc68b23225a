// A plug-in that breaks one rule, by its file's name: "wpexit-in-scan.dylib" calls exit() in the scan. As
// "wpgood.dylib" it breaks none, nor as "wptraces.dylib", which tells each call and what it was given on the error
// stream.
#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"

#include <cerrno>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <dlfcn.h>
#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace
{

char g_fault[64]; // is there before the constructors run

bool Is(const char* fault)
{
    return std::strcmp(g_fault, fault) == 0;
}

template <class... Values> void Trace(const char* slot, Values... values)
{
    if (!Is("traces"))
        return;
    std::ostringstream line;
    line.precision(12);
    line << "trace " << slot;
    ((line << ' ' << values), ...);
    std::fprintf(stderr, "%s\n", line.str().c_str());
}

int g_file = -1;

int Deepen(int depth) // NOLINT(misc-no-recursion): without an end, too
{
    volatile char room[4096] = {};
    return depth > 0 ? Deepen(depth + 1) + room[depth % 7] : 0;
}

__attribute__((destructor)) void Unloaded()
{
    close(g_file);
}

__attribute__((constructor)) void Loaded()
{
    Dl_info info;
    if (!dladdr(reinterpret_cast<void*>(&Loaded), &info))
        return;
    const std::string path = info.dli_fname;
    const size_t start = path.find_last_of('/') + 3; // behind "wp"
    path.copy(g_fault, sizeof(g_fault) - 1, start);
    *std::strrchr(g_fault, '.') = 0;
    Trace("load");
    if (Is("exit-in-scan"))
        std::exit(0);
    if (Is("_exit-in-scan"))
        _exit(0);
    if (Is("crash-in-scan"))
        std::abort();
    if (Is("overflow-in-scan"))
        g_file = Deepen(1);
    while (Is("hang-in-scan"))
        pause();
    if (Is("slow"))
        usleep(150000);
    if (Is("locale"))
        std::setlocale(LC_NUMERIC, "C.UTF-8");
    if (Is("rounding"))
        std::fesetround(FE_UPWARD);
    if (Is("signal"))
        std::signal(SIGUSR1, SIG_IGN);
    if (Is("file"))
        g_file = open("/dev/null", O_RDONLY);
    if (Is("environment"))
        setenv("BAD", "1", 1);
}

constexpr KXDWORD kVideo = KX_FOURCC('B', 'A', 'D', 'V'), kAudio = KX_FOURCC('B', 'A', 'D', 'A');

int g_count = 0;                     // of frames, in all jobs
thread_local unsigned char t_shared; // what should be a job's own

void Leak(size_t bytes)
{
    static void* s_last;
    s_last = std::malloc(bytes);
    std::memset(s_last, 1, bytes);
}

struct Encoder {
    int width, height;
    bool isVideo;
    unsigned char sum = 0;
    const unsigned char* kept = nullptr;
};

void* CreateEncoder(KXDWORD dwFourCC, EncodeParam* pParam)
{
    const EncodeParamVideo& video = pParam->video;
    const EncodeParamAudio& audio = pParam->audio;
    Trace("create", dwFourCC, video.nWidth, video.nHeight, video.dFrameRate, video.nBitRate, audio.nSampleRate,
          audio.nChannels, audio.nBitsPerSample, audio.nBitRate, pParam->bVideoDisabled, pParam->bAudioDisabled);
    if (Is("no-encoder") || (Is("no-odd") && pParam->video.nWidth % 2))
        return nullptr;
    t_shared = 0;
    return new Encoder{pParam->video.nWidth, pParam->video.nHeight, dwFourCC == kVideo};
}

// Adds up the picture's luma.
unsigned char SumOf(const MEDIA_FRAME_VIDEO& picture)
{
    unsigned sum = 0;
    for (int y = 0; y < picture.nHeight; ++y)
        for (int x = 0; x < picture.nWidth; ++x)
            sum += picture.pY[y * (Is("no-pitch") ? picture.nWidth : picture.nPitchY) + x];
    return static_cast<unsigned char>(sum);
}

// Of all the bytes of rows, but for what is behind the last one.
uint32_t HashOf(const unsigned char* bytes, int width, int height, int pitch)
{
    uint32_t hash = 2166136261u;
    for (int i = 0; i < pitch * (height - 1) + width; ++i)
        hash = (hash ^ bytes[i]) * 16777619u;
    return hash;
}

void TraceFrame(bool isVideo, const MEDIA_FRAME& frame)
{
    const MEDIA_FRAME_VIDEO& picture = frame.video;
    const MEDIA_FRAME_AUDIO& sound = frame.audio;
    const int width = (picture.nWidth + 1) / 2, height = (picture.nHeight + 1) / 2;
    if (isVideo)
        Trace("picture", picture.nWidth, picture.nHeight, picture.nPitchY, picture.nPitchU, picture.nPitchV,
              HashOf(picture.pY, picture.nWidth, picture.nHeight, picture.nPitchY),
              HashOf(picture.pU, width, height, picture.nPitchU), HashOf(picture.pV, width, height, picture.nPitchV));
    else
        Trace("sound", sound.nSampleRate, sound.nChannels, sound.nBitsPerSample, sound.nDataSize,
              HashOf(static_cast<const unsigned char*>(sound.pData), sound.nDataSize, 1, 0));
    Trace("time", frame.llStreamTime, frame.llTimeStamp, frame.nDuration);
}

// Calls the library, which hosts have in their process.
void StartJob()
{
    static bool isIn = false;
    const auto create =
        reinterpret_cast<void* (*)(const wchar_t*, const EncodeParam*, const KXVideoInfo*, const KXAudioInfo*)>(
            dlsym(RTLD_DEFAULT, "FCCreateMediaFile"));
    EncodeParam param = {};
    param.dwFileFourCC = KX_FOURCC('B', 'A', 'D', ' ');
    param.video.dwFourCC = kVideo;
    param.video.nWidth = param.video.nHeight = 16;
    param.bAudioDisabled = 1;
    if (isIn)
        return;
    isIn = true;
    create(L"/dev/null", &param, nullptr, nullptr);
    isIn = false;
}

void BreakInEncode(Encoder& encoder, const MEDIA_FRAME& frame)
{
    ++g_count;
    if (Is("exit-in-slot"))
        std::exit(0);
    if (Is("throw-in-encode") && g_count > 2)
        throw std::runtime_error("bad");
    if (Is("crash-in-encode") && g_count > 2)
        std::raise(SIGSEGV);
    while (Is("hang-in-encode"))
        usleep(100000);
    if (Is("calls-library"))
        StartJob();
    if (Is("leaks-by-frame") && encoder.width == 64)
        Leak(5000);
    if (!encoder.isVideo)
        return;
    const MEDIA_FRAME_VIDEO& picture = frame.video;
    const volatile unsigned char* const end = picture.pY + picture.nPitchY * (picture.nHeight - 1) + picture.nWidth;
    if (Is("reads-beyond"))
        encoder.sum = end[0];
    if (Is("reads-before"))
        encoder.sum = picture.pU[-1];
    if (Is("writes-frame"))
        picture.pV[0] = picture.pV[0] ^ 1;
    if (Is("keeps-frame") && encoder.kept)
        encoder.sum = *encoder.kept;
    encoder.kept = picture.pY;
    if (Is("one-thread") && gettid() != getpid())
        std::raise(SIGFPE);
}

int Encode(void* hEncoder, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD* pnOut)
{
    Encoder& encoder = *static_cast<Encoder*>(hEncoder);
    if (Is("traces"))
        TraceFrame(encoder.isVideo, *pFrame);
    BreakInEncode(encoder, *pFrame);
    if (encoder.isVideo)
        encoder.sum = static_cast<unsigned char>(encoder.sum + SumOf(pFrame->video));
    if (Is("shared-state"))
        encoder.sum = t_shared = static_cast<unsigned char>(t_shared + encoder.sum);
    *ppOut = &encoder.sum;
    if (pnOut)
        *pnOut = static_cast<KXDWORD>(pFrame->audio.nDataSize);
    return 1;
}

void DestroyEncoder(void* hEncoder)
{
    Trace("destroy");
    delete static_cast<Encoder*>(hEncoder);
}

void GetExtra(void*, uintptr_t*, uintptr_t*, uintptr_t*, uintptr_t*) {}

int ReviseVideo(EncodeParam* pParam)
{
    EncodeParamVideo& video = pParam->video;
    Trace("revise-video", pParam->dwFileFourCC, video.nWidth, video.nHeight, video.dFrameRate, video.nBitRate,
          video.nPixelAspectX, video.nPixelAspectY, video.dwColour, video.nFieldOrder, video.nRotation);
    if (Is("throw-in-revise") && video.nWidth < 0)
        throw 1;
    if (Is("crash-in-revise") && video.nWidth > 100000)
        std::raise(SIGFPE);
    if (Is("takes-any"))
        return 1;
    if (video.nWidth < 1 || video.nHeight < 1 || !(video.dFrameRate > 0 && video.dFrameRate < 500)) {
        std::fprintf(stderr, "bad: no such picture\n");
        return 0;
    }
    if (Is("restless") && video.nWidth > 20)
        video.nWidth -= 2;
    return 1;
}

int ReviseAudio(EncodeParamAudio* pAudio)
{
    Trace("revise-audio", pAudio->nSampleRate, pAudio->nChannels, pAudio->nBitsPerSample, pAudio->nBitRate);
    if (Is("throw-in-sound") && pAudio->nChannels < 0)
        throw 2;
    if (pAudio->nChannels < 1 || pAudio->nChannels > 2 || pAudio->nSampleRate < 1) {
        std::fprintf(stderr, "bad: no such sound\n");
        if (!Is("six-channels") || pAudio->nChannels < 2)
            return 0;
        pAudio->nChannels = 6;
    }
    pAudio->nBitsPerSample = 16;
    return 1;
}

struct File {
    FILE* file;
    unsigned int pictures = 0;
    uint64_t soundBytes = 0;
    uint64_t bytesPerSecond = 0;
    bool isGood = true;
};

void* CreateFile(const wchar_t* pszPath, EncodeParam* pParam)
{
    char path[4096];
    std::snprintf(path, sizeof(path), "%ls", pszPath);
    FILE* const file = std::fopen(path, "wb");
    Trace(file ? "create-file" : "no-file");
    if (!file) {
        if (!Is("silent"))
            std::fprintf(stderr, "bad: no file\n");
        return nullptr;
    }
    if (Is("leaks-file"))
        dup(fileno(file));
    if (Is("leaks-by-job"))
        Leak(50000);
    auto* const result = new File{file};
    if (!pParam->bAudioDisabled)
        result->bytesPerSecond = uint64_t{2} * static_cast<unsigned>(pParam->audio.nSampleRate) *
                                 static_cast<unsigned>(pParam->audio.nChannels);
    if (Is("empty-file"))
        result->isGood = std::freopen("/dev/null", "wb", file) && unlink(path) == 0;
    return result;
}

// A hundred bytes for each frame.
int Write(File& file, const void* pData)
{
    char bytes[100];
    std::memset(bytes, pData ? *static_cast<const unsigned char*>(pData) : 0, sizeof(bytes));
    const bool isWritten = pData && std::fwrite(bytes, sizeof(bytes), 1, file.file) == 1 && std::fflush(file.file) == 0;
    if (Is("loses-errno") && !isWritten)
        errno = 0;
    file.isGood &= isWritten;
    return Is("odd-results") ? -1 : Is("complete") ? 1 : isWritten;
}

int WriteVideo(void* hFile, const void* pData)
{
    File& file = *static_cast<File*>(hFile);
    file.pictures += !Is("loses-picture") || file.pictures < 3;
    return Write(file, pData);
}

int WriteAudio(void* hFile, const void* pData, KXDWORD nData)
{
    File& file = *static_cast<File*>(hFile);
    file.soundBytes += Is("loses-sound") ? nData / 2 : nData;
    return Write(file, pData);
}

void CloseFile(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pParam)
{
    File* const file = static_cast<File*>(hFile);
    const int error = errno;
    Trace(pfnCallback ? "close" : "close-alone");
    if (Is("crash-when-empty") && file->pictures == 0 && file->soundBytes == 0)
        std::raise(SIGFPE);
    file->isGood &= std::fclose(file->file) == 0;
    const bool isGood = file->isGood || Is("complete");
    const uint64_t milliseconds = file->bytesPerSecond ? file->soundBytes * 1000 / file->bytesPerSecond : 0;
    if (!file->isGood)
        errno = error;
    if (pfnCallback || Is("null-callback"))
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): that is the fault
        pfnCallback(pParam, isGood ? 0 : 1, file->pictures, static_cast<unsigned int>(milliseconds));
    delete file;
}

template <size_t Units> void SetText(wchar_t (&field)[Units], const wchar_t* text)
{
    if (Is("full-texts"))
        std::wmemset(field, L'x', Units);
    else
        std::wcsncpy(field, text, Units);
}

} // namespace

extern "C" {

ENCMGR_API const ENCODER_ITEM* GetEncoders()
{
    if (Is("throw-in-scan"))
        throw std::runtime_error("bad");
    alignas(8) static char bytes[3 * sizeof(ENCODER_ITEM) + 8];
    auto* const item = reinterpret_cast<ENCODER_ITEM*>(bytes);
    auto* const audio = reinterpret_cast<ENCODER_ITEM*>(bytes + sizeof(ENCODER_ITEM) + (Is("stride") ? 8 : 0));
    item->dwFourCC = Is("four-cc") ? KX_FOURCC('B', 'A', 'D', 1) : kVideo;
    SetText(item->szName, L"Bad video");
    SetText(item->szDescription, L"A byte for each picture");
    item->nType = Is("type") ? 2 : ENCODER_TYPE_VIDEO;
    item->pfnCreate = CreateEncoder;
    item->pfnEncode = Is("no-encode") ? nullptr : Encode;
    item->pfnDestroy = Is("wild-slot") ? reinterpret_cast<void (*)(void*)>(item) : DestroyEncoder;
    item->pfnReviseVideo = ReviseVideo;
    item->pfnReviseAudio = ReviseAudio;
    item->pfnGetVideoExtra = Is("no-set-extra") ? GetExtra : nullptr;
    *audio = *item;
    audio->dwFourCC = Is("twice") ? kVideo : kAudio;
    audio->nType = ENCODER_TYPE_AUDIO;
    if (Is("endless"))
        std::memset(bytes + 2 * sizeof(ENCODER_ITEM), 0x81, sizeof(ENCODER_ITEM) + 8);
    return item;
}

ENCMGR_API const FILEFORMAT_ITEM* GetFileFormats()
{
    static const struct {
        ENCODER_MODE mode;
        KXDWORD rest[8];
    } endless = {{kVideo, 0}, {1, 1, 1}};
    static const ENCODER_MODE modes[] = {{Is("wrong-list") ? kAudio : Is("absent") ? 0x31313131u : kVideo, 0}, {0, 0}};
    static const ENCODER_MODE audioModes[] = {{kAudio, 0}, {0, 0}};
    static FILEFORMAT_ITEM items[2];
    FILEFORMAT_ITEM& item = items[0];
    item.dwFourCC = KX_FOURCC('B', 'A', 'D', ' ');
    SetText(item.szShortName, L"BAD");
    SetText(item.szName, Is("text") ? L"Bad\x110000" : Is("control") ? L"Bad\tfile" : L"Bad file");
    SetText(item.szDescription, L"Letters");
    item.pVideoModes = Is("endless-modes") ? &endless.mode : modes;
    item.pAudioModes = audioModes;
    item.pfnCreate = CreateFile;
    item.pfnWriteVideo = WriteVideo;
    item.pfnWriteAudio = WriteAudio;
    item.pfnClose = CloseFile;
    return items;
}

// Hosts may ask for it; here it is a name that a test makes another one of.
ENCMGR_API const ENCODER_OPTION* GetEncoderOptions(KXDWORD)
{
    return nullptr;
}
}
