// The seven exported functions: they forward, and own only the life of a job's handle.
#include "encmgr/EncMgr.h"
#include "log/Log.h"
#include "media_file/MediaFile.h"
#include "plugin_host/PluginMgr.h"

int FCInitPlugins(void)
{
    KXLog(L"FCInitPlugins");
    return PluginMgr::InitPlugins();
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
    MediaFile* pFile = new MediaFile;
    if (pFile->Create(pszPath, pParam, pVidInfo, pAudInfo))
        return pFile;
    delete pFile;
    return nullptr;
}

int FCWriteAudioData(void* hMediaFile, const MEDIA_FRAME* pFrame)
{
    return hMediaFile ? static_cast<MediaFile*>(hMediaFile)->WriteAudioData(pFrame) : 0;
}

int FCWriteVideoFrame(void* hMediaFile, const MEDIA_FRAME* pFrame)
{
    return hMediaFile ? static_cast<MediaFile*>(hMediaFile)->WriteVideoFrame(pFrame) : 0;
}

void FCCloseMediaFile(void* hMediaFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    if (!hMediaFile)
        return;
    MediaFile* pFile = static_cast<MediaFile*>(hMediaFile);
    pFile->Close(pfnCallback, pCallbackParam);
    delete pFile;
}
