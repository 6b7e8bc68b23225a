#include "bench/Peers.h"

#if BENCH_ZIMG
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <zimg.h>

namespace
{

zimg_image_format FormatOf(const Image& image, int plane)
{
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(image.PlaneWidth(plane));
    format.height = static_cast<unsigned>(image.PlaneHeight(plane));
    format.pixel_type = ZIMG_PIXEL_BYTE;
    format.pixel_range = ZIMG_RANGE_LIMITED;
    return format;
}

// One plane's scaler. Planes go apart, since a picture of odd sides can't be described as 4:2:0 here.
class Scaler
{
public:
    Scaler(const Image& src, const Image& dst, int plane, Filter filter)
    {
        const zimg_image_format from = FormatOf(src, plane), to = FormatOf(dst, plane);
        zimg_graph_builder_params params;
        zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
        params.resample_filter = filter == Filter::Nearest ? ZIMG_RESIZE_POINT : ZIMG_RESIZE_BILINEAR;
        m_graph.reset(zimg_filter_graph_build(&from, &to, &params), zimg_filter_graph_free);
        size_t size = 0;
        if (!m_graph || zimg_filter_graph_get_tmp_size(m_graph.get(), &size) != ZIMG_ERROR_SUCCESS)
            throw std::runtime_error("zimg refuses a work");
        m_work.reset(std::aligned_alloc(64, (size + 63) / 64 * 64 + 64), std::free);
    }

    void Run(const Image& src, const Image& dst, int plane) const
    {
        zimg_image_buffer_const from = {};
        from.version = ZIMG_API_VERSION;
        from.plane[0] = {src.Bits(plane), src.Pitch(plane), ZIMG_BUFFER_MAX};
        zimg_image_buffer to = {};
        to.version = ZIMG_API_VERSION;
        to.plane[0] = {dst.Bits(plane), dst.Pitch(plane), ZIMG_BUFFER_MAX};
        zimg_filter_graph_process(m_graph.get(), &from, &to, m_work.get(), nullptr, nullptr, nullptr, nullptr);
    }

private:
    std::shared_ptr<zimg_filter_graph> m_graph;
    std::shared_ptr<void> m_work;
};

} // namespace

void AddZimg(Contest& contest, const Image& src, const Image& dst, Filter filter)
{
    if (src.GetLayout() != Layout::I420 || dst.GetLayout() != Layout::I420)
        return;
    const Scaler luma(src, dst, 0, filter), chroma(src, dst, 1, filter);
    contest.peers.push_back({"zimg", [=] {
                                 luma.Run(src, dst, 0);
                                 chroma.Run(src, dst, 1);
                                 chroma.Run(src, dst, 2);
                             }});
}

#else

void AddZimg(Contest&, const Image&, const Image&, Filter) {}

#endif
