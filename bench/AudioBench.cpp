#include "bench/AudioWork.h"
#include "bench/Works.h"

#include "Common/Audio/AudioConverter.h"

#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace
{

constexpr int kSlack = 64;        // frames that a contender may hold back or bring from before
constexpr int kSegments = 8;      // of the output, measured apart
constexpr double kNearly = 250.0; // loudness in steps of 16 bits

// Two tones, the right one softer.
void FillTones(std::vector<int16_t>& samples, const AudioFormat& format)
{
    constexpr double pi = 3.14159265358979323846;
    for (size_t i = 0; i < samples.size(); ++i) {
        const size_t frame = i / static_cast<size_t>(format.channels);
        const bool right = i % static_cast<size_t>(format.channels) == 1;
        const double turns = (right ? 550.0 : 440.0) * static_cast<double>(frame) / format.rate;
        samples[i] = static_cast<int16_t>((right ? 6000.0 : 9000.0) * std::sin(2.0 * pi * turns));
    }
}

// The loudness of each channel in each segment.
std::vector<double> Loudness(const AudioWork& work)
{
    const int channels = work.to.channels;
    const int frames = (work.ExpectedFrames() - kSlack) / kSegments;
    std::vector<double> loudness;
    for (int s = 0; s < kSegments; ++s)
        for (int c = 0; c < channels; ++c) {
            double sum = 0.0;
            for (int f = s * frames; f < (s + 1) * frames; ++f) {
                const double value = work.out.data()[ptrdiff_t{f} * channels + c];
                sum += value * value;
            }
            loudness.push_back(std::sqrt(sum / frames));
        }
    return loudness;
}

Contest Prepare(const AudioFormat& from, const AudioFormat& to)
{
    const auto work = std::make_shared<AudioWork>(from, to);
    const auto converter = std::make_shared<CAudioConverter>(from.channels, to.channels, from.rate, to.rate, 0);
    CAudioConverter::Spare() = 0.0; // each work begins alike
    Contest contest;
    contest.ours = [=] {
        int made = 0;
        for (int i = 0; i < kBlocks; ++i) {
            converter->Put(work->Block(i), kBlockFrames * from.channels);
            made += converter->Get(work->out.data() + made, work->Room() - made);
        }
        work->Check("ours", made / to.channels);
    };
    contest.output.bits = reinterpret_cast<unsigned char*>(work->out.data());
    contest.output.bytes = sizeof(int16_t) * static_cast<size_t>(work->ExpectedFrames() * to.channels);
    contest.output.describe = [work] { return Loudness(*work); };
    contest.output.tolerance = kNearly;
    AddSamplerate(contest, work);
    AddSpeexdsp(contest, work);
    return contest;
}

} // namespace

AudioWork::AudioWork(const AudioFormat& source, const AudioFormat& target)
    : from(source), to(target), in(static_cast<size_t>(kBlocks * kBlockFrames * source.channels)),
      out(static_cast<size_t>((ExpectedFrames() + kBlockFrames) * target.channels))
{
    FillTones(in, from);
}

int AudioWork::ExpectedFrames() const
{
    return static_cast<int>(int64_t{kBlocks} * kBlockFrames * to.rate / from.rate);
}

void AudioWork::Check(const char* name, int frames) const
{
    if (std::abs(frames - ExpectedFrames()) > kSlack)
        throw std::runtime_error(std::string(name) + " made " + std::to_string(frames) + " sample frames instead of " +
                                 std::to_string(ExpectedFrames()));
}

void RegisterAudio()
{
    constexpr int rates[][2] = {{44100, 48000}, {48000, 44100}};
    constexpr struct {
        const char* name;
        int from, to;
        double bar;
    } channels[] = {
        {"stereo", 2, 2, 6.0}, {"mono", 1, 1, 4.0}, {"mono to stereo", 1, 2, 4.0}, {"stereo to mono", 2, 1, 4.0}};
    for (const auto& c : channels)
        for (const auto& rate : rates) {
            const AudioFormat from = {c.from, rate[0]}, to = {c.to, rate[1]};
            const std::string name = rate[0] < rate[1] ? "44.1 to 48 kHz" : "48 to 44.1 kHz";
            RegisterContest("Audio/" + std::string(c.name) + ", " + name, {c.bar}, [=] { return Prepare(from, to); });
        }
}
