/* EncMgr's toolbox in plain C, for programs in C and for languages that reach C: every scaler, colour conversion and
 * copy, and the audio converter. A small library of its own, libencmgr_toolbox, stands for it; it calls libEncMgr,
 * whose C++ names (Common/Image/ImageResize.h, ImageConvert.h) have the formulas. Compiles as C11 and as C++.
 *
 * All functions return 1 when the work was done and 0 when they refused, having touched nothing: null pointers, sizes
 * that aren't positive, a rectangle that doesn't lie inside its picture, a pitch shorter than a row, or what the text
 * of the function says. So no call reads or writes outside of what its records describe. Nothing is allocated but a
 * converter, nothing is kept, nothing is thrown, and any number of threads may call.
 *
 * Memory stays the caller's, needs no alignment, and source and target must not overlap. All samples have 8 bits.
 * Colours are those of ITU-R BT.601 with luma from 16 to 235.
 *
 * "Top-down" has the picture's first row first in memory, "bottom-up" last. A pitch is the bytes from one row in memory
 * to the next; a negative one goes backwards from the row at the address given.
 */
#ifndef ENCMGR_TOOLBOX_H
#define ENCMGR_TOOLBOX_H

#include "encmgr/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- scalers ----
 *
 * Each maps the rectangle of a source onto the rectangle of a target, from corner to corner. Target rectangles have two
 * columns and rows or more (encmgr_nearest_8: one), all sides are below 2^19.
 */

/* A picture of pixels side by side, or one plane, and a rectangle in it. */
typedef struct encmgr_image {
    unsigned char* bits; /* the row that comes first in memory */
    int width;           /* of the whole picture, pixels */
    int height;          /* likewise */
    int pitch;           /* bytes */
    int bits_per_pixel;  /* 32 or 8, as the function says */
    int x;               /* the rectangle, counted from the picture's upper left corner */
    int y;               /* its top row */
    int cx;              /* its width */
    int cy;              /* its height */
} encmgr_image;

/* 32 bits: B, G, R and a fourth byte, bottom-up. */
ENCMGR_API int encmgr_nearest_32(const encmgr_image* src, const encmgr_image* dst);
ENCMGR_API int encmgr_bilinear_32(const encmgr_image* src, const encmgr_image* dst);    /* fourth byte as nearest */
ENCMGR_API int encmgr_convolution_32(const encmgr_image* src, const encmgr_image* dst); /* cubic; likewise */
/* Laid over the target by the source's fourth byte: 0 is transparent, 255 opaque. Bilinear. */
ENCMGR_API int encmgr_overlay_32(const encmgr_image* src, const encmgr_image* dst);

/* 8 bits: one byte a pixel. Nearest is top-down and bilinear bottom-up. */
ENCMGR_API int encmgr_nearest_8(const encmgr_image* src, const encmgr_image* dst);
ENCMGR_API int encmgr_bilinear_8(const encmgr_image* src, const encmgr_image* dst);
/* A mask of 8 bits over a target of 32, bottom-up: where it is 0 all four bytes become 0; elsewhere the fourth byte
 * becomes the mask's (nearest) or the product of both over 255 (bilinear). */
ENCMGR_API int encmgr_mask_nearest(const encmgr_image* src, const encmgr_image* dst);
ENCMGR_API int encmgr_mask_bilinear(const encmgr_image* src, const encmgr_image* dst);

/* Planes of YUV, top-down, 8 bits. The luma scalers set what lies left and right of the target rectangle in its rows to
 * black (16) up to the pitch, which is positive; all but encmgr_mean_y. For the chroma of 4:2:0 bits and pitch are
 * the chroma plane's, and all else is in pixels of luma. */
ENCMGR_API int encmgr_nearest_y(const encmgr_image* src, const encmgr_image* dst);
ENCMGR_API int encmgr_nearest_uv(const encmgr_image* src, const encmgr_image* dst);
ENCMGR_API int encmgr_bilinear_y(const encmgr_image* src, const encmgr_image* dst);
ENCMGR_API int encmgr_bilinear_uv(const encmgr_image* src, const encmgr_image* dst);
ENCMGR_API int encmgr_mean_y(const encmgr_image* src, const encmgr_image* dst); /* of four samples a step apart */

