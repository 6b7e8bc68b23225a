#include "host/sources/SampleConverter.h"

#include <cstring>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

namespace host
{

SampleConverter::~SampleConverter()
{
    swr_free(&m_context);
    av_channel_layout_uninit(&m_frameLayout);
}

bool SampleConverter::Prepare(const AVFrame& frame)
{
    if (m_context && frame.format == m_frameFormat && frame.sample_rate == m_frameRate &&
        av_channel_layout_compare(&frame.ch_layout, &m_frameLayout) == 0)
        return true;

    AVChannelLayout in = {};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&in, frame.ch_layout.nb_channels);
    else if (av_channel_layout_copy(&in, &frame.ch_layout) < 0)
        return false;
    AVChannelLayout out = {};
    av_channel_layout_default(&out, m_format.channels);

    swr_free(&m_context);
    const int made = swr_alloc_set_opts2(&m_context, &out, AV_SAMPLE_FMT_S16, m_format.sampleRate, &in,
                                         static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    av_channel_layout_uninit(&in);
    if (made < 0 || swr_init(m_context) < 0) {
        swr_free(&m_context);
        return false;
    }
    m_frameFormat = frame.format;
    m_frameRate = frame.sample_rate;
    av_channel_layout_uninit(&m_frameLayout);
    return av_channel_layout_copy(&m_frameLayout, &frame.ch_layout) >= 0;
}

std::optional<std::vector<int16_t>> SampleConverter::Convert(const AVFrame& frame)
{
    const auto channels = static_cast<size_t>(m_format.channels);
    std::vector<int16_t> samples;
    if (frame.format == AV_SAMPLE_FMT_S16 && frame.sample_rate == m_format.sampleRate &&
        frame.ch_layout.nb_channels == m_format.channels) {
        samples.resize(static_cast<size_t>(frame.nb_samples) * channels);
        if (!samples.empty())
            std::memcpy(samples.data(), frame.data[0], samples.size() * sizeof(int16_t));
        return samples;
    }
    if (frame.sample_rate <= 0 || frame.ch_layout.nb_channels <= 0 || !Prepare(frame))
        return std::nullopt;
    const int room = swr_get_out_samples(m_context, frame.nb_samples);
    if (room < 0)
        return std::nullopt;
    samples.resize(static_cast<size_t>(room) * channels);
    auto* out = reinterpret_cast<uint8_t*>(samples.data());
    const int made =
        swr_convert(m_context, &out, room, const_cast<const uint8_t**>(frame.extended_data), frame.nb_samples);
    if (made < 0)
        return std::nullopt;
    samples.resize(static_cast<size_t>(made) * channels);
    return samples;
}

} // namespace host
