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

// The scaler's method.
enum IMAGE_INTERPOLATION : int {
    IMAGE_INTERPOLATION_DEFAULT = 0, // bilinear
    IMAGE_INTERPOLATION_NEAR = 1,
    IMAGE_INTERPOLATION_BILINER = 2,
    IMAGE_INTERPOLATION_CONVOLVE = 3, // 4-byte pixels only
};

// The published bitmap header.
struct tagBITMAPINFOHEADER {
    uint32_t biSize;         // 40
    int32_t biWidth;         // pixels
    int32_t biHeight;        // pixels, positive
    uint16_t biPlanes;       // not read
    uint16_t biBitCount;     // 24 or 32, as the function says
    uint32_t biCompression;  // not read
    uint32_t biSizeImage;    // not read
    int32_t biXPelsPerMeter; // not read
    int32_t biYPelsPerMeter; // not read
    uint32_t biClrUsed;      // not read
    uint32_t biClrImportant; // not read
};
static_assert(sizeof(tagBITMAPINFOHEADER) == 40);

// The header with whatever follows it.
struct tagBITMAPINFO {
    tagBITMAPINFOHEADER bmiHeader; // the picture follows it in memory, where a function says so
};

#endif // ENCMGR_IMAGE_PARAM_H
