#include "Common/Audio/ResampleRows.h"

#include "Common/InstructionSet.h"

#include <algorithm>
#include <cfloat>
#include <cstddef>

// Positions are rounded at each operation, which every form repeats. A plain -m32, with the x87's longer doubles, would
// give other fractions.
static_assert(FLT_EVAL_METHOD == 0);

void ResampleMono(const ResampleBlock& block, int first)
{
    for (int i = first; i < block.end; ++i) {
        const double pos = (i + 1.0) * block.n / block.nOut - 1.0;
        const int idx = static_cast<int>(pos + 1.0) - 1;
        const int a = block.work[idx];
        const int b = block.work[idx + 1];
        const int value = a + static_cast<int>((b - a) * (pos - idx));
        block.out[i - block.begin] = static_cast<int16_t>(std::clamp(value, -32767, 32767));
    }
}

// Nothing is clipped: the mix of two samples fits.
void ResampleStereo(const ResampleBlock& block, int first)
{
    for (int i = first; i < block.end; ++i) {
        const double pos = (i + 1.0) * block.n / block.nOut - 1.0;
        const int idx = static_cast<int>(pos + 1.0) - 1;
        const double frac = pos - idx;
        for (int c = 0; c < 2; ++c) {
            const int a = block.work[2 * idx + c];
            const int b = block.work[2 * idx + 2 + c];
            block.out[2 * (i - block.begin) + c] = static_cast<int16_t>(a + static_cast<int>((b - a) * frac));
        }
    }
    if (block.end > block.begin && block.end == block.nOut / 2 && block.n >= 2)
        std::copy_n(block.work + block.n - 2, 2, block.out + 2 * (ptrdiff_t{block.end} - 1 - block.begin));
}

void MonoToStereo(const int16_t* src, int16_t* dst, int count)
{
    for (int i = 0; i < count; ++i) {
        dst[2 * ptrdiff_t{i}] = src[i];
        dst[2 * ptrdiff_t{i} + 1] = src[i];
    }
}

void StereoToMono(const int16_t* src, int16_t* dst, int count)
{
    for (ptrdiff_t i = 0; i < count; ++i)
        dst[i] = static_cast<int16_t>(src[2 * i] / 2 + src[2 * i + 1] / 2);
}

const ResampleTable& ResampleRows()
{
    constexpr ResampleTable plain = {ResampleMono, ResampleStereo, MonoToStereo, StereoToMono};
#if ENCMGR_X86_SETS >= 3
    static const RowTables<ResampleTable> tables(
        plain, {OverwriteResampleSse41, OverwriteResampleAvx2, OverwriteResampleAvx512});
#elif ENCMGR_X86_SETS
    static const RowTables<ResampleTable> tables(plain, {OverwriteResampleSse41, OverwriteResampleAvx2});
#else
    static const RowTables<ResampleTable> tables(plain, {});
#endif
    return tables.Active();
}
