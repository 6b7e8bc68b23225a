// Colour conversions between packed RGB, planar YUV 4:2:0 and packed YUV 4:2:2, in integer arithmetic after ITU-R
// BT.601 (ColourKernels.h has the coefficients), and copies of rectangles. No state, no allocation (but xTraceImage's).
//
// Layouts
//   24-bit   B, G, R; where a header describes the bitmap, rows are padded to a multiple of 4 bytes
//   32-bit   B, G, R and a fourth byte; rows of 4 * width bytes
//   planar   Y, and U and V of (width + 1) / 2 by (height + 1) / 2 samples; top-down, a pitch in bytes for each plane.
//            Pixel (x, y) has chroma sample (x / 2, y / 2)
//   packed   pairs of pixels in 4 bytes, Y0 U Y1 V where the order's switch is non-zero (YUY2), U Y0 V Y1 where it is 0
//            (UYVY); top-down. Pixel x of a row lies at byte 2 * x
// Bitmaps are bottom-up (image row 0 last in memory), except those of the Argb functions, which are top-down.
//
// Buffers stay the caller's, are not kept, must not overlap and need no alignment. Sources are not changed. Sizes of 0
// or less and, where nothing is asserted, null buffers convert nothing. Where a precondition fails, a function prints
// it on the standard error stream and aborts.
#ifndef ENCMGR_IMAGE_CONVERT_H
#define ENCMGR_IMAGE_CONVERT_H

#include "Common/Image/ImageParam.h"
#include "encmgr/Export.h"

// ---- one pixel, rounded and clamped ----
ENCMGR_API void PixelRGB_2_YUV(int R, int G, int B, int& Y, int& U, int& V); // Y 16 to 235, U and V 16 to 240
ENCMGR_API void PixelYUV_2_RGB(int Y, int U, int V, int& R, int& G, int& B); // 0 to 255

// ---- planar 4:2:0 to a bitmap of the header's biWidth and biHeight ----
// The planes hold biHeight rows of biWidth samples, and the chroma sizes of that. With both sides odd, the pixel in the
// corner of last column and last row is not converted and the target keeps it.
// REQUIRES (asserted): no null pointer; biBitCount 24 for rgb24, 32 for the others.
ENCMGR_API void Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY,
                               unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V);
// Leaves the fourth bytes as they were.
ENCMGR_API void Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY,
                               unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V);
// Top-down; sets the fourth bytes to 255.
ENCMGR_API void Yuv420_2_Argb(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY,
                              unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V);
// By PixelYUV_2_RGB. Asserts nothing, doesn't read biBitCount, and leaves an odd last column and row as they were.
ENCMGR_API void Yuv420_2_rgb24Simple(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY,
                                     unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V);

// ---- a bitmap to planar 4:2:0 ----
// With an odd width each row of Y but an odd last one gets one sample more, a repeat, so nPt_Y must be biWidth + 1.
// With both sides odd, the corner's pixel is not converted and its samples stay as they were. REQUIRES (asserted): no
// null pointer; biBitCount 24 for rgb24, 32 for the others.
ENCMGR_API void Rgb24_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                               tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits);
ENCMGR_API void Rgb32_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                               tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits);
// Top-down.
ENCMGR_API void Argb_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                              tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits);
// Copies the fourth bytes to pA, a plane of Y's size and pitch. REQUIRES: pA.
ENCMGR_API void Rgb32_2_yuv420A(unsigned char* pY, unsigned char* pU, unsigned char* pV, unsigned char* pA, int nPt_Y,
                                int nPt_U, int nPt_V, tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits);
// By PixelRGB_2_YUV. Asserts nothing, doesn't read biBitCount, and leaves out an odd last column and row.
ENCMGR_API void Rgb24_2_yuv420Simple(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U,
                                     int nPt_V, tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits);

// ---- rectangles between packed 4:2:2 and 24-bit bitmaps with a pitch and a height of their own, bottom-up ----
// An odd width writes one packed pixel more, a repeat of the last one. At an odd xDst the pair that begins one pixel to
// the left is completed: its left Y stays, and the rest is the rectangle's first pixel.
// REQUIRES (asserted): buffers; (xDst + cxDst) * 2 <= nPitchDst; nPitchSrc / 3 - xSrc >= cxDst.
ENCMGR_API void Rgb24_2_YUY2(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cxDst, int cyDst,
                             unsigned int bYUY2, unsigned char* lpBitsSrc, int nHeightSrc, int nPitchSrc, int xSrc,
                             int ySrc);
// Reads whole pairs. At an odd xSrc the first pixel is the right one of the pair that begins one pixel to the left.
// REQUIRES (asserted): buffers.
ENCMGR_API void YUY2_2_Rgb24(unsigned char* lpBitsDst, int nHeightDst, int nPitchDst, int xDst, int yDst, int cxDst,
                             int cyDst, unsigned char* lpBitsSrc, int nPitchSrc, unsigned int bYUY2, int xSrc,
                             int ySrc);

// ---- rectangles between packed 4:2:2 and planar 4:2:0, in blocks of 2 by 2: odd sizes are rounded up ----
// A chroma sample is the mean of the two rows', rounded down.
// REQUIRES (asserted before each block): its V sample lies at or before the first one of V's row ySrc + cy.
ENCMGR_API void YUY2_2_Yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                              int xDst, int yDst, int cx, int cy, unsigned char* lpBitsSrc, int nPitchSrc,
                              unsigned int bYUY2, int xSrc, int ySrc);
// Repeats each chroma sample on two rows.
ENCMGR_API void Yuv420_2_YUY2(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cx, int cy,
                              unsigned int bYUY2, unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                              int nPt_U, int nPt_V, int xSrc, int ySrc);

// ---- copies of rectangles ----
// Changes the byte order where the two switches differ, as numbers; an odd cx is then rounded up.
ENCMGR_API void YUY2_Blt_fast(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cx, int cy,
                              unsigned int bYUY2Dst, unsigned char* lpBitsSrc, int nPitchSrc, unsigned int bYUY2Src,
                              int xSrc, int ySrc);
// yEnd is the target row at which the copy ends. Rows go in pairs: an odd number copies one Y row more. Chroma begins
// at column (x + 1) / 2.
ENCMGR_API void YV12_Blt_fast(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                              int xDst, int yDst, int cx, int yEnd, unsigned char* pYSrc, unsigned char* pUSrc,
                              unsigned char* pVSrc, int nPtSrc_Y, int nPtSrc_U, int nPtSrc_V, int xSrc, int ySrc);

// Makes a 24-bit bitmap of a planar picture and hands it to the log's trace sink, if a host has set one. The planes lie
// one after the other in the order Y, V, U, without padding, at lpBits or, if that is null, after the 40-byte header.
// A size that is not positive or overflows makes no picture.
ENCMGR_API void xTraceImage(tagBITMAPINFO* lpBmi, unsigned char* lpBits);

#endif // ENCMGR_IMAGE_CONVERT_H
