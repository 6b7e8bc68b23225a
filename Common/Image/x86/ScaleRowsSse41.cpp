#include "Common/Image/vector/ScaleRowsVector.h"
#include "Common/x86/SetSse41.h"

void OverwriteScaleRowsSse41(ScaleRowTable& table)
{
    ScaleRowsVector<Sse41>::Overwrite(table);
}
