// Set-up and teardown of one output file. The frame-rate rules run before the plug-ins see the record; the plans for
// audio and picture follow what the plug-ins left in it.
#include "media_file/MediaFile.h"

#include "Common/Numbers.h"
#include "encmgr/Log.h"
#include "media_file/Pacing.h"
#include "media_file/PicturePlan.h"
#include "media_file/ResizeRect.h"
#include "text/Utf.h"

#include <cstring>
#include <cwchar>
#include <limits>
#include <new>
#include <string>

namespace
{

constexpr double kHighestRate = 200.0;
constexpr double kFallbackRate = 30.0;

std::string ToUTF8(const wchar_t* pszText)
{
    std::string text(std::wcslen(pszText) * 4 + 1, '\0');
    WtoUTF8(pszText, -1, text.data(), static_cast<int>(text.size()), false);
    text.resize(std::strlen(text.c_str()));
    return text;
}

// A target rate that tells nothing takes the source's, and neither is absurd. Two tests of their own.
void SettleFrameRates(double& dTarget, double& dSource, bool bSourceKnown)
{
    const bool bTargetGiven = dTarget >= DefaultPrecision || dTarget <= -DefaultPrecision; // not so for a NaN
    if (bSourceKnown && !bTargetGiven)
        dTarget = dSource;
    if (dTarget > kHighestRate)
        dTarget = kFallbackRate;
    if (dSource > kHighestRate)
        dSource = kFallbackRate;
}

// The shape, in stored pixels, of a source area that fills the target: the target's own, with the height corrected by
// the pixel shape of the source. Empty if the correction gives no height that fits 32 bits.
tagSIZE CropShape(const KXVideoInfo& source, int tw, int th)
{
    if (source.aspectx == 0 || source.aspecty == 0)
        return {tw, th};
    double h = th;
    h = h * tw / tw * source.aspectx / source.aspecty * source.height / source.width + 0.5;
    if (const std::optional<int32_t> height = TruncateIfFits(h))
        return {tw, *height};
    return {0, 0};
}

IMG_PARAM PlaneRecord(int width, int height, int pitch, const tagRECT& rc)
{
    IMG_PARAM plane = {};
    plane.nWidth = width;
    plane.nHeight = height;
    plane.nPitch = pitch;
    plane.nBitCount = 8;
    plane.x = rc.left;
    plane.y = rc.top;
    plane.cx = rc.right - rc.left;
    plane.cy = rc.bottom - rc.top;
    return plane;
}

unsigned char* MakePictureBuffer(const EncodeParamVideo& video)
{
    const PictureLayout layout(video);
    if (layout.BufferSize() > static_cast<uint64_t>(std::numeric_limits<ptrdiff_t>::max()))
        return nullptr;
    unsigned char* pBuf = new (std::nothrow) unsigned char[static_cast<size_t>(layout.BufferSize())];
    if (!pBuf)
        return nullptr;
    tagBITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = video.nWidth;
    header.biHeight = video.nHeight;
    header.biPlanes = 1;
    header.biBitCount = 12;
    header.biCompression = KX_FOURCC('Y', 'V', '1', '2');
    header.biSizeImage = static_cast<uint32_t>(layout.ImageSize());
    std::memcpy(pBuf, &header, sizeof(header));
    return pBuf;
}

} // namespace

MediaFile::MediaFile() = default;

MediaFile::~MediaFile()
{
    Close(nullptr, nullptr);
}

int MediaFile::Create(const wchar_t* pszPath, const EncodeParam* pParam, const KXVideoInfo* pVidInfo,
                      const KXAudioInfo* pAudInfo)
{
    if (!pszPath || !pParam || pParam->dwFileFourCC == 0 || m_PluginMgr.m_hFile)
        return 0;

    m_EncParam = *pParam;
    if (pVidInfo)
        m_VideoInfo = *pVidInfo;
    SettleFrameRates(m_EncParam.video.dFrameRate, m_VideoInfo.framerate, pVidInfo != nullptr);

    if (!m_PluginMgr.Create(pszPath, &m_EncParam)) {
        KXLogEx(L"MediaFile::Create Fail to m_PluginMgr.Create [%s]\r\n", ToUTF8(pszPath).c_str());
        Close(nullptr, nullptr);
        return 0;
    }
    if (!m_EncParam.bAudioDisabled && pAudInfo && !PlanAudio(*pAudInfo))
        return 0;
    if (!m_EncParam.bVideoDisabled && pVidInfo && !PlanVideo(*pVidInfo))
        return 0;
    return 1;
}

