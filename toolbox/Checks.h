// What the records of the toolbox have to keep, whatever is done with them.
#ifndef ENCMGR_TOOLBOX_CHECKS_H
#define ENCMGR_TOOLBOX_CHECKS_H

#include "encmgr/encmgr_toolbox.h"

#include <cstdint>

// Whether rows of so many bytes don't overlap. One row has no pitch.
inline bool IsPitch(int pitch, int64_t bytes, int rows)
{
    return rows == 1 || pitch >= bytes || -int64_t{pitch} >= bytes;
}

inline int Chroma(int side)
{
    return side / 2 + side % 2;
}

inline bool IsUsable(const encmgr_planes* planes)
{
    if (!planes || !planes->y || !planes->u || !planes->v || planes->width <= 0 || planes->height <= 0)
        return false;
    const int width = Chroma(planes->width), height = Chroma(planes->height);
    return IsPitch(planes->pitch_y, planes->width, planes->height) && IsPitch(planes->pitch_u, width, height) &&
           IsPitch(planes->pitch_v, width, height);
}

#endif // ENCMGR_TOOLBOX_CHECKS_H
