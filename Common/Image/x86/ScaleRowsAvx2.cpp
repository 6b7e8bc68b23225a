#include "Common/Image/x86/ScaleRowsVector.h"

void OverwriteScaleRowsAvx2(ScaleRowTable& table)
{
    OverwriteScaleRows(table);
}
