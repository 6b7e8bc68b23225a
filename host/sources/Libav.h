// What libav allocates, freed with its owner, and its errors as text.
#ifndef ENCMGR_HOST_LIBAV_H
#define ENCMGR_HOST_LIBAV_H

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace host
{

struct LibavFree {
    void operator()(AVFormatContext* container) const { avformat_close_input(&container); } // of an input
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};

template <class T> using LibavOwned = std::unique_ptr<T, LibavFree>;

// A time of a stream; the extremes stay apart from all others.
inline int64_t ToNanoseconds(int64_t units, AVRational timeBase)
{
    return av_rescale_q_rnd(units, timeBase, {1, 1'000'000'000},
                            static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}

inline std::string ErrorText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof(text));
    return text;
}

} // namespace host

#endif // ENCMGR_HOST_LIBAV_H
