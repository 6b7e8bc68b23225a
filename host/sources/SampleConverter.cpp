#include "host/sources/SampleConverter.h"

#include <cstring>

namespace host
{

namespace
{

// Of an interleaved frame.
std::vector<int16_t> SamplesOf(const AVFrame& frame)
{
    std::vector<int16_t> samples(static_cast<size_t>(frame.nb_samples) *
                                 static_cast<size_t>(frame.ch_layout.nb_channels));
    if (!samples.empty())
        std::memcpy(samples.data(), frame.data[0], samples.size() * sizeof(int16_t));
    return samples;
}

} // namespace

SampleConverter::SampleConverter(const AudioFormat& format) : m_format(format), m_context(swr_alloc())
{
    if (!m_context)
        throw std::bad_alloc();
}

std::optional<std::vector<int16_t>> SampleConverter::Convert(const AVFrame& frame)
{
    if (frame.sample_rate <= 0 || frame.ch_layout.nb_channels <= 0)
        return std::nullopt;
    if (frame.format == AV_SAMPLE_FMT_S16 && frame.sample_rate == m_format.sampleRate &&
        frame.ch_layout.nb_channels == m_format.channels)
        return SamplesOf(frame);

    const auto in = NewFrame();
    if (av_frame_ref(in.get(), &frame) < 0)
        return std::nullopt;
    // Channels that nobody has named are taken for the usual ones of their count, or each frame would pass for a
    // change.
    if (in->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&in->ch_layout, frame.ch_layout.nb_channels);
    const auto out = NewFrame();
    out->format = AV_SAMPLE_FMT_S16;
    out->sample_rate = m_format.sampleRate;
    av_channel_layout_default(&out->ch_layout, m_format.channels);

    int result = swr_convert_frame(m_context.get(), out.get(), in.get());
    if (result == AVERROR_INPUT_CHANGED) {
        swr_close(m_context.get()); // the next call sets it up anew
        result = swr_convert_frame(m_context.get(), out.get(), in.get());
    }
    return result < 0 ? std::nullopt : std::optional(SamplesOf(*out));
}

} // namespace host
