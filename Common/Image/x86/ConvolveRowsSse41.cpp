#include "Common/Image/x86/ConvolveRowsVector.h"

void OverwriteConvolveSse41(ConvolveTable& table)
{
    table = {FilterColumnsVector, FilterRowsVector};
}
