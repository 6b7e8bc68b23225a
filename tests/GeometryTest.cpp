#include "media_file/ResizeRect.h"

#include <gtest/gtest.h>
#include <tuple>

namespace
{

TEST(ResizeRectTest, FitsARectangleToAShape)
{
    constexpr int most = INT32_MAX;
    const std::tuple<tagRECT, tagSIZE, int, tagRECT> rows[] = {
        {{0, 0, 640, 480}, {720, 576}, 1, {20, 0, 620, 480}},
        {{0, 0, 640, 480}, {720, 576}, 2, {0, 60, 640, 420}},
        {{0, 0, 640, 480}, {1920, 1080}, 3, {0, 0, 640, 480}},
        {{0, 0, 720, 576}, {640, 360}, 1, {0, 85, 720, 491}},
        {{0, 0, 640, 480}, {4, 3}, 2, {0, 48, 640, 432}},      // 5:3, for the grown side is truncated
        {{0, 0, 640, 360}, {16, 9}, 2, {0, 0, 640, 360}},      // neither side grows
        {{0, 0, 640, 480}, {1000, 400}, 2, {0, 60, 640, 420}}, // 1000:562, 359 high and an odd rest
        {{0, 0, 640, 480}, {999, 400}, 3, {0, 0, 640, 480}},   // 999:749
        {{10, 20, 110, 70}, {1, 1}, 1, {35, 20, 85, 70}},
        {{10, 20, 60, 120}, {1, 1}, 7, {10, 45, 60, 95}}, // what no method has acts as 1
        {{10, 20, 60, 120}, {1, 1}, 0, {10, 20, 60, 120}},
        {{0, 0, 101, 100}, {1, 1}, 1, {0, 0, 101, 100}}, // a difference of 1 moves nothing
        {{0, 0, 103, 100}, {1, 1}, 4, {1, 0, 102, 100}},
        {{0, 0, 640, 480}, {0, 9}, 1, {0, 0, 640, 480}},
        {{0, 0, 640, 480}, {9, 0}, 2, {0, 0, 640, 480}},
        {{0, 0, 640, 480}, {-16, -9}, 1, {0, 0, 640, 480}},
        {{5, 5, 5, 5}, {4, 3}, 1, {5, 5, 5, 5}},
        {{0, 0, -640, 480}, {4, 3}, 1, {0, 0, -640, 480}},
        {{0, 0, most, most}, {most, 1}, 2, {0, 469762048, most, 1677721599}},
        {{0, 0, most, 1}, {1, most}, 3, {1073741823, 0, 1073741824, 1}},
        {{-most, 0, most, 2}, {1, 1}, 1, {-most, 0, most, 2}}, // wider than 32 bits hold
    };
    for (const auto& [before, size, method, after] : rows) {
        tagRECT rc = before;
        ResizeRect(rc, size, static_cast<IMAGE_RESIZE_METHOD>(method));
        EXPECT_EQ(std::tie(rc.left, rc.top, rc.right, rc.bottom),
                  std::tie(after.left, after.top, after.right, after.bottom))
            << before.right << 'x' << before.bottom << " to " << size.cx << ':' << size.cy << " by " << method;
    }
}

} // namespace
