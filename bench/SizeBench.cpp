// What a pixel costs in pictures of all sizes. Where the cost climbs, memcpy's cost beside it tells how much of that is
// the memory's.
#include "bench/Works.h"

#include <string>

namespace
{

constexpr int kSides[][2] = {{64, 48},    {160, 120},   {320, 240},   {640, 360},
                             {1280, 720}, {1920, 1080}, {3840, 2160}, {7680, 4320}};

void Register(const std::string& family, Contest (*prepare)(int width, int height))
{
    for (const auto& side : kSides) {
        const int width = side[0], height = side[1];
        RegisterContest(family + "/" + std::to_string(width) + "x" + std::to_string(height), {},
                        [=] { return prepare(width, height); });
    }
}

} // namespace

void RegisterSizes()
{
    Register("Size, I420 bilinear by 2:3", [](int width, int height) {
        return ScalingContest(Layout::I420, {width, height, width * 2 / 3, height * 2 / 3}, Filter::Bilinear, false);
    });
    Register("Size, I420 to RGB24", [](int width, int height) { return Rgb24Contest(width, height, false); });
}
