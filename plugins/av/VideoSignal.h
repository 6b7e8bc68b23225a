// What a job says of its pictures for players to obey: colour, pixel aspect, fields and rotation. An encoder writes
// some of it into its packets, a file format some into its header.
#ifndef ENCMGR_PLUGINS_AV_VIDEO_SIGNAL_H
#define ENCMGR_PLUGINS_AV_VIDEO_SIGNAL_H

#include "plugins/av/Av.h"
#include "plugins/av/Tables.h"

// Whether all values are known ones. Logs the first that isn't.
bool IsKnownSignal(const EncodeParamVideo& video);

// Before the encoder is opened.
void SetSignal(AVCodecContext& context, const EncodeParamVideo& video, const EncoderEntry& entry);

// Of each picture that goes into the encoder.
void SetSignal(AVFrame& frame, const EncodeParamVideo& video, const AVCodecContext& context);

// Before the header is written; the stream has the parameters of the encoder. Logs what neither the encoder nor the
// format states, and returns an error of libav's or 0.
int SetSignal(AVStream& stream, const EncodeParamVideo& video, const EncoderEntry& entry,
              const ContainerEntry& container);

#endif // ENCMGR_PLUGINS_AV_VIDEO_SIGNAL_H
