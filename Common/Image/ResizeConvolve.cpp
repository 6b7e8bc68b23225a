// Cubic convolution of 4-byte pixels with 4 by 4 taps. There is no widening of the kernel when reducing: four columns
// and rows around a position count, and the smoothing switches are the only reaction to the scale.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

#include <algorithm>

namespace
{

constexpr int kBytes = 4;

// On from double size and from half size on.
bool IsSmooth(uint32_t step)
{
    return step < 2049 || step > 8191;
}

// Tap rows stop at the rectangle's edges, each in its own way: the fourth falls back on the row itself, already on the
// last but one.
void FindTapRows(const IMG_PARAM& src, int64_t y, const unsigned char* (&rows)[4])
{
    const int64_t first = src.y;
    const int64_t last = first + src.cy - 1;
    const int64_t taps[4] = {std::max(y - 1, first), y, std::min(y + 1, last), y + 2 <= last ? y + 2 : y};
    for (int i = 0; i < 4; ++i)
        rows[i] = BottomUp::Row(src, taps[i]) + ptrdiff_t{src.x} * kBytes;
}

} // namespace

int DIB_ResizeConvolve(const IMG_PARAM& src, IMG_PARAM& dst)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    ConvolveRows taps = {{}, {}, IsSmooth(step.x), IsSmooth(step.y), src.cx - 1};
    for (int r = 0; r < dst.cy; ++r) {
        const uint32_t position = static_cast<uint32_t>(r) * step.y;
        FindTapRows(src, int64_t{src.y} + Whole(position), taps.rows);
        CubicWeights(Fraction(position), taps.weights);
        ConvolveRow32(taps, BottomUp::Row(dst, int64_t{dst.y} + r) + ptrdiff_t{dst.x} * kBytes, dst.cx, step.x);
    }
    return 1;
}
