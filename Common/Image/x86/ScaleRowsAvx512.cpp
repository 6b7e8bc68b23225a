#include "Common/Image/vector/ScaleWindowsVector.h"
#include "Common/x86/SetAvx512.h"

void OverwriteScaleRowsAvx512(ScaleRowTable& table)
{
    ScaleWindowsVector<Avx512>::Overwrite(table);
}
