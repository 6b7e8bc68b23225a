// One picture from the host to the job: scaled if that was planned, then written once, several times, or not at all.
#include "Common/Image/ImageResize.h"
#include "Common/Numbers.h"
#include "media_file/MediaFile.h"
#include "media_file/Pacing.h"
#include "media_file/PicturePlan.h"

#include <cstring>
#include <limits>

namespace
{

constexpr KXDWORD kCopyFormat = KX_FOURCC('C', 'O', 'P', 'Y'); // pictures pass untouched
constexpr int kBlackLuma = 16;
constexpr int kNeutralChroma = 128;

} // namespace

int MediaFile::WriteVideoFrame(const MEDIA_FRAME* pFrame)
{
    if (!pFrame)
        return 0;
    if (m_EncParam.dwFileFourCC == kCopyFormat) {
        CountFrameOut();
        return _WriteVideoFrame(pFrame);
    }

    const MEDIA_FRAME* f = m_pResizeBuf ? GetResizeFrame(pFrame) : pFrame;
    const double dTargetRate = m_EncParam.video.dFrameRate;
    if (m_PluginMgr.m_bNoPacing) {
        if (!IsWrittenUnpaced(f->llTimeStamp, m_llLastVideoTime, dTargetRate, m_VideoInfo.framerate))
            return 0;
        CountFrameOut();
        return _WriteVideoFrame(f);
    }

    int nSum = 0;
    for (int64_t nCount = CopiesDue(f->llStreamTime, dTargetRate, m_nFramesOut); nCount > 0; --nCount) {
        nSum = WrappingAdd(nSum, _WriteVideoFrame(f));
        CountFrameOut();
    }
    return nSum;
}

// The bars around the target rectangle keep the fill: black with neutral chroma. So does a plane that the scaler
// refuses, one without source bits for instance.
const MEDIA_FRAME* MediaFile::GetResizeFrame(const MEDIA_FRAME* pFrame)
{
    const EncodeParamVideo& video = m_EncParam.video;
    const auto method = static_cast<IMAGE_INTERPOLATION>(video.nInterpolation);
    const PictureLayout layout(video);
    const auto ySize = static_cast<size_t>(layout.ySize);
    const auto cSize = static_cast<size_t>(layout.cSize);
    unsigned char* const pY = m_pResizeBuf + layout.headerSize;
    unsigned char* const pV = pY + ySize;
    unsigned char* const pU = pV + cSize;

    std::memset(pY, kBlackLuma, ySize);
    std::memset(pV, kNeutralChroma, 2 * cSize);

    m_SrcY.pBits = pFrame->video.pY;
    m_SrcY.nPitch = pFrame->video.nPitchY;
    m_DstY.pBits = pY;
    ImageResizeY(m_SrcY, m_DstY, method);

    m_SrcUV.pBits = pFrame->video.pV;
    m_SrcUV.nPitch = pFrame->video.nPitchV;
    m_DstUV.pBits = pV;
    ImageResizeUV(m_SrcUV, m_DstUV, method);

    m_SrcUV.pBits = pFrame->video.pU;
    m_SrcUV.nPitch = pFrame->video.nPitchU;
    m_DstUV.pBits = pU;
    ImageResizeUV(m_SrcUV, m_DstUV, method);

    m_OutFrame = *pFrame;
    m_OutFrame.video.nWidth = video.nWidth;
    m_OutFrame.video.nHeight = video.nHeight;
    m_OutFrame.video.pY = pY;
    m_OutFrame.video.pV = pV;
    m_OutFrame.video.pU = pU;
    m_OutFrame.video.nPitchY = video.nWidth;
    m_OutFrame.video.nPitchU = ChromaSize(video.nWidth);
    m_OutFrame.video.nPitchV = ChromaSize(video.nWidth);
    return &m_OutFrame;
}

int MediaFile::_WriteVideoFrame(const MEDIA_FRAME* pFrame)
{
    if (!pFrame)
        return 0;
    const int nResult = m_PluginMgr.WriteVideoFrame(pFrame);
    m_llLastVideoTime = pFrame->llTimeStamp;
    return nResult;
}

// Counts a picture, up to the most that the count can hold.
void MediaFile::CountFrameOut()
{
    if (m_nFramesOut < std::numeric_limits<int32_t>::max())
        ++m_nFramesOut;
}
