#include "Common/Image/vector/ScaleRowsVector.h"
#include "Common/x86/SetAvx2.h"

void OverwriteScaleRowsAvx2(ScaleRowTable& table)
{
    ScaleRowsVector<Avx2>::Overwrite(table);
}
