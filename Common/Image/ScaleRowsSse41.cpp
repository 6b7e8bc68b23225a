#include "Common/Image/ScaleRowsVector.h"

void OverwriteScaleRowsSse41(ScaleRowTable& table)
{
    OverwriteScaleRows(table);
}
