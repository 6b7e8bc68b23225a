// What a container says of its streams.
#ifndef ENCMGR_HOST_STREAM_INFO_H
#define ENCMGR_HOST_STREAM_INFO_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

namespace host
{

// A picture that stands for the file, and no video.
bool IsCover(const AVStream& stream);

// The number of the video stream that libavformat prefers, otherwise of the first; -1 if there is none. Cover pictures
// of music files are no video.
int BestVideo(AVFormatContext& container);

// The same for audio; one that belongs to a video stream is preferred (-1: to none).
int BestAudio(AVFormatContext& container, int video);

// Neither 0 nor negative.
bool IsUsable(AVRational ratio);

// The frame rate as the container states it; 25 if it states none.
AVRational StatedRateOf(const AVStream& stream);

// Whether the rate that was measured is that of fields of interlaced pictures, with time stamps of their own.
bool IsOfFields(const AVStream& stream, AVRational measured, AVRational stated);

// How pictures are to be turned or mirrored when they are shown.
struct Turn {
    std::string filter;      // of libavfilter; empty: not at all
    bool isSideways = false; // width and height change places
    double oddAngle = 0.0;   // degrees to the left, where that is no quarter turn; the filter is empty then
    int clockwise = 0;       // what the filter does, in degrees,
    bool isMirrored = false; // after exchanging left and right
};
Turn TurnOf(const AVStream& stream);

// Whether the pictures consist of two fields, and which is shown first.
Fields FieldsOf(const AVStream& stream);

} // namespace host

#endif // ENCMGR_HOST_STREAM_INFO_H
