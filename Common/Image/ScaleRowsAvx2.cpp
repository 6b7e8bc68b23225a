#include "Common/Image/ScaleRowsVector.h"

void OverwriteScaleRowsAvx2(ScaleRowTable& table)
{
    OverwriteScaleRows(table);
}
