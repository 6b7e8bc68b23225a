/* A plug-in whose one format throws everything away: what is left of a job's time is the library's. Both streams are
 * inline, so the encoders are names only. */
#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"

#define DISCARD KX_FOURCC('N', 'O', 'N', 'E')
#define DISCARD_VIDEO KX_FOURCC('N', 'O', 'N', 'V')
#define DISCARD_AUDIO KX_FOURCC('N', 'O', 'N', 'A')

static void* Create(const wchar_t* pszPath, EncodeParam* pParam)
{
    (void)pszPath;
    return pParam;
}

static int WriteAudio(void* hFile, const void* pData, KXDWORD nData)
{
    (void)hFile, (void)pData, (void)nData;
    return 1;
}

static int WriteVideo(void* hFile, const void* pData)
{
    (void)hFile, (void)pData;
    return 1;
}

static void Close(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    (void)hFile, (void)pfnCallback, (void)pCallbackParam;
}

ENCMGR_API const ENCODER_ITEM* GetEncoders(void);
const ENCODER_ITEM* GetEncoders(void)
{
    static const ENCODER_ITEM encoders[] = {
        {.dwFourCC = DISCARD_VIDEO, .szName = L"no video", .nType = ENCODER_TYPE_VIDEO},
        {.dwFourCC = DISCARD_AUDIO, .szName = L"no audio", .nType = ENCODER_TYPE_AUDIO},
        {.dwFourCC = 0}};
    return encoders;
}

ENCMGR_API const FILEFORMAT_ITEM* GetFileFormats(void);
const FILEFORMAT_ITEM* GetFileFormats(void)
{
    static const ENCODER_MODE audio[] = {{DISCARD_AUDIO, 1}, {0, 0}};
    static const ENCODER_MODE video[] = {{DISCARD_VIDEO, 1}, {0, 0}};
    static const FILEFORMAT_ITEM formats[] = {{.dwFourCC = DISCARD,
                                               .szShortName = L"none",
                                               .szName = L"no file",
                                               .pAudioModes = audio,
                                               .pVideoModes = video,
                                               .pfnCreate = Create,
                                               .pfnWriteAudio = WriteAudio,
                                               .pfnWriteVideo = WriteVideo,
                                               .pfnClose = Close},
                                              {.dwFourCC = 0}};
    return formats;
}
