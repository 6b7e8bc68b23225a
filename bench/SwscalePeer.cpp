#include "bench/Peers.h"

#if BENCH_SWSCALE
extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>
#include <stdexcept>

namespace
{

AVPixelFormat FormatOf(Layout layout)
{
    switch (layout) {
    case Layout::I420:
        return AV_PIX_FMT_YUV420P;
    case Layout::Yuy2:
        return AV_PIX_FMT_YUYV422;
    case Layout::Bgr24:
        return AV_PIX_FMT_BGR24;
    case Layout::Bgra32:
        return AV_PIX_FMT_BGRA;
    default:
        return AV_PIX_FMT_GRAY8;
    }
}

// The planes of a picture, in memory's order or from the other end.
struct Planes {
    unsigned char* bits[4] = {};
    int pitch[4] = {};

    Planes(const Image& image, bool turned)
    {
        for (int p = 0; p < image.Planes(); ++p) {
            pitch[p] = turned ? -image.Pitch(p) : image.Pitch(p);
            bits[p] = image.Bits(p);
            if (turned)
                bits[p] += static_cast<ptrdiff_t>(image.PlaneHeight(p) - 1) * image.Pitch(p);
        }
    }
};

void Add(Contest& contest, const char* name, const Image& src, const Image& dst, int flags)
{
    const std::shared_ptr<SwsContext> context(sws_getContext(src.Width(), src.Height(), FormatOf(src.GetLayout()),
                                                             dst.Width(), dst.Height(), FormatOf(dst.GetLayout()),
                                                             flags, nullptr, nullptr, nullptr),
                                              sws_freeContext);
    if (!context)
        throw std::runtime_error("libswscale refuses a work");
    const bool turned = src.IsBottomUp() != dst.IsBottomUp();
    const Planes from(src, turned && src.IsBottomUp()), to(dst, turned && dst.IsBottomUp());
    contest.peers.push_back({name, [=] { // with handles of both pictures
                                 sws_scale(context.get(), from.bits, from.pitch, 0, src.Height(), to.bits, to.pitch);
                             }});
}

} // namespace

void AddSwscale(Contest& contest, const Image& src, const Image& dst, Filter filter)
{
    if (src.GetLayout() != dst.GetLayout()) {
        Add(contest, "swscale", src, dst, SWS_FAST_BILINEAR);
    } else if (filter == Filter::Nearest) {
        Add(contest, "swscale", src, dst, SWS_POINT);
    } else if (filter == Filter::Cubic) {
        Add(contest, "swscale", src, dst, SWS_BICUBIC);
    } else {
        Add(contest, "swscale", src, dst, SWS_BILINEAR);
        Add(contest, "swscale fast", src, dst, SWS_FAST_BILINEAR);
    }
}

#else

void AddSwscale(Contest&, const Image&, const Image&, Filter) {}

#endif
