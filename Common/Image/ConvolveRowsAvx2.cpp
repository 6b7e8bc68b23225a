#include "Common/Image/ConvolveRowsVector.h"

void OverwriteConvolveAvx2(ConvolveTable& table)
{
    table = {FilterColumnsVector, FilterRowsVector};
}
