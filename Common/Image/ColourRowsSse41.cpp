#include "Common/Image/ColourRowsVector.h"

void OverwriteColourRowsSse41(ColourTable& table)
{
    OverwriteColourRows(table);
}
