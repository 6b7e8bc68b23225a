#include "Common/Image/vector/ColourRowsVector.h"
#include "Common/x86/SetAvx2.h"

void OverwriteColourRowsAvx2(ColourTable& table)
{
    ColourRowsVector<Avx2>::Overwrite(table);
}