int MediaFile::Fail(const wchar_t* pszMessage)
{
    KXLogEx(L"%ls", pszMessage);
    Close(nullptr, nullptr);
    return 0;
}

int MediaFile::PlanAudio(const KXAudioInfo& info)
{
    const EncodeParamAudio& audio = m_EncParam.audio;
    if (audio.nBitsPerSample != info.bitspersample)
        return Fail(L"MediaFile::Create \"m_EncParam.audio.nBitsPerSample != pAudInfo->bitspersample\"\r\n");
    if (audio.nBitsPerSample != 16)
        return Fail(L"MediaFile::Create \"16 != pAudInfo->bitspersample\"\r\n");

    const int64_t nBlockAlign = int64_t{audio.nChannels} * audio.nBitsPerSample / 8;
    if (nBlockAlign > static_cast<int64_t>(sizeof(m_LastBlock)))
        return Fail(L"MediaFile::Create \"64 < m_nBlockAlign\"\r\n");

    if (info.channels != audio.nChannels || info.samplerate != audio.nSampleRate) {
        m_pAudioConverter = new CAudioConverter(info.channels, audio.nChannels, info.samplerate, audio.nSampleRate,
                                                kResampleBufSamples);
        m_pResampleBuf = new short[kResampleBufSamples];
    }
    m_nBlockAlign = static_cast<int32_t>(std::max<int64_t>(nBlockAlign, 0));
    return 1;
}

int MediaFile::PlanVideo(const KXVideoInfo& info)
{
    const int sw = info.width, sh = info.height;
    const int tw = m_EncParam.video.nWidth, th = m_EncParam.video.nHeight;
    const auto method = static_cast<IMAGE_RESIZE_METHOD>(m_EncParam.video.nResizeMethod);
    if (sw == tw && sh == th && method == IMAGE_RESIZE_STRETCH)
        return 1;

    tagRECT rcSrc = {0, 0, sw, sh};
    tagRECT rcDst = {0, 0, tw, th};
    if (method == IMAGE_RESIZE_CROP)
        ResizeRect(rcSrc, CropShape(info, tw, th), IMAGE_RESIZE_KEEP);
    else if (info.aspectx != 0 && info.aspecty != 0)
        ResizeRect(rcDst, {info.aspectx, info.aspecty}, method);
    else
        ResizeRect(rcDst, {sw, sh}, method);

    m_SrcY = PlaneRecord(sw, sh, sw, rcSrc);
    m_DstY = PlaneRecord(tw, th, tw, rcDst);
    m_SrcUV = PlaneRecord(sw, sh, ChromaSize(sw), rcSrc);
    m_DstUV = PlaneRecord(tw, th, ChromaSize(tw), rcDst);
    if (m_SrcY.x == m_DstY.x && m_SrcY.y == m_DstY.y && m_SrcY.cx == m_DstY.cx && m_SrcY.cy == m_DstY.cy)
        return 1;

    m_pResizeBuf = MakePictureBuffer(m_EncParam.video);
    if (!m_pResizeBuf)
        return Fail(L"MediaFile::Create \"nullptr == m_pResizeBuf\"\r\n");
    return 1;
}

void MediaFile::Close(FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    m_PluginMgr.Close(pfnCallback, pCallbackParam);

    delete m_pAudioConverter;
    m_pAudioConverter = nullptr;
    delete[] m_pResizeBuf;
    m_pResizeBuf = nullptr;
    delete[] m_pResampleBuf;
    m_pResampleBuf = nullptr;
    delete[] m_pBlankBuf;
    m_pBlankBuf = nullptr;

    m_nFramesOut = 0;
    m_llAudioBytes = 0;
    m_llLastVideoTime = -1;
}
