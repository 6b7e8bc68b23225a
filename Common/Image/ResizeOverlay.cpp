// Scalers that change a target by what it holds already: a picture laid over it, a mask that cuts its shape.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

int DIB_AlphaResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {4, 4, true, ScaleRows().overlay, ScaleRows().overlayColours});
}

int ImageAlphaResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION)
{
    return DIB_AlphaResizeBiLiner(src, dst);
}

int StretchMaskResizeNear(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {1, 4, false, ScaleRows().maskReplace, ScaleRows().maskReplace});
}

int StretchMaskResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    if (src.nBitCount != 8)
        return 0;
    return ForcedEdgeWalk<BottomUp>(src, dst, {1, 4, true, ScaleRows().maskMultiply, ScaleRows().maskMultiply});
}

int ImageStretchMask(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return StretchMaskResizeBiLiner(src, dst);
}
