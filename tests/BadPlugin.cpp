// A plug-in that breaks one rule, by its file's name: "wpexit-in-scan.dylib" calls exit() in the scan. As
// "wpgood.dylib" it breaks none.
#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"

#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <dlfcn.h>
#include <fcntl.h>
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

__attribute__((constructor)) void Loaded()
{
    Dl_info info;
    if (!dladdr(reinterpret_cast<void*>(&Loaded), &info))
        return;
    const std::string path = info.dli_fname;
    const size_t start = path.find_last_of('/') + 3; // behind "wp"
    path.copy(g_fault, sizeof(g_fault) - 1, start);
    *std::strrchr(g_fault, '.') = 0;
    if (Is("exit-in-scan"))
        std::exit(0);
    if (Is("_exit-in-scan"))
        _exit(0);
    if (Is("crash-in-scan"))
        std::abort();
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
        open("/dev/null", O_RDONLY);
    if (Is("environment"))
        setenv("BAD", "1", 1);
}

constexpr KXDWORD kVideo = KX_FOURCC('B', 'A', 'D', 'V'), kAudio = KX_FOURCC('B', 'A', 'D', 'A');

void* CreateEncoder(KXDWORD, EncodeParam* pParam)
{
    return new EncodeParam(*pParam);
}

int Encode(void*, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD*)
{
    if (Is("exit-in-slot"))
        std::exit(0);
    *ppOut = pFrame->video.pY;
    return 1;
}

void DestroyEncoder(void* hEncoder)
{
    delete static_cast<EncodeParam*>(hEncoder);
}

struct File {
    FILE* file;
    unsigned int pictures;
};

void* CreateFile(const wchar_t* pszPath, EncodeParam*)
{
    char path[4096];
    std::snprintf(path, sizeof(path), "%ls", pszPath);
    FILE* const file = std::fopen(path, "wb");
    return file ? new File{file, 0} : nullptr;
}

int WriteVideo(void* hFile, const void* pData)
{
    File& file = *static_cast<File*>(hFile);
    const bool isWritten = pData && std::fputc('V', file.file) != EOF;
    file.pictures += isWritten;
    return isWritten;
}

void CloseFile(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pParam)
{
    const File* const file = static_cast<File*>(hFile);
    const bool isGood = std::fclose(file->file) == 0;
    if (pfnCallback)
        pfnCallback(pParam, isGood ? 0 : 1, file->pictures, 0);
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
    SetText(item.szName, Is("text") ? L"Bad\x110000" : L"Bad file");
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
