#include "host/sources/PictureFile.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/base/Values.h"
#include "host/base/WriteError.h"
#include "host/sources/Libav.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

namespace host
{

namespace
{

[[noreturn]] void FailToRead(const std::string& name, Messages& messages, int error)
{
    messages.TakeMediaError();
    throw HostError(kExitInput, Format("can't read a picture from %s: %s", name.c_str(), ErrorText(error).c_str()));
}

// Decodes packets until a picture comes out.
int DecodeFirst(AVFormatContext& container, int stream, AVCodecContext& decoder, AVFrame& frame)
{
    const LibavOwned<AVPacket> packet(av_packet_alloc());
    for (;;) {
        int result = avcodec_receive_frame(&decoder, &frame);
        if (result != AVERROR(EAGAIN))
            return result;
        while ((result = av_read_frame(&container, packet.get())) >= 0 && packet->stream_index != stream)
            av_packet_unref(packet.get());
        result = avcodec_send_packet(&decoder, result >= 0 ? packet.get() : nullptr);
        av_packet_unref(packet.get());
        if (result < 0)
            return result;
    }
}

Bitmap ToBitmap(const AVFrame& frame, const std::string& name)
{
    if (frame.width < 1 || frame.height < 1 || frame.width > kLargestSide || frame.height > kLargestSide)
        throw HostError(kExitInput, Format("%s: %dx%d pixels are more than can be worked on", name.c_str(), frame.width,
                                           frame.height));
    const LibavOwned<SwsContext> context(sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width, frame.height, AV_PIX_FMT_BGRA,
        SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr));
    const auto pixels = NewPicture(AV_PIX_FMT_BGRA, frame.width, frame.height);
    if (!context || sws_scale_frame(context.get(), pixels.get(), &frame) < 0)
        throw HostError(kExitInput, name + ": its kind of pixels can't be converted");
    Bitmap bitmap(frame.width, frame.height);
    for (int y = 0; y < bitmap.height; ++y)
        std::memcpy(bitmap.MemoryRow(bitmap.height - 1 - y),
                    pixels->data[0] + static_cast<ptrdiff_t>(y) * pixels->linesize[0],
                    static_cast<size_t>(bitmap.Pitch()));
    return bitmap;
}

bool IsOpaque(const Bitmap& bitmap)
{
    for (size_t i = 3; i < bitmap.bytes.size(); i += 4)
        if (bitmap.bytes[i] != 255)
            return false;
    return true;
}

// A frame of R, G, B and, if the format has it, A.
std::shared_ptr<AVFrame> ToFrame(Bitmap& bitmap, AVPixelFormat format)
{
    auto frame = NewPicture(format, bitmap.width, bitmap.height);
    const int bytes = format == AV_PIX_FMT_RGBA ? 4 : 3;
    for (int y = 0; y < bitmap.height; ++y) {
        const unsigned char* in = bitmap.MemoryRow(bitmap.height - 1 - y);
        uint8_t* out = frame->data[0] + static_cast<ptrdiff_t>(y) * frame->linesize[0];
        for (int x = 0; x < bitmap.width; ++x, in += 4, out += bytes) {
            const unsigned char pixel[4] = {in[2], in[1], in[0], in[3]};
            std::memcpy(out, pixel, static_cast<size_t>(bytes));
        }
    }
    return frame;
}

} // namespace

tagBITMAPINFOHEADER Bitmap::Header() const
{
    tagBITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = 32;
    header.biSizeImage = static_cast<uint32_t>(bytes.size());
    return header;
}

Bitmap ReadPicture(const std::string& name, Messages& messages)
{
    AVFormatContext* opened = nullptr;
    int result = avformat_open_input(&opened, ("file:" + name).c_str(), nullptr, nullptr);
    const LibavOwned<AVFormatContext> container(opened);
    if (result >= 0)
        result = avformat_find_stream_info(opened, nullptr);
    const AVCodec* codec = nullptr;
    if (result >= 0)
        result = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (result < 0)
        FailToRead(name, messages, result);
    const int stream = result;
    const LibavOwned<AVCodecContext> decoder(avcodec_alloc_context3(codec));
    const auto frame = NewFrame();
    avcodec_parameters_to_context(decoder.get(), opened->streams[stream]->codecpar);
    result = avcodec_open2(decoder.get(), codec, nullptr);
    if (result >= 0)
        result = DecodeFirst(*opened, stream, *decoder, *frame);
    if (result < 0)
        FailToRead(name, messages, result);
    return ToBitmap(*frame, name);
}

std::vector<unsigned char> EncodePng(Bitmap& bitmap)
{
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    const LibavOwned<AVCodecContext> encoder(avcodec_alloc_context3(codec));
    const LibavOwned<AVPacket> packet(av_packet_alloc());
    if (!encoder || !packet)
        throw std::bad_alloc();
    encoder->width = bitmap.width;
    encoder->height = bitmap.height;
    encoder->pix_fmt = IsOpaque(bitmap) ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_RGBA;
    encoder->time_base = {1, 1};
    const auto frame = ToFrame(bitmap, encoder->pix_fmt);
    if (!codec || avcodec_open2(encoder.get(), codec, nullptr) < 0 ||
        avcodec_send_frame(encoder.get(), frame.get()) < 0 || avcodec_receive_packet(encoder.get(), packet.get()) < 0)
        throw HostError(kExitJob, "the picture can't be encoded as PNG");
    return {packet->data, packet->data + packet->size};
}

void WritePicture(const std::string& path, Bitmap& bitmap)
{
    const std::vector<unsigned char> bytes = EncodePng(bitmap);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        throw HostError(kExitOutput, Format("can't create %s: %s", path.c_str(), std::strerror(errno)));
    const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) != 0 || !isWritten)
        throw HostError(WriteErrorOf(errno) ? kExitWrite : kExitJob,
                        Format("can't write %s: %s", path.c_str(), WriteErrorText(errno).c_str()));
}

} // namespace host
