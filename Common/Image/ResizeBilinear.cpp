// Bilinear: the four samples around each position, mixed in two stages.
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

namespace
{

struct BlendPixels {
    static constexpr int sourceBytes = 4;
    static constexpr int targetBytes = 4;

    static void Mixed(const RowPair& rows, unsigned char* out, int count, uint32_t step)
    {
        BlendRow32(rows, out, count, step);
    }
    static void Plain(const unsigned char* row, unsigned char* out, int count, uint32_t step)
    {
        NearRow32(row, out, count, step);
    }
};

struct BlendBytes {
    static constexpr int sourceBytes = 1;
    static constexpr int targetBytes = 1;

    static void Mixed(const RowPair& rows, unsigned char* out, int count, uint32_t step)
    {
        BlendRow8(rows, out, count, step);
    }
    static void Plain(const unsigned char* row, unsigned char* out, int count, uint32_t step)
    {
        NearRow8(row, out, count, step);
    }
};

struct BlendChroma {
    static void Mixed(const RowPair& rows, unsigned char* out, int count, ColumnWalk columns)
    {
        BlendRowUV(rows, out, count, columns);
    }
    static void Plain(const unsigned char* row, unsigned char* out, int count, ColumnWalk columns)
    {
        NearRowUV(row, out, count, columns);
    }
};

bool IsLastRow(const IMG_PARAM& dst, uint32_t r)
{
    return r == static_cast<uint32_t>(dst.cy - 1);
}

} // namespace

int DIB_ResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp, BlendPixels>(src, dst);
}

int DIB_ResizeBiLiner8(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ForcedEdgeWalk<BottomUp, BlendBytes>(src, dst);
}

int DIB_ResizeBiLinerY(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return LumaWalk(src, dst, true, [&](const Steps& step, uint32_t r, unsigned char* out) {
        if (IsLastRow(dst, r))
            NearRow8(LastRow<TopDown>(src, 1), out, dst.cx, step.x);
        else
            BlendRow8(RowsAt<TopDown>(src, r * step.y, 1), out, dst.cx, step.x);
    });
}

int DIB_ResizeBiLinerY_Simulate(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return LumaWalk(src, dst, false, [&](const Steps& step, uint32_t r, unsigned char* out) {
        if (IsLastRow(dst, r)) {
            NearRow8(LastRow<TopDown>(src, 1), out, dst.cx, step.x);
            return;
        }
        const unsigned char* upper = RowsAt<TopDown>(src, r * step.y, 1).upper;
        const unsigned char* lower = RowsAt<TopDown>(src, (r + 1) * step.y, 1).upper;
        MeanRow8(upper, lower, out, dst.cx, step.x, static_cast<uint32_t>(src.cx - 1));
    });
}

int DIB_ResizeBiLinerUV(const IMG_PARAM& src, IMG_PARAM& dst)
{
    return ChromaWalk<BlendChroma>(src, dst);
}
