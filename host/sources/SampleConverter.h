// Decoded audio of any kind becomes 16-bit interleaved samples of one or two channels, at the source's own rate.
#ifndef ENCMGR_HOST_SAMPLE_CONVERTER_H
#define ENCMGR_HOST_SAMPLE_CONVERTER_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

namespace host
{

class SampleConverter
{
public:
    explicit SampleConverter(const AudioFormat& format);

    // Nothing if the frame can't be converted. A frame whose own rate has changed in mid-stream is brought to the
    // announced one.
    std::optional<std::vector<int16_t>> Convert(const AVFrame& frame);

private:
    AudioFormat m_format;
    LibavOwned<SwrContext> m_context; // set up for frames like the last
};

} // namespace host

#endif // ENCMGR_HOST_SAMPLE_CONVERTER_H
