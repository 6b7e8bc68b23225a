#include "plugins/av/Surfaces.h"

#include "plugins/av/Devices.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace
{

// The first graphics device with a driver. It is named, since libav would ask a display for one otherwise.
int OpenDevice(BufferPtr& device)
{
    int result = AVERROR(ENODEV);
    for (const std::string& path : RenderNodes()) {
        AVBufferRef* opened = nullptr;
        result = av_hwdevice_ctx_create(&opened, AV_HWDEVICE_TYPE_VAAPI, path.c_str(), nullptr, 0);
        device.reset(opened);
        if (result >= 0)
            break;
    }
    return result;
}

} // namespace

int AttachSurfaces(AVCodecContext& context)
{
    BufferPtr device;
    int result = OpenDevice(device);
    if (result < 0)
        return result;
    BufferPtr pool(av_hwframe_ctx_alloc(device.get()));
    if (!pool)
        return AVERROR(ENOMEM);
    auto& surfaces = *reinterpret_cast<AVHWFramesContext*>(pool->data); // grows to what the encoder holds back
    surfaces.format = AV_PIX_FMT_VAAPI;
    surfaces.sw_format = context.pix_fmt;
    surfaces.width = context.width;
    surfaces.height = context.height;
    result = av_hwframe_ctx_init(pool.get());
    if (result < 0)
        return result;
    context.pix_fmt = surfaces.format;
    context.hw_frames_ctx = pool.release();
    return 0;
}

AVPixelFormat PictureFormat(const AVCodecContext& context)
{
    return context.hw_frames_ctx ? context.sw_pix_fmt : context.pix_fmt;
}

int Upload(const AVCodecContext& context, const AVFrame& picture, AVFrame& surface)
{
    av_frame_unref(&surface);
    int result = av_hwframe_get_buffer(context.hw_frames_ctx, &surface, 0);
    if (result >= 0)
        result = av_hwframe_transfer_data(&surface, &picture, 0);
    if (result >= 0)
        result = av_frame_copy_props(&surface, &picture);
    return result;
}
