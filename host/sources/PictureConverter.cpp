#include "host/sources/PictureConverter.h"

#include <algorithm>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace host
{

namespace
{

// A picture of full range uses 0 to 255, one of limited range 16 to 235 (BT.601). The J formats say it by themselves.
bool IsFullRange(const AVFrame& frame)
{
    switch (frame.format) {
    case AV_PIX_FMT_YUVJ411P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ444P:
        return true;
    default:
        return StoredNumber(frame.color_range) == AVCOL_RANGE_JPEG;
    }
}

// The J formats are the others with the range in their name, which is told apart from the format here.
AVPixelFormat PlainFormat(int format)
{
    switch (format) {
    case AV_PIX_FMT_YUVJ411P:
        return AV_PIX_FMT_YUV411P;
    case AV_PIX_FMT_YUVJ420P:
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
        return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ440P:
        return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ444P:
        return AV_PIX_FMT_YUV444P;
    default:
        return static_cast<AVPixelFormat>(format);
    }
}

// The matrix by which a frame is to be understood; RGB is given the one that is wanted.
int MatrixOf(const AVFrame& frame, int wanted)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const bool isRgb = descriptor && (descriptor->flags & AV_PIX_FMT_FLAG_RGB);
    const int matrix = StoredNumber(frame.colorspace);
    return isRgb || matrix == AVCOL_SPC_UNSPECIFIED || matrix == AVCOL_SPC_RGB ? wanted : matrix;
}

// Several code points stand for one matrix.
bool IsSameMatrix(int a, int b)
{
    return a == b || std::equal(sws_getCoefficients(a), sws_getCoefficients(a) + 4, sws_getCoefficients(b));
}

} // namespace

bool PictureConverter::IsFinished(const AVFrame& frame) const
{
    return PlainFormat(frame.format) == AV_PIX_FMT_YUV420P && !IsFullRange(frame) && frame.width == m_width &&
           frame.height == m_height && IsSameMatrix(MatrixOf(frame, m_matrix), m_matrix) && frame.linesize[0] > 0 &&
           frame.linesize[1] > 0 && frame.linesize[2] > 0;
}

bool PictureConverter::Prepare(const AVFrame& frame)
{
    const Kind kind = {frame.width, frame.height, PlainFormat(frame.format), MatrixOf(frame, m_matrix),
                       IsFullRange(frame)};
    if (m_context && kind == m_kind)
        return true;
    m_context.reset(sws_alloc_context());
    if (!m_context)
        return false;
    // The ranges have to be known when the context is set up: without a difference it may turn out to be a copy.
    // These flags give the same bytes on every processor.
    // Without the last, RGB of an odd width has its last column mixed with grey.
    const int flags =
        SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_BITEXACT | (kind.width % 2 ? SWS_FULL_CHR_H_INP : 0);
    const std::pair<const char*, int> options[] = {
        {"srcw", kind.width},
        {"srch", kind.height},
        {"src_format", kind.format},
        {"src_range", kind.isFullRange},
        {"dstw", m_width},
        {"dsth", m_height},
        {"dst_range", 0},
        {"dst_format", AV_PIX_FMT_YUV420P},
        {"sws_flags", flags},
    };
    for (const auto& [name, value] : options)
        av_opt_set_int(m_context.get(), name, value, 0);
    if (WithMemory(sws_init_context(m_context.get(), nullptr, nullptr)) < 0) {
        m_context.reset();
        return false;
    }
    constexpr int unity = 1 << 16;
    // Refused for pairs of formats that need neither matrix nor range; nothing is lost then.
    sws_setColorspaceDetails(m_context.get(), sws_getCoefficients(kind.matrix), kind.isFullRange,
                             sws_getCoefficients(m_matrix), 0, 0, unity, unity);
    m_kind = kind;
    return true;
}

std::shared_ptr<const AVFrame> PictureConverter::Convert(const std::shared_ptr<const AVFrame>& frame)
{
    if (IsFinished(*frame))
        return frame;
    const auto converted = NewPicture(AV_PIX_FMT_YUV420P, m_width, m_height);
    if (!Prepare(*frame) || WithMemory(sws_scale_frame(m_context.get(), converted.get(), frame.get())) < 0)
        return nullptr;
    CopyFieldMarks(*converted, *frame);
    return converted;
}

} // namespace host
