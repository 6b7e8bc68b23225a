// One job on the plug-ins' side: the choice of format and encoders, the way of each frame, the drain at the close.
#include "Common/Numbers.h"
#include "encmgr/Log.h"
#include "plugin_host/PluginMgr.h"
#include "plugin_host/Slot.h"
#include "text/FourCC.h"

#include <cstdlib>

namespace
{

constexpr KXDWORD kSilenceFrameType = 3;

// A FourCC as text for the log, for the length of the call that it is an argument of.
struct FourCCText {
    wchar_t szText[5];

    explicit FourCCText(KXDWORD dwFourCC) { FourCC2StrW(szText, dwFourCC); }
};

// Creates the encoder of a stream that isn't inline. An item without the slots that encoding needs fails like one
// whose pfnCreate returns null.
void* CreateEncoder(const ENCODER_ITEM& item, KXDWORD dwFourCC, EncodeParam* pParam)
{
    if (!item.pfnCreate || !item.pfnEncode || !item.pfnDestroy)
        return nullptr;
    return SLOT_OF(item, pfnCreate)(dwFourCC, pParam);
}

// Creates the file. A format without the slots that the job needs fails like one whose pfnCreate returns null.
void* CreateFile(const FILEFORMAT_ITEM& format, const wchar_t* pszPath, EncodeParam* pParam)
{
    if (!format.pfnCreate || !format.pfnClose)
        return nullptr;
    if (!pParam->bVideoDisabled && !format.pfnWriteVideo)
        return nullptr;
    if (!pParam->bAudioDisabled && !format.pfnWriteAudio)
        return nullptr;
    return SLOT_OF(format, pfnCreate)(pszPath, pParam);
}

} // namespace

void ReportThrow(const char* pszSlot, KXDWORD dwFourCC, const char* pszCause)
{
    KXLogEx(L"***The plug-in [%ls] has thrown in %s: %s.", FourCCText(dwFourCC).szText, pszSlot, pszCause);
}

PluginMgr::PluginMgr() = default;

PluginMgr::~PluginMgr()
{
    Close(nullptr, nullptr);
}

int PluginMgr::Create(const wchar_t* pszPath, EncodeParam* pParam)
{
    if (!pszPath || !pParam || pParam->dwFileFourCC == 0 || m_hFile)
        return 0;

    const FourCCText formatText(pParam->dwFileFourCC);
    KXLogEx(L"PluginMgr::Create File[%ls]\r\n\t\tFile FourCC[%ls] Video FourCC[%ls] Audio FourCC[%ls].", pszPath,
            formatText.szText, FourCCText(pParam->video.dwFourCC).szText, FourCCText(pParam->audio.dwFourCC).szText);

    FILEFORMAT_ITEM* pFormat = FindFileFormat(m_arFileFormat, pParam->dwFileFourCC);
    if (!pFormat) {
        KXLogEx(L"Have not found the [%ls] FileFormat Plugin.", formatText.szText);
        return 0;
    }
    if (!pFormat->pAudioModes) {
        KXLogEx(L"No audio encoder for file format[%ls]", formatText.szText);
        pParam->bAudioDisabled = 1;
    }
    if (!pFormat->pVideoModes) {
        KXLogEx(L"No video encoder for file format[%ls]", formatText.szText);
        pParam->bVideoDisabled = 1;
    }

    m_pSilence = new MEDIA_FRAME();
    m_pSilence->nFrameType = kSilenceFrameType;
    m_bAudioInline = 0;
    m_bVideoInline = 0;
    m_llLastAudioTime = 0;
    m_nLastAudioDuration = 0;

    // Video runs fully before audio, and both before the file exists.
    if ((!pParam->bVideoDisabled && !OpenVideo(pParam, *pFormat)) ||
        (!pParam->bAudioDisabled && !OpenAudio(pParam, *pFormat))) {
        Close(nullptr, nullptr);
        return 0;
    }
    void* hFile = CreateFile(*pFormat, pszPath, pParam);
    if (!hFile) {
        KXLogEx(L"Fail to create the file [%ls].", pszPath);
        Close(nullptr, nullptr);
        return 0;
    }

    m_hFile = hFile;
    m_pFormatItem = pFormat;
    m_bNoPacing = (pFormat->dwFlags & FFF_NOPACING) != 0;
    if (m_pAudioItem && !m_pVideoItem)
        m_bNoPacing = 1;
    return 1;
}

