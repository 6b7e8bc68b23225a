// Nearest neighbour: the pixel at or before each position, copied.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

#include <algorithm>
#include <memory>
#include <new>

namespace
{

// Source index for each of `target` positions: source size over target size with half a step of offset, the last one
// forced. From four-fold enlargement on the quotient can come out one past the end and is held to it.
int32_t TableEntry(int i, int source, int target)
{
    if (i == target - 1)
        return source - 1;
    const int64_t index = (target / 2 + int64_t{i} * source) / target;
    return static_cast<int32_t>(std::min<int64_t>(index, source - 1));
}

} // namespace

int DIB_ResizeNear(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp>(src, dst, {4, 4, NearRow32, nullptr});
}

int DIB_ResizeNear8(const IMG_PARAM& src, IMG_PARAM& dst)
{
    if (!CanScale(src, dst, 1))
        return 0;
    const std::unique_ptr<int32_t[]> columns(new (std::nothrow) int32_t[static_cast<size_t>(dst.cx)]);
    if (!columns)
        return 0;
    for (int c = 0; c < dst.cx; ++c)
        columns[static_cast<size_t>(c)] = TableEntry(c, src.cx, dst.cx);
    for (int r = 0; r < dst.cy; ++r) {
        const unsigned char* row = TopDown::Row(src, int64_t{src.y} + TableEntry(r, src.cy, dst.cy)) + src.x;
        TableRow8(row, TopDown::Row(dst, int64_t{dst.y} + r) + dst.x, dst.cx, columns.get());
    }
    return 1;
}

int DIB_ResizeNearY(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return LumaWalk(src, dst, true, [&](const Steps& step, uint32_t r, unsigned char* out) {
        NearRow8(RowsAt<TopDown>(src, r * step.y, 1).upper, out, dst.cx, step.x);
    });
}

int DIB_ResizeNearUV(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ChromaWalk(src, dst, {NearRowUV, nullptr});
}
