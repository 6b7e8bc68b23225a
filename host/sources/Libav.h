// What libav allocates, freed with its owner, and its errors as text.
#ifndef ENCMGR_HOST_LIBAV_H
#define ENCMGR_HOST_LIBAV_H

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace host
{

struct LibavFree {
    void operator()(AVFormatContext* container) const { avformat_close_input(&container); } // of an input
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
    void operator()(SwsContext* context) const { sws_freeContext(context); }
    void operator()(SwrContext* context) const { swr_free(&context); }
};

// Has one owner; frames, which go from hand to hand, are shared.
template <class T> using LibavOwned = std::unique_ptr<T, LibavFree>;

// What libav read from a file into an enumeration: any number may stand there, and only as a number may it be read.
template <class Enum> int StoredNumber(const Enum& stored)
{
    static_assert(sizeof(stored) == sizeof(int));
    int number = 0;
    std::memcpy(&number, &stored, sizeof(number));
    return number;
}

// A time of a stream; the extremes stay apart from all others.
inline int64_t ToNanoseconds(int64_t units, AVRational timeBase)
{
    return av_rescale_q_rnd(units, timeBase, {1, 1'000'000'000},
                            static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}

// The result of a call whose failure may be the input's fault; not so if memory has run out.
inline int WithMemory(int result)
{
    if (result == AVERROR(ENOMEM))
        throw std::bad_alloc();
    return result;
}

// Empty, never null.
inline std::shared_ptr<AVFrame> NewFrame()
{
    std::shared_ptr<AVFrame> frame(av_frame_alloc(), LibavFree());
    if (!frame)
        throw std::bad_alloc();
    return frame;
}

// With room for a picture.
inline std::shared_ptr<AVFrame> NewPicture(AVPixelFormat format, int width, int height)
{
    auto frame = NewFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        throw std::bad_alloc();
    return frame;
}

// Whether a picture is interlaced, and which of its fields is shown first.
inline void CopyFieldMarks(AVFrame& to, const AVFrame& from)
{
#ifdef AV_FRAME_FLAG_INTERLACED
    to.flags |= from.flags & (AV_FRAME_FLAG_INTERLACED | AV_FRAME_FLAG_TOP_FIELD_FIRST);
#else
    to.interlaced_frame = from.interlaced_frame;
    to.top_field_first = from.top_field_first;
#endif
}

inline std::string ErrorText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof(text));
    return text;
}

} // namespace host

#endif // ENCMGR_HOST_LIBAV_H
