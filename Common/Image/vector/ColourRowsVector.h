// The colour conversions' row functions on vectors of a set.
#ifndef ENCMGR_COLOUR_ROWS_VECTOR_H
#define ENCMGR_COLOUR_ROWS_VECTOR_H

#include "Common/Image/vector/PackedVector.h"
#include "Common/Image/vector/RgbToYuvVector.h"
#include "Common/Image/vector/YuvToRgbVector.h"

namespace
{

template <class S> struct ColourRowsVector {
    static void Overwrite(ColourTable& table)
    {
        YuvToRgbVector<S>::Overwrite(table);
        RgbToYuvVector<S>::Overwrite(table);
        PackedVector<S>::Overwrite(table);
    }
};

} // namespace

#endif // ENCMGR_COLOUR_ROWS_VECTOR_H
