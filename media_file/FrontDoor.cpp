// The seven exported functions: they forward, and own only the life of a job's handle. Nothing is thrown out of them,
// and those of a job have the processor's modes for doubles that the results are defined by.
#include "Common/FloatingPointMode.h"
#include "encmgr/EncMgr.h"
#include "encmgr/Log.h"
#include "log/CatchAll.h"
#include "media_file/MediaFile.h"
#include "plugin_host/PluginMgr.h"

#include <memory>

namespace
{

// The function's result; if it throws, which it does when memory runs out, 0 or null.
template <class Function> auto Guarded(const char* pszName, Function function)
{
    using Result = decltype(function());
    return CatchAll(function, [pszName](const char* pszCause) {
        KXLogEx(L"***%s has failed: %s.", pszName, pszCause);
        return Result();
    });
}

template <class Function> auto GuardedJob(const char* pszName, Function function)
{
    const DefaultFloatingPointMode mode;
    return Guarded(pszName, function);
}

} // namespace

int FCInitPlugins(void)
{
    KXLog(L"FCInitPlugins");
    return Guarded(__func__, [] { return PluginMgr::InitPlugins(); });
}

void FCUninitPlugins(void)
{
    PluginMgr::UninitPlugins();
    KXLog(L"FCUninitPlugins");
}

const FILEFORMAT_INFO* FCGetFileFormatInfos(void)
{
    return PluginMgr::GetFileFormatInfos();
}

void* FCCreateMediaFile(const wchar_t* pszPath, const EncodeParam* pParam, const KXVideoInfo* pVidInfo,
                        const KXAudioInfo* pAudInfo)
{
    return GuardedJob(__func__, [&]() -> void* {
        auto pFile = std::make_unique<MediaFile>();
        return pFile->Create(pszPath, pParam, pVidInfo, pAudInfo) ? pFile.release() : nullptr;
    });
}

int FCWriteAudioData(void* hMediaFile, const MEDIA_FRAME* pFrame)
{
    return GuardedJob(__func__,
                      [&] { return hMediaFile ? static_cast<MediaFile*>(hMediaFile)->WriteAudioData(pFrame) : 0; });
}

int FCWriteVideoFrame(void* hMediaFile, const MEDIA_FRAME* pFrame)
{
    return GuardedJob(__func__,
                      [&] { return hMediaFile ? static_cast<MediaFile*>(hMediaFile)->WriteVideoFrame(pFrame) : 0; });
}

void FCCloseMediaFile(void* hMediaFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    GuardedJob(__func__, [&] {
        const std::unique_ptr<MediaFile> pFile(static_cast<MediaFile*>(hMediaFile));
        if (pFile)
            pFile->Close(pfnCallback, pCallbackParam);
    });
}
