#include "Common/Audio/vector/ResampleRowsVector.h"
#include "Common/x86/SetAvx2.h"

void OverwriteResampleAvx2(ResampleTable& table)
{
    ResampleRowsVector<Avx2>::Overwrite(table);
}
