#include "Common/Image/ColourRowsVector.h"

void OverwriteColourRowsAvx2(ColourTable& table)
{
    OverwriteColourRows(table);
}
