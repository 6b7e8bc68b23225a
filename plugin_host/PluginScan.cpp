// The catalogue: finds the plug-ins, loads them, and keeps what they offer in a private form with the function slots
// and a public one without.
#include "encmgr/Log.h"
#include "log/CatchAll.h"
#include "plugin_host/PluginMgr.h"
#include "text/FourCC.h"
#include "text/Utf.h"

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <string>
#include <sys/stat.h>

std::vector<void*> PluginMgr::m_arModule;
std::vector<ENCODER_ITEM> PluginMgr::m_arEncoder;
std::vector<FILEFORMAT_ITEM> PluginMgr::m_arFileFormat;
std::atomic<const char*> PluginMgr::m_pszInWork = nullptr;
std::vector<std::string> PluginMgr::m_arLeftOut;
std::string PluginMgr::m_strFolder;
ENCODER_INFO* PluginMgr::m_pEncInfo = nullptr;
FILEFORMAT_INFO* PluginMgr::m_pFileFormatInfo = nullptr;

namespace
{

// Units of every path and text buffer of the scan. Conversions fill one less, so that a cut text still ends.
constexpr int kBufferUnits = 512;
constexpr int kTextUnits = kBufferUnits - 1;

constexpr char kFolderName[] = "/PlugIns/";
constexpr char kPrefix[] = "wp";
constexpr char kSuffix[] = ".dylib"; // the same on every platform

// Puts the plug-in folder, with its trailing "/", into szFolder. False if it doesn't fit.
bool PluginFolder(char (&szFolder)[kBufferUnits])
{
    if (const std::string folder = PluginMgr::m_strFolder + "/"; folder.size() > 1) {
        if (folder.size() < kBufferUnits)
            std::memcpy(szFolder, folder.c_str(), folder.size() + 1);
        return folder.size() < kBufferUnits;
    }
    wchar_t szAppPath[kBufferUnits] = {};
    GetAppPath(szAppPath, kTextUnits);
    WtoUTF8(szAppPath, -1, szFolder, kTextUnits, false);
    // A path that the conversion had to cut leaves no room here either.
    const size_t length = std::strlen(szFolder);
    if (length + sizeof(kFolderName) > kBufferUnits)
        return false;
    std::memcpy(szFolder + length, kFolderName, sizeof(kFolderName));
    return true;
}

bool HasPluginName(const char* pszName)
{
    const char* pszSuffix = std::strrchr(pszName, '.');
    return pszSuffix && std::strcmp(pszSuffix, kSuffix) == 0 && std::strncmp(pszName, kPrefix, 2) == 0;
}

// The loader's last error, or an empty text. Any further loader call loses it, one made by a log sink too, so it is
// taken before anything is logged.
struct LoaderError {
    wchar_t szText[kBufferUnits] = {};

