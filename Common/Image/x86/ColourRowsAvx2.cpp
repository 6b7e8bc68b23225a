#include "Common/Image/x86/ColourRowsVector.h"

void OverwriteColourRowsAvx2(ColourTable& table)
{
    OverwriteColourRows(table);
}
