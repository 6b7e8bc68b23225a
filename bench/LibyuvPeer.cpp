#include "bench/Peers.h"

#if BENCH_LIBYUV
#include <libyuv.h>

namespace
{

constexpr char kName[] = "libyuv";

libyuv::FilterMode ModeOf(Filter filter)
{
    return filter == Filter::Nearest ? libyuv::kFilterNone : libyuv::kFilterBilinear;
}

void AddScaler(Contest& contest, const Image& s, const Image& d, Filter filter)
{
    const libyuv::FilterMode mode = ModeOf(filter);
    if (filter == Filter::Cubic)
        return;
    if (s.GetLayout() == Layout::I420)
        contest.peers.push_back({kName, [=] {
                                     libyuv::I420Scale(s.Bits(0), s.Pitch(0), s.Bits(1), s.Pitch(1), s.Bits(2),
                                                       s.Pitch(2), s.Width(), s.Height(), d.Bits(0), d.Pitch(0),
                                                       d.Bits(1), d.Pitch(1), d.Bits(2), d.Pitch(2), d.Width(),
                                                       d.Height(), mode);
                                 }});
    if (s.GetLayout() == Layout::Bgra32)
        contest.peers.push_back({kName, [=] {
                                     libyuv::ARGBScale(s.Bits(), s.Pitch(), s.Width(), s.Height(), d.Bits(), d.Pitch(),
                                                       d.Width(), d.Height(), mode);
                                 }});
}

using FromPlanes = int (*)(const uint8_t*, int, const uint8_t*, int, const uint8_t*, int, uint8_t*, int, int, int);
using ToPlanes = int (*)(const uint8_t*, int, uint8_t*, int, uint8_t*, int, uint8_t*, int, int, int);
using Packed = int (*)(const uint8_t*, int, uint8_t*, int, int, int);

FromPlanes FromPlanesTo(Layout layout)
{
    switch (layout) {
    case Layout::Bgr24:
        return libyuv::I420ToRGB24;
    case Layout::Bgra32:
        return libyuv::I420ToARGB;
    default:
        return libyuv::I420ToYUY2;
    }
}

ToPlanes ToPlanesFrom(Layout layout)
{
    switch (layout) {
    case Layout::Bgr24:
        return libyuv::RGB24ToI420;
    case Layout::Bgra32:
        return libyuv::ARGBToI420;
    default:
        return libyuv::YUY2ToI420;
    }
}

// Two calls with a picture of 4-byte pixels between them: shown, but no measure.
void AddDetour(Contest& contest, const Image& s, const Image& d, int height, Packed first, Packed second)
{
    const Image between(Layout::Bgra32, s.Width(), s.Height());
    const auto run = [=] {
        first(s.Bits(), s.Pitch(), between.Bits(), between.Pitch(), s.Width(), height);
        second(between.Bits(), between.Pitch(), d.Bits(), d.Pitch(), d.Width(), d.Height());
    };
    contest.peers.push_back({"libyuv in two calls", run, false});
}

} // namespace

void AddLibyuv(Contest& contest, const Image& s, const Image& d, Filter filter)
{
    if (s.GetLayout() == d.GetLayout()) {
        AddScaler(contest, s, d, filter);
        return;
    }
    // A negative height turns the picture over.
    const int height = s.IsBottomUp() != d.IsBottomUp() ? -s.Height() : s.Height();
    if (s.GetLayout() == Layout::I420) {
        const FromPlanes convert = FromPlanesTo(d.GetLayout());
        contest.peers.push_back({kName, [=] {
                                     convert(s.Bits(0), s.Pitch(0), s.Bits(1), s.Pitch(1), s.Bits(2), s.Pitch(2),
                                             d.Bits(), d.Pitch(), s.Width(), height);
                                 }});
    } else if (d.GetLayout() == Layout::I420) {
        const ToPlanes convert = ToPlanesFrom(s.GetLayout());
        contest.peers.push_back({kName, [=] {
                                     convert(s.Bits(), s.Pitch(), d.Bits(0), d.Pitch(0), d.Bits(1), d.Pitch(1),
                                             d.Bits(2), d.Pitch(2), s.Width(), height);
                                 }});
    } else if (s.GetLayout() == Layout::Yuy2 && d.GetLayout() == Layout::Bgr24) {
        AddDetour(contest, s, d, height, libyuv::YUY2ToARGB, libyuv::ARGBToRGB24);
    } else if (s.GetLayout() == Layout::Bgr24 && d.GetLayout() == Layout::Yuy2) {
        AddDetour(contest, s, d, height, libyuv::RGB24ToARGB, libyuv::ARGBToYUY2);
    }
}

#else

void AddLibyuv(Contest&, const Image&, const Image&, Filter) {}

#endif