    LoaderError()
    {
        if (const char* pszError = dlerror())
            UTF8toW(pszError, -1, szText, kTextUnits, false);
    }
};

// The plug-in whose code may run in this scope.
class InWork
{
public:
    explicit InWork(const char* pszFile) { PluginMgr::m_pszInWork = pszFile; }
    ~InWork() { PluginMgr::m_pszInWork = nullptr; }
    InWork(const InWork&) = delete;
    InWork& operator=(const InWork&) = delete;
};

// A text that fills its field ends one character early, so that nobody reads beyond.
template <size_t nUnits> void EndText(wchar_t (&szText)[nUnits])
{
    szText[nUnits - 1] = 0;
}

void EndTexts(ENCODER_ITEM& item)
{
    EndText(item.szName);
    EndText(item.szDescription);
}

void EndTexts(FILEFORMAT_ITEM& item)
{
    EndText(item.szShortName);
    EndText(item.szName);
    EndText(item.szDescription);
}

// Calls a plug-in's export and appends the records it returns. Returns whether there were any.
template <class Item>
bool TakeRecords(void* hModule, const char* pszExport, const wchar_t* pszMessage, const char* pszFile,
                 std::vector<Item>& arItem)
{
    const auto pfnGet = reinterpret_cast<const Item* (*)()>(dlsym(hModule, pszExport));
    const auto refuse = [=](const char* pszCause) -> const Item* {
        KXLogEx(L"***The plug-in [%s] has thrown in %s: %s.", pszFile, pszExport, pszCause);
        return nullptr;
    };
    const Item* pItem = pfnGet ? CatchAll(pfnGet, refuse) : nullptr;
    if (!pItem)
        return false;
    bool bFound = false;
    for (; pItem->dwFourCC != 0; ++pItem) {
        arItem.push_back(*pItem);
        EndTexts(arItem.back());
        wchar_t szFourCC[5] = {};
        KXLogEx(pszMessage, FourCC2StrW(szFourCC, pItem->dwFourCC), pszFile);
        bFound = true;
    }
    return bFound;
}

// Opening a FIFO or a device may wait for ever.
bool IsIrregular(const char* pszFile)
{
    struct stat status = {};
    return stat(pszFile, &status) == 0 && !S_ISREG(status.st_mode);
}

using Module = std::unique_ptr<void, int (*)(void*)>;

void LoadPlugin(const char* pszFile)
{
    if (IsIrregular(pszFile)) {
        KXLogEx(L"***Failed to Load Plugin[%s].", pszFile);
        KXLogEx(L"%s: not a regular file", pszFile);
        return;
    }
    const InWork inWork(pszFile);
    Module module(dlopen(pszFile, RTLD_LAZY), dlclose);
    if (!module) {
        const LoaderError error;
        KXLogEx(L"***Failed to Load Plugin[%s].", pszFile);
        KXLog(error.szText);
        return;
    }
    bool bFound =
        TakeRecords(module.get(), "GetEncoders", L"Found Encoder Plugin[%ls][%s].", pszFile, PluginMgr::m_arEncoder);
    bFound |= TakeRecords(module.get(), "GetFileFormats", L"Found File Format Plugin[%ls][%s].", pszFile,
                          PluginMgr::m_arFileFormat);
    if (bFound) {
        PluginMgr::m_arModule.push_back(nullptr);
        PluginMgr::m_arModule.back() = module.release();
        return;
    }
    KXLog(LoaderError().szText);
    module.reset();
    KXLogEx(L"***Without Plugin Info in [%s]", pszFile);
}

void LoadFolder(DIR* pDir, const char* pszFolder)
{
    while (const dirent* pEntry = readdir(pDir)) {
        const auto& arLeftOut = PluginMgr::m_arLeftOut;
        if (!HasPluginName(pEntry->d_name) ||
            std::find(arLeftOut.begin(), arLeftOut.end(), pEntry->d_name) != arLeftOut.end())
            continue;
        const std::string file = std::string(pszFolder) + pEntry->d_name;
        if (file.size() < kBufferUnits)
            LoadPlugin(file.c_str());
        else
            KXLogEx(L"***Failed to Load Plugin[%s].", file.c_str());
    }
}

ENCODER_INFO* MakeEncoderTable(const std::vector<ENCODER_ITEM>& arEncoder)
{
    if (arEncoder.empty())
        return nullptr;
    ENCODER_INFO* pTable = new ENCODER_INFO[arEncoder.size() + 1]();
    for (size_t i = 0; i < arEncoder.size(); ++i) {
        pTable[i].dwFourCC = arEncoder[i].dwFourCC;
        std::memcpy(pTable[i].szName, arEncoder[i].szName, sizeof(pTable[i].szName));
        std::memcpy(pTable[i].szDescription, arEncoder[i].szDescription, sizeof(pTable[i].szDescription));
    }
    return pTable;
}

// The encoders of a format's list that are present, in the order of the list.
std::vector<ENCODER_INFO*> PresentEncoders(const ENCODER_MODE* pModes, ENCODER_INFO* pEncoders)
{
    std::vector<ENCODER_INFO*> arPresent;
    for (; pModes && pEncoders && pModes->dwFourCC != 0; ++pModes) {
        ENCODER_INFO* pEncoder = pEncoders;
        while (pEncoder->dwFourCC != 0 && pEncoder->dwFourCC != pModes->dwFourCC)
            ++pEncoder;
        if (pEncoder->dwFourCC != 0)
            arPresent.push_back(pEncoder);
    }
    return arPresent;
}

ENCODER_INFO** MakeArray(const std::vector<ENCODER_INFO*>& arPresent)
{
    if (arPresent.empty())
        return nullptr;
    ENCODER_INFO** ppArray = new ENCODER_INFO*[arPresent.size()];
    std::copy(arPresent.begin(), arPresent.end(), ppArray);
    return ppArray;
}

// A format without any present encoder is left out; it can still be chosen by its FourCC.
void FillFormatTable(FILEFORMAT_INFO* pOut, const std::vector<FILEFORMAT_ITEM>& arFormat, ENCODER_INFO* pEncoders)
{
    for (const FILEFORMAT_ITEM& item : arFormat) {
        const auto arAudio = PresentEncoders(item.pAudioModes, pEncoders);
        const auto arVideo = PresentEncoders(item.pVideoModes, pEncoders);
        if (arAudio.empty() && arVideo.empty())
            continue;
        pOut->dwFourCC = item.dwFourCC;
        std::memcpy(pOut->szShortName, item.szShortName, sizeof(pOut->szShortName));
        std::memcpy(pOut->szName, item.szName, sizeof(pOut->szName));
        std::memcpy(pOut->szDescription, item.szDescription, sizeof(pOut->szDescription));
        pOut->nAudioEncoders = static_cast<int>(arAudio.size());
        pOut->nVideoEncoders = static_cast<int>(arVideo.size());
        pOut->ppAudioEncoders = MakeArray(arAudio);
        pOut->ppVideoEncoders = MakeArray(arVideo);
        ++pOut;
    }
}

// Fills the catalogue. What it has when it throws is all in its members.
void FillCatalogue(DIR* pDir, const char* pszFolder)
{
    LoadFolder(pDir, pszFolder);
    PluginMgr::m_pEncInfo = MakeEncoderTable(PluginMgr::m_arEncoder);
    const auto& arFormat = PluginMgr::m_arFileFormat;
    if (arFormat.empty())
        return;
    PluginMgr::m_pFileFormatInfo = new FILEFORMAT_INFO[arFormat.size() + 1]();
    FillFormatTable(PluginMgr::m_pFileFormatInfo, arFormat, PluginMgr::m_pEncInfo);
}

template <class Item> Item* FindFourCC(std::vector<Item>& arItem, KXDWORD dwFourCC)
{
    for (Item& item : arItem)
        if (item.dwFourCC == dwFourCC)
            return &item;
    return nullptr;
}

} // namespace

