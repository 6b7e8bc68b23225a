// Nearest neighbour: the pixel at or before each position, copied.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

int DIB_ResizeNear(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {4, 4, false, nullptr, nullptr});
}

int DIB_ResizeNear8(const IMG_PARAM& src, IMG_PARAM& dst)
{
    if (!CanScale(src, dst, 1))
        return 0;
    const auto rowsOf = [&](int r) {
        return RowPair{TopDown::Row(src, int64_t{src.y} + TableEntry(r, src.cy, dst.cy)) + src.x, nullptr, 0};
    };
    const auto stepY = static_cast<uint32_t>(src.cy * kOne / dst.cy);
    WalkStrips(TableColumns(src.cx, dst.cx), stepY, {TopDown::Pitch(src), TopDown::Pitch(dst)}, dst.cx, dst.cy, rowsOf,
               [&](StripSampler& strip, int r, const RowPair& rows) {
                   strip.Write(rows, TopDown::Row(dst, int64_t{dst.y} + r) + dst.x + strip.First());
               });
    return 1;
}

int DIB_ResizeNearY(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return LumaWalk(src, dst, false, [&](const Steps& step, int r) {
        return RowAt<TopDown>(src, static_cast<uint32_t>(r) * step.y, 1);
    });
}

int DIB_ResizeNearUV(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ChromaWalk(src, dst, false);
}
