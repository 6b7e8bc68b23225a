// Decoded audio of any kind becomes 16-bit interleaved samples of one or two channels, at the source's own rate.
#ifndef ENCMGR_HOST_SAMPLE_CONVERTER_H
#define ENCMGR_HOST_SAMPLE_CONVERTER_H

#include "host/sources/Source.h"

struct SwrContext;

namespace host
{

class SampleConverter
{
public:
    explicit SampleConverter(const AudioFormat& format) : m_format(format) {}
    ~SampleConverter();
    SampleConverter(const SampleConverter&) = delete;
    SampleConverter& operator=(const SampleConverter&) = delete;

    // Nothing if the frame can't be converted. A frame whose own rate has changed in mid-stream is brought to the
    // announced one.
    std::optional<std::vector<int16_t>> Convert(const AVFrame& frame);

private:
    bool Prepare(const AVFrame& frame);

    AudioFormat m_format;
    SwrContext* m_context = nullptr;
    int m_frameFormat = -1; // what m_context was made for
    int m_frameRate = 0;
    AVChannelLayout m_frameLayout = {};
};

} // namespace host

#endif // ENCMGR_HOST_SAMPLE_CONVERTER_H
