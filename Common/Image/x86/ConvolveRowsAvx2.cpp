#include "Common/Image/vector/ConvolveRowsVector.h"
#include "Common/x86/SetAvx2.h"

void OverwriteConvolveAvx2(ConvolveTable& table)
{
    ConvolveRowsVector<Avx2>::Overwrite(table);
}
