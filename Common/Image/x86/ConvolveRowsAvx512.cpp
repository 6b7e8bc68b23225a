#include "Common/Image/vector/ConvolveRowsVector.h"
#include "Common/x86/SetAvx512.h"

void OverwriteConvolveAvx512(ConvolveTable& table)
{
    ConvolveRowsVector<Avx512>::Overwrite(table);
}
