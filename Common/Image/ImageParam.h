// The records with which the toolbox is called.
#ifndef ENCMGR_IMAGE_PARAM_H
#define ENCMGR_IMAGE_PARAM_H

#include <cstdint>

// One buffer and, inside it, one rectangle: of a scaler's source what is read, of its target what is written. Scale
// factors come from the two rectangles alone.
//
// The rectangle is not clipped: it must lie inside the buffer. Its sides stay below 2^19. A chroma plane of a 4:2:0
// picture has its own pBits and nPitch, and all else in luma pixels. The image stays the caller's.
struct IMG_PARAM {
    unsigned char* pBits; // memory row 0, not the rectangle's first byte
    int nWidth;           // of the whole image; not read
    int nHeight;          // of the whole image, positive; read where row order is bottom-up
    int nPitch;           // bytes from memory row to memory row; may be negative, but for the targets of luma scalers
    int nBitCount;        // bits per pixel, 8 for planes
    int x;                // the rectangle's left column
    int y;                // its top row, counted from the image's top whatever the row order in memory
    int cx;               // its width
    int cy;               // its height
};
static_assert(sizeof(IMG_PARAM) == (sizeof(void*) == 4 ? 36 : 40));

enum IMAGE_INTERPOLATION : int {
    IMAGE_INTERPOLATION_DEFAULT = 0, // bilinear
    IMAGE_INTERPOLATION_NEAR = 1,
    IMAGE_INTERPOLATION_BILINER = 2,
    IMAGE_INTERPOLATION_CONVOLVE = 3, // 4-byte pixels only
};

// The published bitmap header.
struct tagBITMAPINFOHEADER {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
};
static_assert(sizeof(tagBITMAPINFOHEADER) == 40);

// The header with whatever follows it.
struct tagBITMAPINFO {
    tagBITMAPINFOHEADER bmiHeader;
};

#endif // ENCMGR_IMAGE_PARAM_H
