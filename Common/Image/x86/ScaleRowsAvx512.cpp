#include "Common/Image/vector/ScaleRowsVector.h"
#include "Common/x86/SetAvx512.h"

void OverwriteScaleRowsAvx512(ScaleRowTable& table)
{
    ScaleRowsVector<Avx512>::Overwrite(table);
}
