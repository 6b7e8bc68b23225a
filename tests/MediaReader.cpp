#include "tests/MediaReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <gtest/gtest.h>
#include <numeric>

namespace
{

struct Stream {
    const AVStream* stream = nullptr;
    AVCodecContext* context = nullptr;
    bool keepsRgb = false;
};

void AppendPlane(std::vector<unsigned char>& planes, const AVFrame& frame, int plane, int width, int height)
{
    for (int y = 0; y < height; ++y) {
        const uint8_t* row = frame.data[plane] + y * frame.linesize[plane];
        planes.insert(planes.end(), row, row + width);
    }
}

// Puts a picture of another pixel format in the place of its 4:2:0.
void Convert(AVFrame& frame)
{
    AVFrame* converted = av_frame_alloc();
    av_frame_copy_props(converted, &frame);
    converted->width = frame.width;
    converted->height = frame.height;
    converted->format = AV_PIX_FMT_YUV420P;
    ASSERT_GE(av_frame_get_buffer(converted, 0), 0);
    SwsContext* context = sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width, frame.height,
        AV_PIX_FMT_YUV420P, SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP, nullptr, nullptr, nullptr);
    ASSERT_TRUE(context) << "format " << frame.format;
    sws_scale(context, frame.data, frame.linesize, 0, frame.height, converted->data, converted->linesize);
    sws_freeContext(context);
    av_frame_unref(&frame);
    av_frame_move_ref(&frame, converted);
    av_frame_free(&converted);
}

// The file's header comes before the first picture, where both say something.
void TakeSignal(DecodedFile& file, const AVFrame& frame, const Stream& from)
{
    const AVFieldOrder order = from.stream->codecpar->field_order;
    const int top = frame.interlaced_frame ? frame.top_field_first : order == AV_FIELD_TT || order == AV_FIELD_TB;
    const bool isInterlaced = frame.interlaced_frame || order > AV_FIELD_PROGRESSIVE;
    const uint8_t* matrix = av_stream_get_side_data(from.stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    const double degrees = matrix ? av_display_rotation_get(reinterpret_cast<const int32_t*>(matrix)) : 0;
    DecodedSignal& signal = file.signal;
    signal.rotation = static_cast<int>(std::lrint(360 - degrees)) % 360;
    signal.fields = isInterlaced ? 3 - top : 0;
    const auto take = [](int& value, int ofPicture) { value = value == 0 || value == 2 ? ofPicture : value; };
    signal.range = signal.range ? signal.range : frame.color_range;
    take(signal.matrix, frame.colorspace);
    take(signal.primaries, frame.color_primaries);
    take(signal.transfer, frame.color_trc);
    if (file.pixelAspect == 0.0)
        file.pixelAspect = av_q2d(frame.sample_aspect_ratio);
}

void TakePicture(DecodedFile& file, AVFrame& frame, const Stream& from)
{
    if (file.pictures.empty())
        TakeSignal(file, frame, from);
    const bool isRgb = frame.format == AV_PIX_FMT_RGB24 && from.keepsRgb;
    if (frame.format != AV_PIX_FMT_YUV420P && !isRgb)
        Convert(frame);
    DecodedPicture picture = {static_cast<double>(frame.best_effort_timestamp) * av_q2d(from.stream->time_base) -
                                  file.start,
                              frame.width,
                              frame.height,
                              {}};
    if (isRgb) {
        AppendPlane(picture.planes, frame, 0, 3 * frame.width, frame.height);
        file.pictures.push_back(std::move(picture));
        return;
    }
    AppendPlane(picture.planes, frame, 0, frame.width, frame.height);
    AppendPlane(picture.planes, frame, 1, (frame.width + 1) / 2, (frame.height + 1) / 2);
    AppendPlane(picture.planes, frame, 2, (frame.width + 1) / 2, (frame.height + 1) / 2);
    file.pictures.push_back(std::move(picture));
}

void TakeSamples(DecodedFile& file, const AVFrame& frame, const Stream& from)
{
    if (file.samples.empty())
        file.firstSampleSeconds =
            static_cast<double>(frame.best_effort_timestamp) * av_q2d(from.stream->time_base) - file.start;
    file.sampleRate = frame.sample_rate;
    file.channels = frame.ch_layout.nb_channels;
    for (int i = 0; i < frame.nb_samples; ++i)
        for (int c = 0; c < file.channels; ++c) {
            if (frame.format == AV_SAMPLE_FMT_FLTP)
                file.samples.push_back(static_cast<int16_t>(
                    std::lrint(32767 * reinterpret_cast<const float*>(frame.extended_data[c])[i])));
            else
                file.samples.push_back(reinterpret_cast<const int16_t*>(frame.data[0])[i * file.channels + c]);
        }
}

// Decodes a packet, or the rest for null.
void Decode(DecodedFile& file, const Stream& from, const AVPacket* packet, AVFrame* frame)
{
    ASSERT_GE(avcodec_send_packet(from.context, packet), 0);
    while (avcodec_receive_frame(from.context, frame) >= 0) {
        if (from.context->codec_type == AVMEDIA_TYPE_VIDEO)
            TakePicture(file, *frame, from);
        else
            TakeSamples(file, *frame, from);
    }
}

} // namespace

double DecodedPicture::MeanLuma(int rows) const
{
    return std::accumulate(planes.begin(), planes.begin() + rows * width, 0.0) / (rows * width);
}

DecodedFile ReadMedia(const std::string& path)
{
    DecodedFile file;
    AVFormatContext* format = nullptr;
    const int opened = avformat_open_input(&format, path.c_str(), nullptr, nullptr);
    for (unsigned i = 0; opened >= 0 && i < format->nb_streams; ++i)
        if (const AVCodecParameters& header = *format->streams[i]->codecpar; header.codec_type == AVMEDIA_TYPE_VIDEO)
            file.signal = {header.color_range, header.color_space, header.color_primaries, header.color_trc};
    if (opened < 0 || avformat_find_stream_info(format, nullptr) < 0) {
        ADD_FAILURE() << path << " can't be opened";
        avformat_close_input(&format);
        return file;
    }
    if (const std::string name = format->iformat->name; name == "mpegts" || name == "mp3")
        file.start = static_cast<double>(format->start_time) / AV_TIME_BASE;
    std::vector<Stream> streams(format->nb_streams);
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
        streams[i] = {stream, avcodec_alloc_context3(codec), std::string("png_pipe") == format->iformat->name};
        avcodec_parameters_to_context(streams[i].context, stream->codecpar);
        streams[i].context->pkt_timebase = stream->time_base;
        EXPECT_GE(avcodec_open2(streams[i].context, codec, nullptr), 0) << path;
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
            file.frameRate = av_q2d(stream->avg_frame_rate.den ? stream->avg_frame_rate : stream->r_frame_rate);
            file.pixelAspect = av_q2d(stream->sample_aspect_ratio);
        }
    }
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    int result;
    while ((result = av_read_frame(format, packet)) >= 0) {
        Decode(file, streams[static_cast<size_t>(packet->stream_index)], packet, frame);
        av_packet_unref(packet);
    }
    EXPECT_EQ(result, AVERROR_EOF) << path;
    for (Stream& stream : streams) {
        Decode(file, stream, nullptr, frame);
        avcodec_free_context(&stream.context);
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avformat_close_input(&format);
    return file;
}
