// The audio peers change the rate only. Where the channels change too, that is done here, on the side where it is
// cheaper: one channel is resampled.
#include "bench/AudioWork.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace
{

[[maybe_unused]] int ChannelsInBetween(const AudioWork& work)
{
    return std::min(work.from.channels, work.to.channels);
}

// Makes frames of one channel those of two, in place.
[[maybe_unused]] void Double(int16_t* samples, int frames)
{
    for (ptrdiff_t i = frames - 1; i >= 0; --i)
        samples[2 * i] = samples[2 * i + 1] = samples[i];
}

} // namespace

#if BENCH_SAMPLERATE
#include <samplerate.h>

namespace
{

class Samplerate
{
public:
    explicit Samplerate(const std::shared_ptr<AudioWork>& work)
        : m_work(work), m_channels(ChannelsInBetween(*work)), m_state(New(m_channels), src_delete),
          m_in(work->in.size()), m_block(size_t{2} * kBlockFrames), m_out(work->out.size())
    {
        src_short_to_float_array(work->in.data(), m_in.data(), static_cast<int>(m_in.size()));
    }

    // From 16-bit samples to 16-bit samples, as ours.
    void Run()
    {
        int made = 0;
        for (int i = 0; i < kBlocks; ++i) {
            src_short_to_float_array(m_work->Block(i), m_block.data(), kBlockFrames * m_work->from.channels);
            if (m_channels < m_work->from.channels)
                for (size_t f = 0; f < kBlockFrames; ++f)
                    m_block[f] = (m_block[2 * f] + m_block[2 * f + 1]) * 0.5f;
            const int frames = Process(m_block.data(), m_out.data(), m_work->Room() / 2);
            int16_t* out = m_work->out.data() + ptrdiff_t{made} * m_work->to.channels;
            src_float_to_short_array(m_out.data(), out, frames * m_channels);
            if (m_channels < m_work->to.channels)
                Double(out, frames);
            made += frames;
        }
        m_work->Check("libsamplerate", made);
    }

    // Float samples that lie ready, left as float samples.
    void RunBare()
    {
        int made = 0;
        for (int i = 0; i < kBlocks; ++i)
            made += Process(m_in.data() + ptrdiff_t{i} * kBlockFrames * m_channels,
                            m_out.data() + ptrdiff_t{made} * m_channels, m_work->Room() / m_channels - made);
        m_work->Check("libsamplerate", made);
    }

private:
    static SRC_STATE* New(int channels)
    {
        int error = 0;
        SRC_STATE* state = src_new(SRC_LINEAR, channels, &error);
        if (!state)
            throw std::runtime_error("libsamplerate refuses a work");
        return state;
    }

    int Process(const float* in, float* out, int room)
    {
        SRC_DATA data = {};
        data.data_in = in;
        data.data_out = out;
        data.input_frames = kBlockFrames;
        data.output_frames = room;
        data.src_ratio = static_cast<double>(m_work->to.rate) / m_work->from.rate;
        if (src_process(m_state.get(), &data) != 0 || data.input_frames_used != kBlockFrames)
            throw std::runtime_error("libsamplerate left samples");
        return static_cast<int>(data.output_frames_gen);
    }

    std::shared_ptr<AudioWork> m_work;
    int m_channels;
    std::unique_ptr<SRC_STATE, SRC_STATE* (*)(SRC_STATE*)> m_state;
    std::vector<float> m_in, m_block, m_out;
};

} // namespace

void AddSamplerate(Contest& contest, const std::shared_ptr<AudioWork>& work)
{
    const auto peer = std::make_shared<Samplerate>(work), bare = std::make_shared<Samplerate>(work);
    contest.peers.push_back({"libsamplerate", [=] { peer->Run(); }});
    contest.peers.push_back({"libsamplerate in float", [=] { bare->RunBare(); }, false});
}

#else

void AddSamplerate(Contest&, const std::shared_ptr<AudioWork>&) {}

#endif

#if BENCH_SPEEXDSP
#include <speex/speex_resampler.h>

namespace
{

class Speexdsp
{
public:
    explicit Speexdsp(const std::shared_ptr<AudioWork>& work)
        : m_work(work), m_channels(ChannelsInBetween(*work)),
          m_state(New(m_channels, work->from.rate, work->to.rate), speex_resampler_destroy), m_block(kBlockFrames)
    {
    }

    void Run()
    {
        int made = 0;
        for (int i = 0; i < kBlocks; ++i) {
            const int16_t* in = m_work->Block(i);
            if (m_channels < m_work->from.channels) {
                for (size_t f = 0; f < kBlockFrames; ++f)
                    m_block[f] = static_cast<int16_t>((in[2 * f] + in[2 * f + 1]) / 2);
                in = m_block.data();
            }
            int16_t* out = m_work->out.data() + ptrdiff_t{made} * m_work->to.channels;
            spx_uint32_t used = kBlockFrames, frames = kBlockFrames * 2;
            frames = std::min(frames, static_cast<spx_uint32_t>(m_work->Room() / m_work->to.channels - made));
            speex_resampler_process_interleaved_int(m_state.get(), in, &used, out, &frames);
            if (used != kBlockFrames)
                throw std::runtime_error("speexdsp left samples");
            if (m_channels < m_work->to.channels)
                Double(out, static_cast<int>(frames));
            made += static_cast<int>(frames);
        }
        m_work->Check("speexdsp", made);
    }

private:
    static SpeexResamplerState* New(int channels, int from, int to)
    {
        int error = 0;
        SpeexResamplerState* state =
            speex_resampler_init(static_cast<spx_uint32_t>(channels), static_cast<spx_uint32_t>(from),
                                 static_cast<spx_uint32_t>(to), 0, &error);
        if (!state)
            throw std::runtime_error("speexdsp refuses a work");
        return state;
    }

    std::shared_ptr<AudioWork> m_work;
    int m_channels;
    std::unique_ptr<SpeexResamplerState, void (*)(SpeexResamplerState*)> m_state;
    std::vector<int16_t> m_block;
};

} // namespace

// Its lowest quality still is a filter: more work than an interpolation, so no measure.
void AddSpeexdsp(Contest& contest, const std::shared_ptr<AudioWork>& work)
{
    const auto peer = std::make_shared<Speexdsp>(work);
    contest.peers.push_back({"speexdsp", [=] { peer->Run(); }, false});
}

#else

void AddSpeexdsp(Contest&, const std::shared_ptr<AudioWork>&) {}

#endif