int PluginMgr::InitPlugins()
{
    UninitPlugins();

    char szFolder[kBufferUnits] = {};
    const std::unique_ptr<DIR, int (*)(DIR*)> pDir(PluginFolder(szFolder) ? opendir(szFolder) : nullptr, closedir);
    if (!pDir) {
        KXLogEx(L"PluginMgr::InitPlugins() Failed to open the plugin path[%s]\r\n", szFolder);
        return 0;
    }
    try {
        FillCatalogue(pDir.get(), szFolder);
    } catch (...) {
        UninitPlugins(); // half a catalogue doesn't stay
        throw;
    }
    KXLog(L"End of InitPlugins()");
    return 1;
}

void PluginMgr::UninitPlugins()
{
    for (void* hModule : m_arModule) {
        const link_map* pMap = nullptr;
        const InWork inWork(dlinfo(hModule, RTLD_DI_LINKMAP, &pMap) == 0 ? pMap->l_name : nullptr);
        dlclose(hModule);
    }
    m_arModule.clear();
    m_arEncoder.clear();
    m_arFileFormat.clear();

    for (FILEFORMAT_INFO* pInfo = m_pFileFormatInfo; pInfo && pInfo->dwFourCC != 0; ++pInfo) {
        delete[] pInfo->ppAudioEncoders;
        delete[] pInfo->ppVideoEncoders;
    }
    delete[] m_pFileFormatInfo;
    m_pFileFormatInfo = nullptr;
    delete[] m_pEncInfo;
    m_pEncInfo = nullptr;
}

const FILEFORMAT_INFO* PluginMgr::GetFileFormatInfos()
{
    return m_pFileFormatInfo;
}

FILEFORMAT_ITEM* FindFileFormat(std::vector<FILEFORMAT_ITEM>& arFileFormat, KXDWORD dwFourCC)
{
    return FindFourCC(arFileFormat, dwFourCC);
}

ENCODER_ITEM* FindEncoderInfo(std::vector<ENCODER_ITEM>& arEncoder, KXDWORD dwFourCC)
{
    return FindFourCC(arEncoder, dwFourCC);
}
