#include "Common/Image/vector/ColourRowsVector.h"
#include "Common/x86/SetSse41.h"

void OverwriteColourRowsSse41(ColourTable& table)
{
    ColourRowsVector<Sse41>::Overwrite(table);
}
