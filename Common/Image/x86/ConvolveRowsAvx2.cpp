#include "Common/Image/x86/ConvolveRowsVector.h"

void OverwriteConvolveAvx2(ConvolveTable& table)
{
    table = {FilterColumnsVector, FilterRowsVector};
}
