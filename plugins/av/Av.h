// libav's headers, its objects under owners that free them, and its errors in the log.
#ifndef ENCMGR_PLUGINS_AV_H
#define ENCMGR_PLUGINS_AV_H

#include <cstdint> // IWYU pragma: keep; before libav's headers, which need its macros

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

struct AvFree {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwrContext* context) const { swr_free(&context); }
    void operator()(SwsContext* context) const { sws_freeContext(context); }
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
    void operator()(AVFormatContext* context) const
    {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
};

using BufferPtr = std::unique_ptr<AVBufferRef, AvFree>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, AvFree>;
using FramePtr = std::unique_ptr<AVFrame, AvFree>;
using PacketPtr = std::unique_ptr<AVPacket, AvFree>;
using SwrContextPtr = std::unique_ptr<SwrContext, AvFree>;
using SwsContextPtr = std::unique_ptr<SwsContext, AvFree>;
using FormatContextPtr = std::unique_ptr<AVFormatContext, AvFree>;

// libav's own text for one of its error codes.
std::string ErrorText(int error);

// What libav itself prints goes to the standard error stream or to where the application sent it with
// av_log_set_callback, which is not a plug-in's to change. This keeps an encoder's chatter out of it: of its messages
// only warnings and errors pass at libav's usual level.
constexpr int kQuieter = 8;
constexpr int kSilent = 64;

#endif // ENCMGR_PLUGINS_AV_H
