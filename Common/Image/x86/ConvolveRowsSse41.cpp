#include "Common/Image/vector/ConvolveRowsVector.h"
#include "Common/x86/SetSse41.h"

void OverwriteConvolveSse41(ConvolveTable& table)
{
    ConvolveRowsVector<Sse41>::Overwrite(table);
}