/* ---- planar 4:2:0 ---- */

/* A picture, top-down: y has height rows of width bytes, u and v (height + 1) / 2 rows of (width + 1) / 2. */
typedef struct encmgr_planes {
    unsigned char* y; /* luma */
    unsigned char* u; /* blue difference */
    unsigned char* v; /* red difference */
    int pitch_y;      /* bytes */
    int pitch_u;      /* bytes */
    int pitch_v;      /* bytes */
    int width;        /* pixels */
    int height;       /* pixels */
} encmgr_planes;

/* A rectangle of a picture, in pixels of luma. */
typedef struct encmgr_rect {
    int x;  /* left column */
    int y;  /* top row */
    int cx; /* width */
    int cy; /* height */
} encmgr_rect;

enum { ENCMGR_NEAREST = 1, ENCMGR_BILINEAR = 2 };

/* from, to: null for the whole picture; chroma follows luma. What lies left and right of to in luma becomes black. The
 * target's pitches are positive. */
ENCMGR_API int encmgr_scale_i420(const encmgr_planes* src, const encmgr_rect* from, const encmgr_planes* dst,
                                 const encmgr_rect* to, int method);

/* To and from bitmaps without a pitch of their own: 24-bit rows are padded to a multiple of 4 bytes, 32-bit ones have 4
 * bytes a pixel. bits holds all rows of the planes' width and height. bgr is bottom-up, bgra top-down. With both sides
 * odd the pixel in the last corner isn't converted. */
ENCMGR_API int encmgr_i420_to_bgr24(const encmgr_planes* src, unsigned char* bits);
ENCMGR_API int encmgr_i420_to_bgr32(const encmgr_planes* src, unsigned char* bits); /* keeps the fourth bytes */
ENCMGR_API int encmgr_i420_to_bgra(const encmgr_planes* src, unsigned char* bits);  /* sets them to 255 */
/* Each pixel by encmgr_yuv_to_rgb. Leaves out an odd last column and row. */
ENCMGR_API int encmgr_i420_to_bgr24_rounded(const encmgr_planes* src, unsigned char* bits);

/* With an odd width rows of y are written one byte longer, so pitch_y is width + 1 or more then. */
ENCMGR_API int encmgr_bgr24_to_i420(unsigned char* bits, const encmgr_planes* dst);
ENCMGR_API int encmgr_bgr32_to_i420(unsigned char* bits, const encmgr_planes* dst);
ENCMGR_API int encmgr_bgra_to_i420(unsigned char* bits, const encmgr_planes* dst);
/* The fourth bytes go to alpha, a plane of y's size and pitch. */
ENCMGR_API int encmgr_bgr32_to_i420_alpha(unsigned char* bits, const encmgr_planes* dst, unsigned char* alpha);
/* Each pixel by encmgr_rgb_to_yuv. Leaves out an odd last column and row. */
ENCMGR_API int encmgr_bgr24_to_i420_rounded(unsigned char* bits, const encmgr_planes* dst);

/* Pixels in the order R, G, B, as numeric software has them, top-down. The fourth byte of four isn't read, and becomes
 * 255 where pixels are written. */
typedef struct encmgr_rgb {
    unsigned char* bits; /* the top row */
    int width;           /* pixels */
    int height;          /* pixels */
    int pitch;           /* bytes */
    int bytes_per_pixel; /* 3 or 4 */
} encmgr_rgb;

/* Both of one size. The bytes of encmgr_bgra_to_i420 and encmgr_i420_to_bgra; an odd last column or row counts as if
 * the picture went on with a copy of it, so that every pixel is converted, and nothing is written beyond a row. */
ENCMGR_API int encmgr_rgb_to_i420(const encmgr_rgb* src, const encmgr_planes* dst);
ENCMGR_API int encmgr_i420_to_rgb(const encmgr_planes* src, const encmgr_rgb* dst);

