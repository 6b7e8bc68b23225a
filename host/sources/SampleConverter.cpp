#include "host/sources/SampleConverter.h"

#include <algorithm>

extern "C" {
#include <libavutil/opt.h>
}

namespace host
{

SampleConverter::SampleConverter(const AudioFormat& format) : m_format(format), m_context(swr_alloc())
{
    if (!m_context)
        throw std::bad_alloc();
    // Filtered with the coefficients of floats even if all samples have 16 bits.
    av_opt_set_sample_fmt(m_context.get(), "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
}

bool SampleConverter::PassesAsItIs(const AVFrame& frame) const
{
    return frame.format == AV_SAMPLE_FMT_S16 && frame.sample_rate == m_format.sampleRate &&
           frame.ch_layout.nb_channels == m_format.channels;
}

std::optional<std::vector<int16_t>> SampleConverter::Convert(const AVFrame& frame)
{
    if (frame.sample_rate <= 0 || frame.ch_layout.nb_channels <= 0)
        return std::nullopt;
    std::vector<int16_t> samples;
    if (PassesAsItIs(frame)) {
        samples = Flush();
        Append(samples, frame);
        return samples;
    }

    const auto in = NewFrame();
    if (WithMemory(av_frame_ref(in.get(), &frame)) < 0)
        return std::nullopt;
    // Channels that nobody has named are taken for the usual ones of their count, or each frame would pass for a
    // change.
    if (in->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&in->ch_layout, frame.ch_layout.nb_channels);
    const auto out = NewFrame();
    int result = Resample(*in, *out);
    if (result == AVERROR_INPUT_CHANGED || result == AVERROR_OUTPUT_CHANGED ||
        result == (AVERROR_INPUT_CHANGED | AVERROR_OUTPUT_CHANGED)) {
        samples = Flush(); // the next call sets it up anew
        result = Resample(*in, *out);
    }
    if (result < 0)
        return std::nullopt;
    m_rateIn = in->sample_rate;
    m_in += in->nb_samples;
    m_out += out->nb_samples;
    m_channels = out->ch_layout.nb_channels;
    Append(samples, *out);
    return samples;
}

// One channel stays one, since libswresample would lower it by 3 dB on the way to two.
int SampleConverter::Resample(const AVFrame& in, AVFrame& out)
{
    av_frame_unref(&out);
    out.format = AV_SAMPLE_FMT_S16;
    out.sample_rate = m_format.sampleRate;
    av_channel_layout_default(&out.ch_layout, std::min(in.ch_layout.nb_channels, m_format.channels));
    return WithMemory(swr_convert_frame(m_context.get(), &out, &in));
}

std::vector<int16_t> SampleConverter::Flush()
{
    std::vector<int16_t> samples;
    if (m_in == 0)
        return samples;
    const int64_t missing = av_rescale_rnd(m_in, m_format.sampleRate, m_rateIn, AV_ROUND_UP) - m_out;
    const auto rest = NewFrame();
    rest->format = AV_SAMPLE_FMT_S16;
    rest->sample_rate = m_format.sampleRate;
    av_channel_layout_default(&rest->ch_layout, m_channels);
    if (WithMemory(swr_convert_frame(m_context.get(), rest.get(), nullptr)) >= 0)
        Append(samples, *rest);
    // Audio that is shorter than the filter doesn't come through.
    samples.resize(static_cast<size_t>(std::max<int64_t>(missing, 0) * m_format.channels));
    swr_close(m_context.get());
    m_in = m_out = 0;
    return samples;
}

// Of an interleaved frame; a single channel sounds from both sides.
void SampleConverter::Append(std::vector<int16_t>& samples, const AVFrame& frame) const
{
    const auto channels = static_cast<size_t>(frame.ch_layout.nb_channels);
    const auto* const values = reinterpret_cast<const int16_t*>(frame.data[0]);
    const size_t count = frame.nb_samples > 0 ? static_cast<size_t>(frame.nb_samples) * channels : 0;
    const size_t copies = static_cast<size_t>(m_format.channels) / channels;
    samples.reserve(samples.size() + count * copies);
    for (size_t i = 0; i < count; ++i)
        samples.insert(samples.end(), copies, values[i]);
}

} // namespace host
