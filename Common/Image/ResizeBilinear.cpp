// Bilinear: the four samples around each position, mixed in two stages.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

int DIB_ResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {4, 4, true, nullptr, nullptr});
}

int DIB_ResizeBiLiner8(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {1, 1, true, nullptr, nullptr});
}

int DIB_ResizeBiLinerY(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return LumaWalk(src, dst, true, [&](const Steps& step, int r) {
        return r < dst.cy - 1 ? RowsAt<TopDown>(src, static_cast<uint32_t>(r) * step.y, 1) : LastRow<TopDown>(src, 1);
    });
}

// The rows of a pair are those at the position and one step further down, and count alike.
int DIB_ResizeBiLinerY_Simulate(const IMG_PARAM& src, IMG_PARAM& dst)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    ColumnLine line = FormulaColumns(1, src.cx, step.x, false);
    line.extra = 1;
    const auto rowsOf = [&](int r) {
        if (r == dst.cy - 1)
            return LastRow<TopDown>(src, 1);
        RowPair rows = RowAt<TopDown>(src, static_cast<uint32_t>(r) * step.y, 1);
        rows.lower = RowAt<TopDown>(src, static_cast<uint32_t>(r + 1) * step.y, 1).upper;
        return rows;
    };
    WalkStrips(line, step.y, {TopDown::Pitch(src), TopDown::Pitch(dst)}, dst.cx, dst.cy, rowsOf,
               [&](StripSampler& strip, int r, const RowPair& rows) {
                   unsigned char* out = TopDown::Row(dst, int64_t{dst.y} + r) + dst.x + strip.First();
                   const unsigned char* upper = strip.Picked(rows.upper);
                   if (rows.lower)
                       strip.Rows().meanRows(upper, strip.Picked(rows.lower), out, strip.Count());
                   else
                       std::memcpy(out, upper, static_cast<size_t>(strip.Count()));
               });
    return 1;
}

int DIB_ResizeBiLinerUV(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ChromaWalk(src, dst, true);
}