/* One pixel, rounded and clamped. */
ENCMGR_API int encmgr_rgb_to_yuv(int r, int g, int b, int* y, int* u, int* v);
ENCMGR_API int encmgr_yuv_to_rgb(int y, int u, int v, int* r, int* g, int* b);

/* ---- packed 4:2:2 ---- */

enum { ENCMGR_UYVY = 0, ENCMGR_YUY2 = 1 };

/* Pairs of pixels in 4 bytes, top-down. The width is even. */
typedef struct encmgr_packed {
    unsigned char* bits; /* the top row */
    int width;           /* pixels, even */
    int height;          /* pixels */
    int pitch;           /* bytes */
    int order;           /* ENCMGR_YUY2: Y0 U Y1 V; ENCMGR_UYVY: U Y0 V Y1 */
} encmgr_packed;

/* A 24-bit bitmap with a pitch, bottom-up. */
typedef struct encmgr_bitmap {
    unsigned char* bits; /* the row that comes first in memory, which is the picture's last one */
    int width;           /* pixels */
    int height;          /* pixels */
    int pitch;           /* positive */
} encmgr_bitmap;

/* Rectangles of cx columns and cy rows from (x_src, y_src) to (x_dst, y_dst). Where both sides hold pairs, an odd cx is
 * rounded up, and with planes an odd cy too; all must lie inside. */
ENCMGR_API int encmgr_bgr24_to_packed(const encmgr_bitmap* src, int x_src, int y_src, const encmgr_packed* dst,
                                      int x_dst, int y_dst, int cx, int cy);
ENCMGR_API int encmgr_packed_to_bgr24(const encmgr_packed* src, int x_src, int y_src, const encmgr_bitmap* dst,
                                      int x_dst, int y_dst, int cx, int cy);
/* Chroma is the mean of two rows, rounded down. x_src, x_dst and y_dst are even. */
ENCMGR_API int encmgr_packed_to_i420(const encmgr_packed* src, int x_src, int y_src, const encmgr_planes* dst,
                                     int x_dst, int y_dst, int cx, int cy);
/* x_src, y_src and x_dst are even. */
ENCMGR_API int encmgr_i420_to_packed(const encmgr_planes* src, int x_src, int y_src, const encmgr_packed* dst,
                                     int x_dst, int y_dst, int cx, int cy);
/* Turns one order into the other where they differ. x_src and x_dst are even. */
ENCMGR_API int encmgr_copy_packed(const encmgr_packed* src, int x_src, int y_src, const encmgr_packed* dst, int x_dst,
                                  int y_dst, int cx, int cy);
/* All corners are even. */
ENCMGR_API int encmgr_copy_i420(const encmgr_planes* src, int x_src, int y_src, const encmgr_planes* dst, int x_dst,
                                int y_dst, int cx, int cy);

/* ---- audio ---- */

/* Turns 16-bit interleaved audio from one rate and channel count, 1 or 2, into another, by linear interpolation. Counts
 * are of 16-bit values: a stereo pair is two. A converter belongs to one thread at a time, and two that convert at the
 * same moment share one running balance and may each gain or lose a sample. */
typedef struct encmgr_converter encmgr_converter;

/* Null if a rate or a channel count is refused, or memory is short. To be ended by encmgr_converter_destroy. */
ENCMGR_API encmgr_converter* encmgr_converter_create(int src_channels, int dst_channels, int src_rate, int dst_rate);
ENCMGR_API void encmgr_converter_destroy(encmgr_converter* converter); /* null is fine */
/* Takes whole sample blocks. Returns how many values wait now, or -1 if nothing was taken. */
ENCMGR_API int encmgr_converter_put(encmgr_converter* converter, const short* samples, int count);
/* Hands out up to max waiting values, the oldest first. Returns how many, or -1 for null pointers or a negative max. */
ENCMGR_API int encmgr_converter_get(encmgr_converter* converter, short* out, int max);

#ifdef __cplusplus
}
#endif

#endif /* ENCMGR_TOOLBOX_H */
