// Bilinear: the four samples around each position, mixed in two stages.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

namespace
{

bool IsLastRow(const IMG_PARAM& dst, uint32_t r)
{
    return r == static_cast<uint32_t>(dst.cy - 1);
}

} // namespace

int DIB_ResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {4, 4, NearRow32, BlendRow32});
}

int DIB_ResizeBiLiner8(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {1, 1, NearRow8, BlendRow8});
}

int DIB_ResizeBiLinerY(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return LumaWalk(src, dst, true, [&](const Steps& step, uint32_t r, unsigned char* out) {
        if (IsLastRow(dst, r))
            NearRow8(LastRow<TopDown>(src, 1), out, dst.cx, step.x);
        else
            BlendRow8(RowsAt<TopDown>(src, r * step.y, 1), out, dst.cx, step.x);
    });
}

int DIB_ResizeBiLinerY_Simulate(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return LumaWalk(src, dst, false, [&](const Steps& step, uint32_t r, unsigned char* out) {
        if (IsLastRow(dst, r)) {
            NearRow8(LastRow<TopDown>(src, 1), out, dst.cx, step.x);
            return;
        }
        const unsigned char* upper = RowsAt<TopDown>(src, r * step.y, 1).upper;
        const unsigned char* lower = RowsAt<TopDown>(src, (r + 1) * step.y, 1).upper;
        MeanRow8(upper, lower, out, dst.cx, step.x, static_cast<uint32_t>(src.cx - 1));
    });
}

int DIB_ResizeBiLinerUV(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ChromaWalk(src, dst, {NearRowUV, BlendRowUV});
}
