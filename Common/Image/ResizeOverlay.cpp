// Scalers that change a target by what it holds already: a picture laid over it, a mask that cuts its shape.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

int DIB_AlphaResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {4, 4, OverlayNearRow32, OverlayBlendRow32});
}

int ImageAlphaResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION)
{
    return DIB_AlphaResizeBiLiner(src, dst);
}

int StretchMaskResizeNear(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {1, 4, MaskReplaceRow, nullptr});
}

int StretchMaskResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return src.nBitCount == 8 ? ForcedEdgeWalk<BottomUp>(src, dst, {1, 4, MaskNearRow, MaskBlendRow}) : 0;
}

int ImageStretchMask(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return StretchMaskResizeBiLiner(src, dst);
}
