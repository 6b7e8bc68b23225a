#include "Common/Audio/vector/ResampleRowsVector.h"
#include "Common/x86/SetAvx512.h"

void OverwriteResampleAvx512(ResampleTable& table)
{
    ResampleRowsVector<Avx512>::Overwrite(table);
}