// The revise slot may change the FourCC: from there on the new one counts, but the encoder stays the one found.
int PluginMgr::OpenVideo(EncodeParam* pParam, const FILEFORMAT_ITEM& format)
{
    const EncodeParamVideo& video = pParam->video;
    ENCODER_ITEM* pItem = FindEncoderInfo(m_arEncoder, video.dwFourCC);
    if (!pItem) {
        KXLogEx(L"Have not found the [%ls] Video Encoder Plugin.", FourCCText(video.dwFourCC).szText);
        return 0;
    }
    if (pItem->nType != ENCODER_TYPE_VIDEO) {
        KXLogEx(L"The encoder[%ls] is not for VIDEO type.", FourCCText(video.dwFourCC).szText);
        return 0;
    }
    if (pItem->pfnReviseVideo && !SLOT_OF(*pItem, pfnReviseVideo)(pParam)) {
        KXLogEx(L"Can't revise these video params[%dx%d, %dbps].", video.nWidth, video.nHeight, video.nBitRate);
        return 0;
    }
    m_pVideoItem = pItem;
    m_bVideoInline = IsInlineEnc(format.pVideoModes, video.dwFourCC);
    if (m_bVideoInline)
        return 1;
    m_hVideoEnc = CreateEncoder(*pItem, video.dwFourCC, pParam);
    if (!m_hVideoEnc) {
        pParam->bVideoDisabled = 1;
        KXLog(L"Create video encoder failure, make video disabled.");
    }
    return 1;
}

int PluginMgr::OpenAudio(EncodeParam* pParam, const FILEFORMAT_ITEM& format)
{
    EncodeParamAudio& audio = pParam->audio;
    ENCODER_ITEM* pItem = FindEncoderInfo(m_arEncoder, audio.dwFourCC);
    if (!pItem) {
        KXLogEx(L"Have not found the [%ls] Audio Encoder Plugin.", FourCCText(audio.dwFourCC).szText);
        return 0;
    }
    if (pItem->nType != ENCODER_TYPE_AUDIO) {
        KXLogEx(L"The encoder[%ls] is not for AUDIO type.", FourCCText(audio.dwFourCC).szText);
        return 0;
    }
    if (pItem->pfnReviseAudio && !SLOT_OF(*pItem, pfnReviseAudio)(&audio)) {
        KXLogEx(L"Can't revise these audio params[%dHz, %dChannels, %dbps, %dbits].", audio.nSampleRate,
                audio.nChannels, audio.nBitRate, audio.nBitsPerSample);
        return 0;
    }
    m_pAudioItem = pItem;
    m_bAudioInline = IsInlineEnc(format.pAudioModes, audio.dwFourCC);
    if (m_bAudioInline)
        return 1;
    m_hAudioEnc = CreateEncoder(*pItem, audio.dwFourCC, pParam);
    if (!m_hAudioEnc) {
        pParam->bAudioDisabled = 1;
        KXLog(L"Create audio encoder failure, make audio disabled.");
    }
    return 1;
}

int PluginMgr::WriteAudioData(const MEDIA_FRAME* pFrame)
{
    if (!m_hFile || !pFrame || pFrame->audio.nDataSize == 0)
        return 0;

    int nResult = 0;
    if (m_bAudioInline) {
        nResult = SLOT_OF(*m_pFormatItem, pfnWriteAudio)(m_hFile, pFrame, 0);
    } else if (m_hAudioEnc) {
        void* pOut = nullptr;
        KXDWORD nOut = 0;
        if (SLOT_OF(*m_pAudioItem, pfnEncode).Completes(m_hAudioEnc, pFrame, &pOut, &nOut))
            nResult = SLOT_OF(*m_pFormatItem, pfnWriteAudio)(m_hFile, pOut, nOut);
    }

    // Noted for the drain, also where nothing was written.
    if (m_pSilence->audio.nChannels == 0) {
        m_pSilence->audio.nBitsPerSample = pFrame->audio.nBitsPerSample;
        m_pSilence->audio.nChannels = pFrame->audio.nChannels;
        m_pSilence->audio.nSampleRate = pFrame->audio.nSampleRate;
    }
    m_llLastAudioTime = pFrame->llStreamTime;
    m_nLastAudioDuration = pFrame->nDuration;
    return nResult;
}

