#include "host/sources/PictureFilter.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"

#include <utility>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace host
{

namespace
{

// Shorter sides don't make an interlaced picture, and the filter refuses the shortest.
constexpr int kLeastOfDeinterlacer = 16;

} // namespace

PictureFilter::PictureFilter(const std::string& chain, int width, int height) : m_graph(avfilter_graph_alloc())
{
    if (!m_graph)
        throw std::bad_alloc();
    // Times go around the filters, which get the counts of the pictures.
    const std::string graph = Format("buffer@in=video_size=%dx%d:pix_fmt=yuv420p:time_base=1/1,%s,buffersink@out",
                                     width, height, chain.c_str());
    AVFilterInOut* ins = nullptr;
    AVFilterInOut* outs = nullptr;
    int result = avfilter_graph_parse2(m_graph.get(), graph.c_str(), &ins, &outs);
    avfilter_inout_free(&ins);
    avfilter_inout_free(&outs);
    if (result >= 0)
        result = avfilter_graph_config(m_graph.get(), nullptr);
    if (result < 0)
        throw HostError(kExitInput,
                        Format("pictures can't be sent through %s: %s", chain.c_str(), ErrorText(result).c_str()));
    m_in = avfilter_graph_get_filter(m_graph.get(), "buffer@in");
    m_out = avfilter_graph_get_filter(m_graph.get(), "buffersink@out");
}

bool PictureFilter::Put(Item picture)
{
    if (!picture.frame)
        return WithMemory(av_buffersrc_add_frame(m_in, nullptr)) >= 0;
    const auto frame = NewFrame();
    if (av_frame_ref(frame.get(), picture.frame.get()) < 0)
        throw std::bad_alloc();
    frame->pts = m_count++;
    if (WithMemory(av_buffersrc_add_frame(m_in, frame.get())) < 0)
        return false;
    picture.frame.reset();
    m_inside.push_back(std::move(picture));
    return true;
}

std::optional<Item> PictureFilter::Take()
{
    auto frame = NewFrame();
    if (m_inside.empty() || WithMemory(av_buffersink_get_frame(m_out, frame.get())) < 0)
        return std::nullopt;
    Item picture = std::move(m_inside.front());
    m_inside.pop_front();
    picture.frame = std::move(frame);
    return picture;
}

std::optional<PictureFilter> FilterFor(Deinterlacing deinterlacing, const std::string& turn, int width, int height)
{
    std::string chain;
    if (deinterlacing != Deinterlacing::kNone && width >= kLeastOfDeinterlacer && height >= kLeastOfDeinterlacer)
        chain = Format("bwdif=mode=send_frame:deint=%s", deinterlacing == Deinterlacing::kAll ? "all" : "interlaced");
    chain += (chain.empty() || turn.empty() ? "" : ",") + turn;
    std::optional<PictureFilter> filter;
    if (!chain.empty())
        filter.emplace(chain, width, height);
    return filter;
}

} // namespace host
