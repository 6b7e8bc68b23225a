#include "bench/Peers.h"
#include "bench/Works.h"

#include "Common/Image/ImageResize.h"

#include <string>

namespace
{

struct Sizes {
    const char* name;
    int srcWidth, srcHeight, dstWidth, dstHeight;
    double bilinearBar, nearestBar;
};

constexpr Sizes kPlanar[] = {
    {"1080p to 720p", 1920, 1080, 1280, 720, 3.5, 3.0},   {"720p to 1080p", 1280, 720, 1920, 1080, 2.0, 6.0},
    {"720p to 853x479", 1280, 720, 853, 479, 4.0, 4.0},   {"1080p to 360p", 1920, 1080, 640, 360, 1.2, 2.0},
    {"2160p to 1080p", 3840, 2160, 1920, 1080, 1.2, 1.0},
};

constexpr Sizes kPacked[] = {
    {"1080p to 720p", 1920, 1080, 1280, 720, 1.2, 0.0},
    {"720p to 1080p", 1280, 720, 1920, 1080, 1.2, 0.0},
    {"1080p to 540p", 1920, 1080, 960, 540, 0.8, 0.0},
};

constexpr Sizes kCubic[] = {
    {"1080p to 720p", 1920, 1080, 1280, 720, 6.0, 0.0},
    {"720p to 1080p", 1280, 720, 1920, 1080, 6.0, 0.0},
};

void Register(const std::string& family, const Sizes& sizes, Layout layout, Filter filter, double bar)
{
    RegisterContest(family + "/" + sizes.name, {bar}, [=] {
        return ScalingContest(layout, {sizes.srcWidth, sizes.srcHeight, sizes.dstWidth, sizes.dstHeight}, filter, true);
    });
}

} // namespace

Contest ScalingContest(Layout layout, const Scaling& sizes, Filter filter, bool withPeers)
{
    const Image src(layout, sizes.srcWidth, sizes.srcHeight, layout == Layout::Bgra32);
    const Image dst(layout, sizes.dstWidth, sizes.dstHeight, layout == Layout::Bgra32);
    src.Draw();
    Contest contest;
    contest.pixels = static_cast<double>(dst.Width()) * dst.Height();
    contest.output = OutputOf(dst);
    const IMAGE_INTERPOLATION method = filter == Filter::Nearest    ? IMAGE_INTERPOLATION_NEAR
                                       : filter == Filter::Bilinear ? IMAGE_INTERPOLATION_BILINER
                                                                    : IMAGE_INTERPOLATION_CONVOLVE;
    if (layout == Layout::I420)
        contest.ours = [=] {
            ImageResizeYV12(src.Record(), src.Bits(0), src.Bits(1), src.Bits(2), src.Pitch(0), src.Pitch(1),
                            src.Pitch(2), dst.Record(), dst.Bits(0), dst.Bits(1), dst.Bits(2), dst.Pitch(0),
                            dst.Pitch(1), dst.Pitch(2), method);
        };
    else
        contest.ours = [=] {
            IMG_PARAM target = dst.Record();
            ImageResize(src.Record(), target, method);
        };
    if (withPeers)
        AddPicturePeers(contest, src, dst, filter);
    return contest;
}

void RegisterScaling()
{
    for (const Sizes& sizes : kPlanar)
        Register("I420 bilinear", sizes, Layout::I420, Filter::Bilinear, sizes.bilinearBar);
    for (const Sizes& sizes : kPlanar)
        Register("I420 nearest", sizes, Layout::I420, Filter::Nearest, sizes.nearestBar);
    for (const Sizes& sizes : kPacked)
        Register("4-byte bilinear", sizes, Layout::Bgra32, Filter::Bilinear, sizes.bilinearBar);
    for (const Sizes& sizes : kPacked)
        Register("4-byte nearest", sizes, Layout::Bgra32, Filter::Nearest, sizes.nearestBar);
    for (const Sizes& sizes : kCubic)
        Register("4-byte cubic", sizes, Layout::Bgra32, Filter::Cubic, sizes.bilinearBar);
}
