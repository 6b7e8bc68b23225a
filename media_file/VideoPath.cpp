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
constexpr int kNeutralChroma = 128;

// What a scaler has written of a plane, in samples; nothing if it refused.
struct Written {
    int64_t x;
    int64_t y;
    int64_t cx;
    int64_t cy;
};

// A plane on its way through the scaler. The two chroma planes share their records.
struct Plane {
    IMG_PARAM& src;
    IMG_PARAM& dst;
    unsigned char* source;
    int sourcePitch;
    unsigned char* target;
    int64_t width; // of the target
    int64_t height;
    bool isChroma;

    Written Scale(IMAGE_INTERPOLATION method) const
    {
        src.pBits = source;
        src.nPitch = sourcePitch;
        dst.pBits = target;
        if (isChroma) {
            const int done = ImageResizeUV(src, dst, method);
            return {dst.x / 2, dst.y / 2, ChromaSize(dst.cx), done ? ChromaSize(dst.cy) : 0};
        }
        const int done = ImageResizeY(src, dst, method);
        return {dst.x, dst.y, dst.cx, done ? dst.cy : 0};
    }
};

// Fills all else of the plane, whose rows follow each other without a gap.
void FillAround(const Written& written, const Plane& plane)
{
    const int64_t width = plane.width;
    if (width <= 0 || plane.height <= 0)
        return;
    int64_t from = 0;
    const auto fillTo = [&](int64_t to) {
        if (to > from)
            std::memset(plane.target + from, plane.isChroma ? kNeutralChroma : kBlackLuma,
                        static_cast<size_t>(to - from));
    };
    for (int64_t row = written.y; row < written.y + written.cy; ++row) {
        fillTo(row * width + written.x);
        from = row * width + written.x + written.cx;
    }
    fillTo(width * plane.height);
}

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

// The bars around the target rectangle are filled: black with neutral chroma. So is a plane that the scaler refuses,
// one without source bits for instance.
const MEDIA_FRAME* MediaFile::GetResizeFrame(const MEDIA_FRAME* pFrame)
{
    const EncodeParamVideo& video = m_EncParam.video;
    const auto method = static_cast<IMAGE_INTERPOLATION>(video.nInterpolation);
    const PictureLayout layout(video);
    const int64_t nChromaWidth = ChromaSize(video.nWidth);
    const int64_t nChromaHeight = ChromaSize(video.nHeight);
    unsigned char* const pY = m_pResizeBuf + layout.headerSize;
    unsigned char* const pV = pY + layout.ySize;
    unsigned char* const pU = pV + layout.cSize;

    const auto& source = pFrame->video;
    const Plane planes[] = {
        {m_SrcY, m_DstY, source.pY, source.nPitchY, pY, video.nWidth, video.nHeight, false},
        {m_SrcUV, m_DstUV, source.pV, source.nPitchV, pV, nChromaWidth, nChromaHeight, true},
        {m_SrcUV, m_DstUV, source.pU, source.nPitchU, pU, nChromaWidth, nChromaHeight, true},
    };
    for (const Plane& plane : planes)
        FillAround(plane.Scale(method), plane);

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
