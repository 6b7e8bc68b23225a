// Works without peers. Their scale is memcpy of what they write.
#include "bench/Works.h"

#include "Common/Image/ImageConvert.h"
#include "Common/Image/ImageResize.h"

#include <string>

namespace
{

constexpr double kCopyBar = 0.25;

using Scaler = int (*)(const IMG_PARAM& src, IMG_PARAM& dst);

void RegisterScaler(const std::string& name, Scaler scaler, Layout layout, int srcWidth, int srcHeight)
{
    RegisterContest(name, {0.0, kCopyBar}, [=] {
        const Image src(layout, srcWidth, srcHeight, true), dst(Layout::Bgra32, 1920, 1080, true);
        src.Draw();
        Contest contest;
        contest.ours = [=] {
            IMG_PARAM target = dst.Record();
            scaler(src.Record(), target);
        };
        contest.output = {dst.Bits(), dst.Bytes()};
        contest.pixels = static_cast<double>(dst.Width()) * dst.Height();
        return contest;
    });
}

void RegisterPackedCopy(const std::string& name, unsigned int srcOrder)
{
    RegisterContest(name, {0.0, kCopyBar}, [=] {
        const Image src(Layout::Yuy2, 1920, 1080), dst(Layout::Yuy2, 1920, 1080);
        src.Draw();
        Contest contest;
        contest.ours = [=] {
            YUY2_Blt_fast(dst.Bits(), dst.Pitch(), 0, 0, dst.Width(), dst.Height(), 1, src.Bits(), src.Pitch(),
                          srcOrder, 0, 0);
        };
        contest.output = {dst.Bits(), dst.Bytes()};
        return contest;
    });
}

void RegisterPlanarCopy()
{
    RegisterContest("Copy/I420", {0.0, kCopyBar}, [] {
        const Image src(Layout::I420, 1920, 1080), dst(Layout::I420, 1920, 1080);
        src.Draw();
        Contest contest;
        contest.ours = [=] {
            YV12_Blt_fast(dst.Bits(0), dst.Bits(1), dst.Bits(2), dst.Pitch(0), dst.Pitch(1), dst.Pitch(2), 0, 0,
                          dst.Width(), dst.Height(), src.Bits(0), src.Bits(1), src.Bits(2), src.Pitch(0), src.Pitch(1),
                          src.Pitch(2), 0, 0);
        };
        contest.output = {dst.Bits(), dst.Bytes()};
        return contest;
    });
}

} // namespace

void RegisterOverlays()
{
    RegisterScaler("Overlay/1080p", DIB_AlphaResizeBiLiner, Layout::Bgra32, 1920, 1080);
    RegisterScaler("Overlay/720p to 1080p", DIB_AlphaResizeBiLiner, Layout::Bgra32, 1280, 720);
    RegisterScaler("Mask/nearest 1080p", StretchMaskResizeNear, Layout::Grey8, 1920, 1080);
    RegisterScaler("Mask/nearest 720p to 1080p", StretchMaskResizeNear, Layout::Grey8, 1280, 720);
    RegisterScaler("Mask/bilinear 1080p", StretchMaskResizeBiLiner, Layout::Grey8, 1920, 1080);
    RegisterScaler("Mask/bilinear 720p to 1080p", StretchMaskResizeBiLiner, Layout::Grey8, 1280, 720);
    RegisterPackedCopy("Copy/YUY2", 1);
    RegisterPackedCopy("Copy/UYVY to YUY2", 0);
    RegisterPlanarCopy();
}
