// The scalers: each maps the rectangle of a source onto the rectangle of a target, from corner to corner, in integer
// arithmetic. They keep no state, own no image memory and allocate nothing: some 50 KB of stack is all they use. Source
// and target must not overlap.
//
// Positions are fixed point with 12 fractional bits: target column c lies at c * stepX, with
// stepX = (src.cx * 4096 - 4096) / (dst.cx - 1), truncated; rows likewise. There is no half-pixel offset.
//
// All return 1 when the work was done and 0 when they refused, having touched nothing: for a null pBits, a source side
// below 1, a target side below 2 (DIB_ResizeNear8: below 1), and any side of 2^19 or more. Samples outside the source
// rectangle are never read. Rows need no alignment.
//
//   scaler                        pixel            rows       last column, row   outside the target rectangle
//   DIB_ResizeNear                4 bytes          bottom-up  forced, forced     untouched
//   DIB_ResizeNear8               1 byte           top-down   forced, forced     untouched
//   DIB_ResizeNearY               luma             top-down   formula, formula   margins set to kBlackLuma
//   DIB_ResizeNearUV              chroma of 4:2:0  top-down   formula, forced    untouched
//   DIB_ResizeBiLiner             4 bytes          bottom-up  forced, forced     untouched
//   DIB_ResizeBiLiner8            1 byte           bottom-up  forced, forced     untouched
//   DIB_ResizeBiLinerY            luma             top-down   formula, forced    margins set to kBlackLuma
//   DIB_ResizeBiLinerUV           chroma of 4:2:0  top-down   formula, forced    untouched
//   DIB_ResizeBiLinerY_Simulate   luma             top-down   formula, forced    untouched
//   DIB_ResizeConvolve            4 bytes          bottom-up  formula, formula   untouched
//   DIB_AlphaResizeBiLiner        4 bytes          bottom-up  forced, forced     untouched
//   StretchMaskResizeNear         1 byte, 4 bytes  bottom-up  forced, forced     untouched
//   StretchMaskResizeBiLiner      1 byte, 4 bytes  bottom-up  forced, forced     untouched
//
// A forced column or row is a plain copy of the source rectangle's last one, without any mixing. The margins are the
// bytes left of the rectangle and those right of it up to nPitch.
#ifndef ENCMGR_IMAGE_RESIZE_H
#define ENCMGR_IMAGE_RESIZE_H

#include "Common/Image/ImageParam.h"
#include "encmgr/Export.h"

constexpr int kBlackLuma = 16; // of BT.601's studio range, in margins

// ---- nearest neighbour: the pixel at or before the position, copied ----
ENCMGR_API int DIB_ResizeNear(const IMG_PARAM& src, IMG_PARAM& dst);
// Maps source size over target size with a half-step offset, unlike all others.
ENCMGR_API int DIB_ResizeNear8(const IMG_PARAM& src, IMG_PARAM& dst);
ENCMGR_API int DIB_ResizeNearY(const IMG_PARAM& src, IMG_PARAM& dst);
ENCMGR_API int DIB_ResizeNearUV(const IMG_PARAM& src, IMG_PARAM& dst);

// ---- bilinear: two stages, horizontal first, each dropping its fraction ----
// Byte 3 is not mixed: it is that of the pixel at the position.
ENCMGR_API int DIB_ResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst);
ENCMGR_API int DIB_ResizeBiLiner8(const IMG_PARAM& src, IMG_PARAM& dst);
ENCMGR_API int DIB_ResizeBiLinerY(const IMG_PARAM& src, IMG_PARAM& dst);
// Fractions are those of luma positions: a chroma plane acts like one of luma size with each sample twice.
ENCMGR_API int DIB_ResizeBiLinerUV(const IMG_PARAM& src, IMG_PARAM& dst);
// The mean of four samples one whole step apart, without multiplications.
ENCMGR_API int DIB_ResizeBiLinerY_Simulate(const IMG_PARAM& src, IMG_PARAM& dst);

// ---- cubic convolution with parameter -1, 4 by 4 taps ----
// Filters bytes 0 to 2; byte 3 is that of the pixel at the position. From double size and from half size on, inner taps
// are smoothed along the line between the outer ones. The kernel does not widen when reducing.
ENCMGR_API int DIB_ResizeConvolve(const IMG_PARAM& src, IMG_PARAM& dst);

// ---- changes of a target by what it holds ----
// Bilinear colours, not premultiplied, laid over the target by byte 3 of the pixel at the position (0 transparent, 255
// opaque). The target's byte 3 gains that opacity, but for the last column and row, where it stays.
ENCMGR_API int DIB_AlphaResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst);
ENCMGR_API int ImageAlphaResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method); // any method

// A mask of bytes stretched over 4-byte pixels: where it is 0 all four bytes become 0; elsewhere byte 3 becomes the
// mask value (nearest) or the product of both over 255, truncated (bilinear), and the colours stay. The bilinear one
// refuses a mask whose nBitCount isn't 8.
ENCMGR_API int StretchMaskResizeNear(const IMG_PARAM& src, IMG_PARAM& dst);
ENCMGR_API int StretchMaskResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst);
ENCMGR_API int ImageStretchMask(const IMG_PARAM& src, IMG_PARAM& dst); // bilinear

// ---- choice by method: 1 is nearest, 0 and 2 are bilinear, anything else refuses ----
ENCMGR_API int ImageResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method); // and 3 is convolution
ENCMGR_API int ImageResize8(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);
ENCMGR_API int ImageResizeY(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);
ENCMGR_API int ImageResizeUV(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);

// ---- whole pictures ----
// One pair of records tells the rectangle in luma pixels; their pBits and nPitch are ignored, planes and pitches stand
// apart. Return 0 for a target side below 2 and 1 otherwise, also where a plane was refused and stays as it was.

// Planar 4:2:0.
ENCMGR_API int ImageResizeYV12(const IMG_PARAM& src, unsigned char* pSrcY, unsigned char* pSrcU, unsigned char* pSrcV,
                               int nSrcPitchY, int nSrcPitchU, int nSrcPitchV, const IMG_PARAM& dst,
                               unsigned char* pDstY, unsigned char* pDstU, unsigned char* pDstV, int nDstPitchY,
                               int nDstPitchU, int nDstPitchV, IMAGE_INTERPOLATION method);

// Four planes of full resolution, all scaled as luma and with luma's margins.
ENCMGR_API int ImageResizeYV444(const IMG_PARAM& src, unsigned char* pSrc1, unsigned char* pSrc2, unsigned char* pSrc3,
                                unsigned char* pSrc4, int nSrcPitch1, int nSrcPitch2, int nSrcPitch3, int nSrcPitch4,
                                const IMG_PARAM& dst, unsigned char* pDst1, unsigned char* pDst2, unsigned char* pDst3,
                                unsigned char* pDst4, int nDstPitch1, int nDstPitch2, int nDstPitch3, int nDstPitch4,
                                IMAGE_INTERPOLATION method);

#endif // ENCMGR_IMAGE_RESIZE_H
