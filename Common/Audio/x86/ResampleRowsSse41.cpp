#include "Common/Audio/vector/ResampleRowsVector.h"
#include "Common/x86/SetSse41.h"

void OverwriteResampleSse41(ResampleTable& table)
{
    ResampleRowsVector<Sse41>::Overwrite(table);
}
