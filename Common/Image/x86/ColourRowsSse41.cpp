#include "Common/Image/x86/ColourRowsVector.h"

void OverwriteColourRowsSse41(ColourTable& table)
{
    OverwriteColourRows(table);
}
