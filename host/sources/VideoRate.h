// The frame rate of a stream, and how its time stamps keep to it.
#ifndef ENCMGR_HOST_VIDEO_RATE_H
#define ENCMGR_HOST_VIDEO_RATE_H

#include "host/sources/Libav.h"
#include "host/sources/StampClock.h"

#include <span>

namespace host
{

enum class RateKind {
    kStated,   // too few stamps to see: what the container says
    kSteady,   // the grid on which the stamps stand
    kWavering, // the one around which they lie
    kVariable, // none; a usual rate that has a place for each picture
};

struct VideoRate {
    RateKind kind;
    StampKind stamps; // with the rate, which is never 0
};

// stamps: of the stream's pictures, as StampProbe gives them.
VideoRate RateOf(const AVStream& stream, std::span<const Nanoseconds> stamps);

} // namespace host

#endif // ENCMGR_HOST_VIDEO_RATE_H
