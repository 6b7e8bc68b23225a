#include "Common/Image/ConvolveRowsVector.h"

void OverwriteConvolveSse41(ConvolveTable& table)
{
    table = {FilterColumnsVector, FilterRowsVector};
}
