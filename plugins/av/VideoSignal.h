// What a job says of its pictures for players to obey: colour, pixel aspect, fields and rotation. An encoder writes
// some of it into its packets, a file format some into its header.
#ifndef ENCMGR_PLUGINS_AV_VIDEO_SIGNAL_H
#define ENCMGR_PLUGINS_AV_VIDEO_SIGNAL_H

#include "plugins/av/Av.h"
#include "plugins/av/Tables.h"

// Whether all values are known ones. Logs the first that isn't.
bool IsKnownSignal(const EncodeParamVideo& video);

// The matrix that players take for pictures of this size that state none: BT.709 or BT.601.
int UsualMatrix(const EncodeParamVideo& video);

// A dwColour: the colours of the pictures as they are encoded. They are the job's, but for a range or a matrix that
// the file couldn't state: those become what players take then. JPEG has one of each, and lossless pictures stay.
// container: null if it is another plug-in's.
KXDWORD EncodedColour(const EncodeParamVideo& video, const EncoderEntry& entry, const ContainerEntry* container);

// Before the encoder is opened. colour: of the pictures as they are encoded.
void SetSignal(AVCodecContext& context, const EncodeParamVideo& video, const EncoderEntry& entry, KXDWORD colour);

// Of each picture that goes into the encoder.
void SetSignal(AVFrame& frame, const EncodeParamVideo& video, const AVCodecContext& context);

// Before the header is written; the stream has the parameters of the encoder. Logs what neither the encoder nor the
// format states, and returns an error of libav's or 0.
int SetSignal(AVStream& stream, const EncodeParamVideo& video, const EncoderEntry& entry,
              const ContainerEntry& container);

#endif // ENCMGR_PLUGINS_AV_VIDEO_SIGNAL_H
