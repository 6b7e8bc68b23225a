#include "Common/Image/vector/ColourRowsVector.h"
#include "Common/x86/SetAvx512.h"

void OverwriteColourRowsAvx512(ColourTable& table)
{
    ColourRowsVector<Avx512>::Overwrite(table);
}
