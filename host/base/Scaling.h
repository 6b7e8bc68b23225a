// The ways to bring a picture to another size.
#ifndef ENCMGR_HOST_SCALING_H
#define ENCMGR_HOST_SCALING_H

#include "host/base/Values.h"

namespace host
{

enum class Scaling {
    kUsual,    // smooth where a side becomes less than half of what it was, bilinear elsewhere
    kNear,     // by the library, as are the next two
    kBilinear, //
    kCubic,    // convolution, whose kernel doesn't widen when reducing
    kSmooth,   // by libswscale: the mean of all that falls on a pixel
};

// Never kUsual.
inline Scaling Settled(Scaling asked, PictureSize from, PictureSize to)
{
    if (asked != Scaling::kUsual)
        return asked;
    return 2 * to.width < from.width || 2 * to.height < from.height ? Scaling::kSmooth : Scaling::kBilinear;
}

} // namespace host

#endif // ENCMGR_HOST_SCALING_H
