// Pictures on their way into the memory of a graphics device, where encoders by VA-API take them from.
#ifndef ENCMGR_PLUGINS_AV_SURFACES_H
#define ENCMGR_PLUGINS_AV_SURFACES_H

#include "plugins/av/Av.h"

// Right before the encoder is opened: gives it a device and a pool of surfaces for pictures of its size and pixel
// format, in whose place the context's own becomes that of a surface. An error of libav's, or 0.
int AttachSurfaces(AVCodecContext& context);

// The pixel format of the pictures in the system's memory that become what an open encoder takes.
AVPixelFormat PictureFormat(const AVCodecContext& context);

// Puts the picture, with its time and signal, into a surface of the encoder's pool, which the frame then holds. The one
// that it held before goes back when the encoder has done with it. An error of libav's, or 0.
int Upload(const AVCodecContext& context, const AVFrame& picture, AVFrame& surface);

#endif // ENCMGR_PLUGINS_AV_SURFACES_H
