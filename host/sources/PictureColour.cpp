#include "host/sources/PictureColour.h"

#include "host/sources/Libav.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace host
{

namespace
{

// Reserved code points say nothing.
template <class Enum> int Said(const Enum& stored, Enum unspecified, Enum end)
{
    const int codePoint = StoredNumber(stored);
    return codePoint > 0 && codePoint < end && codePoint != unspecified && codePoint != 3 ? codePoint : 0;
}

} // namespace

bool IsHighDefinition(int width, int height)
{
    return width >= 1280 || height > 576;
}

int UsualMatrix(int width, int height)
{
    return IsHighDefinition(width, height) ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

PictureColour ColourOf(const AVCodecParameters& stream)
{
    const AVPixFmtDescriptor* const format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(stream.format));
    const bool isRgb = format && (format->flags & AV_PIX_FMT_FLAG_RGB);
    const int matrix =
        isRgb ? 0 : Said(stream.color_space, AVCOL_SPC_UNSPECIFIED, AVCOL_SPC_NB); // libav's 0 is RGB, too
    return {matrix ? matrix : UsualMatrix(stream.width, stream.height),
            Said(stream.color_primaries, AVCOL_PRI_UNSPECIFIED, AVCOL_PRI_NB),
            Said(stream.color_trc, AVCOL_TRC_UNSPECIFIED, AVCOL_TRC_NB)};
}

const char* HdrTransferName(const PictureColour& colour)
{
    switch (colour.transfer) {
    case AVCOL_TRC_SMPTE2084:
        return "PQ";
    case AVCOL_TRC_ARIB_STD_B67:
        return "HLG";
    default:
        return nullptr;
    }
}

} // namespace host
