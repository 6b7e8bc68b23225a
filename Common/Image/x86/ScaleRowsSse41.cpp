#include "Common/Image/x86/ScaleRowsVector.h"

void OverwriteScaleRowsSse41(ScaleRowTable& table)
{
    OverwriteScaleRows(table);
}
