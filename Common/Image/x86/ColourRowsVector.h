// The colour conversions' row functions on vectors, for the instruction set of the including file.
#ifndef ENCMGR_COLOUR_ROWS_VECTOR_H
#define ENCMGR_COLOUR_ROWS_VECTOR_H

#include "Common/Image/x86/PackedVector.h"
#include "Common/Image/x86/RgbToYuvVector.h"
#include "Common/Image/x86/YuvToRgbVector.h"

namespace
{

inline void OverwriteColourRows(ColourTable& table)
{
    OverwriteYuvToRgb(table);
    OverwriteRgbToYuv(table);
    OverwritePacked(table);
}

} // namespace

#endif // ENCMGR_COLOUR_ROWS_VECTOR_H