int PluginMgr::WriteVideoFrame(const MEDIA_FRAME* pFrame)
{
    if (!m_hFile || !pFrame)
        return 0;
    if (m_bVideoInline)
        return SLOT_OF(*m_pFormatItem, pfnWriteVideo)(m_hFile, pFrame);
    if (!m_hVideoEnc)
        return 0;

    void* pOut = nullptr;
    if (!SLOT_OF(*m_pVideoItem, pfnEncode).Completes(m_hVideoEnc, pFrame, &pOut, nullptr))
        return 0;
    return SLOT_OF(*m_pFormatItem, pfnWriteVideo)(m_hFile, pOut);
}

// Pushes out what the audio encoder holds with one frame of as much silence as it asks for.
void PluginMgr::DrainAudio()
{
    const int nPending = SLOT_OF(*m_pAudioItem, pfnGetDelay)(m_hAudioEnc);
    if (nPending <= 0)
        return;

    MEDIA_FRAME& silence = *m_pSilence;
    const int nBytesPerSecond = WrappingMultiply(WrappingMultiply(silence.audio.nChannels, silence.audio.nSampleRate),
                                                 silence.audio.nBitsPerSample / 8);
    silence.llStreamTime = SaturatingAdd(m_llLastAudioTime, m_nLastAudioDuration);
    silence.llTimeStamp = silence.llStreamTime;
    // Whole seconds only. Without a format there was no audio, and no duration either.
    silence.nDuration = 0;
    if (nBytesPerSecond != 0) {
        const int nSeconds = SaturatingTruncate<int>(static_cast<double>(nPending) / nBytesPerSecond);
        silence.nDuration = WrappingMultiply(nSeconds, 10000000);
    }
    silence.audio.nDataSize = nPending;
    silence.audio.nBufferSize = nPending;
    silence.audio.pData = std::calloc(static_cast<size_t>(nPending), 1);
    if (silence.audio.pData) {
        WriteAudioData(&silence);
    } else {
        KXLog(L"There is no memory for the silence that the audio encoder needs: the audio's end is lost.");
        SLOT_OF(*m_pFormatItem, pfnWriteAudio)(m_hFile, nullptr, 0); // as where an encoder fails
    }
}

void PluginMgr::Close(FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    if (m_hFile) {
        if (m_hAudioEnc && m_pAudioItem->pfnGetDelay)
            DrainAudio();
        if (m_hAudioEnc && m_pAudioItem->pfnGetAudioExtra) {
            void* pValue1 = nullptr;
            KXDWORD nValue2 = 0;
            SLOT_OF(*m_pAudioItem, pfnGetAudioExtra)(m_hAudioEnc, &pValue1, &nValue2);
            if (m_pFormatItem->pfnSetAudioExtra)
                SLOT_OF(*m_pFormatItem, pfnSetAudioExtra)(m_hFile, pValue1, nValue2);
        }
        if (m_hVideoEnc && m_pVideoItem->pfnGetVideoExtra) {
            uintptr_t nValue1 = 0, nValue2 = 0, nValue3 = 0, nValue4 = 0;
            SLOT_OF(*m_pVideoItem, pfnGetVideoExtra)(m_hVideoEnc, &nValue1, &nValue2, &nValue3, &nValue4);
            if (m_pFormatItem->pfnSetVideoExtra)
                SLOT_OF(*m_pFormatItem, pfnSetVideoExtra)(m_hFile, nValue1, nValue2, nValue3, nValue4);
        }
        SLOT_OF(*m_pFormatItem, pfnClose)(m_hFile, pfnCallback, pCallbackParam);
    }

    if (m_hVideoEnc)
        SLOT_OF(*m_pVideoItem, pfnDestroy)(m_hVideoEnc);
    if (m_hAudioEnc)
        SLOT_OF(*m_pAudioItem, pfnDestroy)(m_hAudioEnc);
    m_hFile = nullptr;
    m_hVideoEnc = nullptr;
    m_hAudioEnc = nullptr;
    m_pFormatItem = nullptr;
    m_pVideoItem = nullptr;
    m_pAudioItem = nullptr;

    if (m_pSilence) {
        std::free(m_pSilence->audio.pData);
        delete m_pSilence;
        m_pSilence = nullptr;
    }
}

KXDWORD IsInlineEnc(const ENCODER_MODE* pModes, KXDWORD dwFourCC)
{
    for (; pModes && pModes->dwFourCC != 0; ++pModes)
        if (pModes->dwFourCC == dwFourCC)
            return pModes->bInline;
    return 0;
}
