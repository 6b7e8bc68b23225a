// The output's size, and who brings pictures to it.
#ifndef ENCMGR_HOST_SCALE_PLAN_H
#define ENCMGR_HOST_SCALE_PLAN_H

#include "host/job/JobPlan.h"

namespace host
{

// Neither sides nor pixels differ by more than a rounding from square.
bool HasSquarePixels(const VideoFormat& video);

// Plans the size, the fitting and the pixel aspect. Without a size of its own the output has the picture's, with the
// shape of its pixels; where a side is free, it follows from the shape that is shown, with square pixels.
void PlanSize(JobPlan& plan, const EncodeOptions& options, const VideoFormat& video);

// Plans who scales. The library does so by nearest neighbour or bilinear; for the other methods the pictures come to it
// in the size at which they are shown, and it only puts bars around. Behind all else that looks at sizes.
void PlanScaling(JobPlan& plan, Scaling asked);

} // namespace host

#endif // ENCMGR_HOST_SCALE_PLAN_H
