// Fitting of a rectangle to a shape.
#ifndef ENCMGR_RESIZE_RECT_H
#define ENCMGR_RESIZE_RECT_H

#include "encmgr/Export.h"

#include <cstdint>

// right and bottom lie one past the last column and row.
struct tagRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

// A size in pixels or, where only the ratio counts, a shape such as 16 to 9.
struct tagSIZE {
    int32_t cx;
    int32_t cy;
};

// How a source picture is brought into the target, held in EncodeParam.video.nResizeMethod. Any other value acts as
// IMAGE_RESIZE_KEEP.
enum IMAGE_RESIZE_METHOD : int {
    IMAGE_RESIZE_STRETCH = 0, // the whole source over the whole target, whatever their shapes
    IMAGE_RESIZE_KEEP = 1,    // in its own shape, with bars
    IMAGE_RESIZE_16_9 = 2,    // as a 16:9 picture, with bars
    IMAGE_RESIZE_4_3 = 3,     // as a 4:3 picture, with bars
    IMAGE_RESIZE_CROP = 5,    // cut to fill the whole target; MediaFile cuts with IMAGE_RESIZE_KEEP on the source
};

// Shrinks rc around its centre to the shape size, which IMAGE_RESIZE_16_9 and IMAGE_RESIZE_4_3 first widen to theirs.
// Both sides move alike, so an odd rest leaves one pixel more than the exact fit. Leaves rc alone for
// IMAGE_RESIZE_STRETCH, for a size with a side of 0 or less, and for a rectangle whose sides are negative or don't
// fit 32 bits.
ENCMGR_API void ResizeRect(tagRECT& rc, tagSIZE size, IMAGE_RESIZE_METHOD method);

#endif // ENCMGR_RESIZE_RECT_H
