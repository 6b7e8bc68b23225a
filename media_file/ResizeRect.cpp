#include "media_file/ResizeRect.h"

#include <limits>

namespace
{

// 64 bits: sides below 2^31 times shares below 2^32 stay in range.
struct Shape {
    int64_t cx;
    int64_t cy;
};

// The shape of the given ratio around size: one side stays, the other grows, truncated.
Shape Widen(tagSIZE size, int ratioX, int ratioY)
{
    const int64_t a = int64_t{size.cx} * ratioY;
    const int64_t b = int64_t{size.cy} * ratioX;
    if (a > b)
        return {size.cx, a / ratioX};
    return {b / ratioY, size.cy};
}

Shape TargetShape(tagSIZE size, IMAGE_RESIZE_METHOD method)
{
    if (method == IMAGE_RESIZE_16_9)
        return Widen(size, 16, 9);
    if (method == IMAGE_RESIZE_4_3)
        return Widen(size, 4, 3);
    return {size.cx, size.cy};
}

} // namespace

void ResizeRect(tagRECT& rc, tagSIZE size, IMAGE_RESIZE_METHOD method)
{
    if (size.cx <= 0 || size.cy <= 0 || method == IMAGE_RESIZE_STRETCH)
        return;
    const int64_t width = int64_t{rc.right} - rc.left;
    const int64_t height = int64_t{rc.bottom} - rc.top;
    constexpr int64_t longest = std::numeric_limits<int32_t>::max();
    if (width < 0 || height < 0 || width > longest || height > longest)
        return;

    const Shape shape = TargetShape(size, method);
    const int64_t p = height * shape.cx;
    const int64_t q = shape.cy * width;
    if (p < q) {
        const auto d = static_cast<int32_t>((width - p / shape.cy) >> 1);
        rc.left += d;
        rc.right -= d;
    } else if (p > q) {
        const auto d = static_cast<int32_t>((height - q / shape.cx) >> 1);
        rc.top += d;
        rc.bottom -= d;
    }
}
