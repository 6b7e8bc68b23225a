#include "host/sources/Decoder.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/sources/FrameTimes.h"

#include <new>

namespace host
{

LibavOwned<AVCodecContext> OpenDecoder(const AVStream& stream, const std::string& name, const char* option)
{
    const char* const kind = av_get_media_type_string(stream.codecpar->codec_type);
    const AVCodec* const codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!codec)
        throw HostError(kExitInput, Format("%s: there is no decoder for its %s, %s (%s leaves it out)", name.c_str(),
                                           kind, avcodec_get_name(stream.codecpar->codec_id), option));
    LibavOwned<AVCodecContext> decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0)
        throw std::bad_alloc();
    decoder->pkt_timebase = stream.time_base;
    decoder->thread_count = 0; // as many as there are processors
    FrameTimes::Prepare(*decoder);
    const int opened = avcodec_open2(decoder.get(), codec, nullptr);
    if (opened < 0)
        throw HostError(kExitInput, Format("%s: its %s can't be decoded: %s (%s leaves it out)", name.c_str(), kind,
                                           ErrorText(opened).c_str(), option));
    return decoder;
}

} // namespace host
