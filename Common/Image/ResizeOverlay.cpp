// Scalers that change a target by what it holds already: a picture laid over it, a mask that cuts its shape.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

namespace
{

struct OverlayPixels {
    static constexpr int sourceBytes = 4;
    static constexpr int targetBytes = 4;

    static void Mixed(const RowPair& rows, unsigned char* out, int count, uint32_t step)
    {
        OverlayBlendRow32(rows, out, count, step);
    }
    static void Plain(const unsigned char* row, unsigned char* out, int count, uint32_t step)
    {
        OverlayNearRow32(row, out, count, step);
    }
};

struct ReplacingMask {
    static constexpr int sourceBytes = 1;
    static constexpr int targetBytes = 4;

    static void Mixed(const RowPair& rows, unsigned char* out, int count, uint32_t step)
    {
        MaskReplaceRow(rows.upper, out, count, step);
    }
    static void Plain(const unsigned char* row, unsigned char* out, int count, uint32_t step)
    {
        MaskReplaceRow(row, out, count, step);
    }
};

struct MultiplyingMask {
    static constexpr int sourceBytes = 1;
    static constexpr int targetBytes = 4;

    static void Mixed(const RowPair& rows, unsigned char* out, int count, uint32_t step)
    {
        MaskBlendRow(rows, out, count, step);
    }
    static void Plain(const unsigned char* row, unsigned char* out, int count, uint32_t step)
    {
        MaskNearRow(row, out, count, step);
    }
};

} // namespace

int DIB_AlphaResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp, OverlayPixels>(src, dst);
}

int ImageAlphaResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION)
{
    return DIB_AlphaResizeBiLiner(src, dst);
}

int StretchMaskResizeNear(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp, ReplacingMask>(src, dst);
}

int StretchMaskResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return src.nBitCount == 8 ? ForcedEdgeWalk<BottomUp, MultiplyingMask>(src, dst) : 0;
}

int ImageStretchMask(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return StretchMaskResizeBiLiner(src, dst);
}
