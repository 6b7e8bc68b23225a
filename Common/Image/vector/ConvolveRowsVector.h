// The cubic convolution's row functions on vectors of a set.
#ifndef ENCMGR_CONVOLVE_ROWS_VECTOR_H
#define ENCMGR_CONVOLVE_ROWS_VECTOR_H

#include "Common/Image/vector/FilterColumnsVector.h"
#include "Common/Image/vector/FilterRowsVector.h"

namespace
{

template <class S> struct ConvolveRowsVector {
    static void Overwrite(ConvolveTable& table)
    {
        table.prepare = FilterColumnsVector<S>::Prepare;
        table.filterColumns = FilterColumnsVector<S>::FilterColumns;
        table.filterRows = FilterRowsVector<S>::FilterRows;
    }
};

} // namespace

#endif // ENCMGR_CONVOLVE_ROWS_VECTOR_H
