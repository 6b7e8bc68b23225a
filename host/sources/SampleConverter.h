// Decoded audio of any kind becomes 16-bit interleaved samples of one rate and of one or two channels.
#ifndef ENCMGR_HOST_SAMPLE_CONVERTER_H
#define ENCMGR_HOST_SAMPLE_CONVERTER_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

namespace host
{

// Other rates go through libswresample's low-pass filter, which holds some samples back: they come with the next frame,
// or at the end with Flush.
class SampleConverter
{
public:
    explicit SampleConverter(const AudioFormat& format);

    // Nothing if the frame can't be converted.
    std::optional<std::vector<int16_t>> Convert(const AVFrame& frame);

    // What is held back. With it, n samples of one rate have become as many of the other as the time of n takes,
    // rounded up.
    std::vector<int16_t> Flush();

private:
    bool PassesAsItIs(const AVFrame& frame) const;
    int Resample(const AVFrame& in, AVFrame& out);
    void Append(std::vector<int16_t>& samples, const AVFrame& frame) const;

    AudioFormat m_format;
    LibavOwned<SwrContext> m_context; // set up for frames like the last
    int m_rateIn = 0;                 // since it is set up: of the frames
    int64_t m_in = 0;                 // sample blocks put
    int64_t m_out = 0;                // and got
    int m_channels = 0;               // got
};

} // namespace host

#endif // ENCMGR_HOST_SAMPLE_CONVERTER_H
