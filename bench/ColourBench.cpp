#include "bench/Works.h"

#include "Common/Image/ImageConvert.h"

#include <string>

namespace
{

constexpr int kWidth = 1920, kHeight = 1080;

bool IsBottomUp(Layout layout)
{
    return layout == Layout::Bgr24 || layout == Layout::Bgra32;
}

// A pair of pictures and what converts the one into the other.
using Convert = void (*)(const Image& src, const Image& dst);

Contest Prepare(const Image& src, const Image& dst, Convert convert, bool withPeers)
{
    src.Draw();
    Contest contest;
    contest.ours = [=] { convert(src, dst); };
    contest.output = OutputOf(dst, 6.0); // the peers' coefficients have fewer bits
    contest.pixels = static_cast<double>(dst.Width()) * dst.Height();
    if (withPeers)
        AddPicturePeers(contest, src, dst, Filter::Nearest);
    return contest;
}

// The conversions to and from planes are alike but for the function.
using FromPlanes = void (*)(tagBITMAPINFOHEADER*, unsigned char*, unsigned char*, unsigned char*, unsigned char*, int,
                            int, int);
using ToPlanes = void (*)(unsigned char*, unsigned char*, unsigned char*, int, int, int, tagBITMAPINFOHEADER*,
                          unsigned char*);

template <FromPlanes function> void PlanesToBitmap(const Image& src, const Image& dst)
{
    tagBITMAPINFOHEADER header = dst.Header();
    function(&header, dst.Bits(), src.Bits(0), src.Bits(1), src.Bits(2), src.Pitch(0), src.Pitch(1), src.Pitch(2));
}

template <ToPlanes function> void BitmapToPlanes(const Image& src, const Image& dst)
{
    tagBITMAPINFOHEADER header = src.Header();
    function(dst.Bits(0), dst.Bits(1), dst.Bits(2), dst.Pitch(0), dst.Pitch(1), dst.Pitch(2), &header, src.Bits());
}

void Yuy2ToPlanes(const Image& src, const Image& dst)
{
    YUY2_2_Yuv420(dst.Bits(0), dst.Bits(1), dst.Bits(2), dst.Pitch(0), dst.Pitch(1), dst.Pitch(2), 0, 0, src.Width(),
                  src.Height(), src.Bits(), src.Pitch(), 1, 0, 0);
}

void PlanesToYuy2(const Image& src, const Image& dst)
{
    Yuv420_2_YUY2(dst.Bits(), dst.Pitch(), 0, 0, dst.Width(), dst.Height(), 1, src.Bits(0), src.Bits(1), src.Bits(2),
                  src.Pitch(0), src.Pitch(1), src.Pitch(2), 0, 0);
}

void Rgb24ToYuy2(const Image& src, const Image& dst)
{
    Rgb24_2_YUY2(dst.Bits(), dst.Pitch(), 0, 0, dst.Width(), dst.Height(), 1, src.Bits(), src.Height(), src.Pitch(), 0,
                 0);
}

void Yuy2ToRgb24(const Image& src, const Image& dst)
{
    YUY2_2_Rgb24(dst.Bits(), dst.Height(), dst.Pitch(), 0, 0, dst.Width(), dst.Height(), src.Bits(), src.Pitch(), 1, 0,
                 0);
}

void Register(const std::string& name, double bar, Layout from, Layout to, Convert convert, bool topDown = false)
{
    RegisterContest("Colour/" + name, {bar}, [=] {
        const Image src(from, kWidth, kHeight, !topDown && IsBottomUp(from));
        const Image dst(to, kWidth, kHeight, !topDown && IsBottomUp(to));
        return Prepare(src, dst, convert, true);
    });
}

} // namespace

Contest Rgb24Contest(int width, int height, bool withPeers)
{
    const Image src(Layout::I420, width, height), dst(Layout::Bgr24, width, height, true);
    return Prepare(src, dst, PlanesToBitmap<Yuv420_2_rgb24>, withPeers);
}

void RegisterColour()
{
    using L = Layout;
    Register("I420 to RGB24", 1.2, L::I420, L::Bgr24, PlanesToBitmap<Yuv420_2_rgb24>);
    Register("I420 to RGB32", 1.0, L::I420, L::Bgra32, PlanesToBitmap<Yuv420_2_rgb32>);
    Register("I420 to ARGB", 1.0, L::I420, L::Bgra32, PlanesToBitmap<Yuv420_2_Argb>, true);
    Register("RGB24 to I420", 1.1, L::Bgr24, L::I420, BitmapToPlanes<Rgb24_2_yuv420>);
    Register("RGB32 to I420", 1.0, L::Bgra32, L::I420, BitmapToPlanes<Rgb32_2_yuv420>);
    Register("YUY2 to I420", 1.2, L::Yuy2, L::I420, Yuy2ToPlanes);
    Register("I420 to YUY2", 1.0, L::I420, L::Yuy2, PlanesToYuy2);
    Register("RGB24 to YUY2", 4.0, L::Bgr24, L::Yuy2, Rgb24ToYuy2);
    Register("YUY2 to RGB24", 3.0, L::Yuy2, L::Bgr24, Yuy2ToRgb24);
}
