// Where the rows of images and planes lie.
#ifndef ENCMGR_PLANE_ROWS_H
#define ENCMGR_PLANE_ROWS_H

#include <cstddef>
#include <cstdint>

inline unsigned char* RowOf(unsigned char* bits, int64_t row, int64_t pitch)
{
    return bits + static_cast<ptrdiff_t>(row * pitch);
}

constexpr int Even(int size) // rounded down
{
    return size & ~1;
}

// Planar 4:2:0; all rows are told as luma rows.
struct Planes {
    unsigned char* pY;
    unsigned char* pU;
    unsigned char* pV;
    int nPt_Y;
    int nPt_U;
    int nPt_V;

    unsigned char* Y(int64_t row) const { return RowOf(pY, row, nPt_Y); }
    unsigned char* U(int64_t row) const { return RowOf(pU, row / 2, nPt_U); }
    unsigned char* V(int64_t row) const { return RowOf(pV, row / 2, nPt_V); }
};

#endif // ENCMGR_PLANE_ROWS_H
