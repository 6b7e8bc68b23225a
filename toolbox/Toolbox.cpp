// The toolbox in plain C: checks what the records describe, and calls the library. What the library's functions would
// assert is refused here.
#include "encmgr/encmgr_toolbox.h"

#include "Common/Audio/AudioConverter.h"
#include "Common/Image/ImageConvert.h"
#include "Common/Image/ImageResize.h"
#include "toolbox/Checks.h"

#include <cstdint>
#include <new>

struct encmgr_converter {
    CAudioConverter converter;
    int srcChannels;
};

namespace
{

bool IsInside(int at, int64_t count, int size)
{
    return at >= 0 && count > 0 && at + count <= size;
}

int64_t Even(int count)
{
    return int64_t{count} + (count & 1);
}

bool AreEven(int a, int b, int c, int d)
{
    return ((a | b | c | d) & 1) == 0;
}

// ---- scalers ----

using Scaler = int (*)(const IMG_PARAM&, IMG_PARAM&);

IMG_PARAM ParamOf(const encmgr_image& image)
{
    return {image.bits, image.width, image.height, image.pitch, image.bits_per_pixel,
            image.x,    image.y,     image.cx,     image.cy};
}

// sampling: pixels for each of the plane's samples along a side.
bool IsUsable(const encmgr_image* image, int bits, int sampling = 1)
{
    if (!image || !image->bits || image->bits_per_pixel != bits || !IsInside(image->x, image->cx, image->width) ||
        !IsInside(image->y, image->cy, image->height))
        return false;
    const int width = sampling == 2 ? Chroma(image->width) : image->width;
    return IsPitch(image->pitch, int64_t{width} * (bits / 8), sampling == 2 ? Chroma(image->height) : image->height);
}

int Scale(Scaler scaler, const encmgr_image* src, int srcBits, const encmgr_image* dst, int dstBits)
{
    if (!IsUsable(src, srcBits) || !IsUsable(dst, dstBits))
        return 0;
    IMG_PARAM target = ParamOf(*dst);
    return scaler(ParamOf(*src), target);
}

int ScaleLuma(Scaler scaler, const encmgr_image* src, const encmgr_image* dst)
{
    return dst && dst->pitch >= dst->width ? Scale(scaler, src, 8, dst, 8) : 0;
}

int ScaleChroma(Scaler scaler, const encmgr_image* src, const encmgr_image* dst)
{
    if (!IsUsable(src, 8, 2) || !IsUsable(dst, 8, 2))
        return 0;
    IMG_PARAM target = ParamOf(*dst);
    return scaler(ParamOf(*src), target);
}

// ---- planar 4:2:0 ----

bool AscendsInMemory(const encmgr_planes& planes)
{
    return planes.pitch_y >= planes.width && planes.pitch_u >= Chroma(planes.width) &&
           planes.pitch_v >= Chroma(planes.width);
}

encmgr_image LumaOf(const encmgr_planes& planes, const encmgr_rect* rect)
{
    const encmgr_rect whole = {0, 0, planes.width, planes.height};
    const encmgr_rect& r = rect ? *rect : whole;
    return {planes.y, planes.width, planes.height, planes.pitch_y, 8, r.x, r.y, r.cx, r.cy};
}

tagBITMAPINFOHEADER HeaderOf(const encmgr_planes& planes, int bits)
{
    tagBITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = planes.width;
    header.biHeight = planes.height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<uint16_t>(bits);
    return header;
}

int ToBitmap(decltype(Yuv420_2_rgb24)* convert, int bitCount, const encmgr_planes* src, unsigned char* bits)
{
    if (!IsUsable(src) || !bits)
        return 0;
    tagBITMAPINFOHEADER header = HeaderOf(*src, bitCount);
    convert(&header, bits, src->y, src->u, src->v, src->pitch_y, src->pitch_u, src->pitch_v);
    return 1;
}

// Luma rows of an odd width have a sample more.
bool IsBitmapTarget(const encmgr_planes* dst)
{
    return IsUsable(dst) && IsPitch(dst->pitch_y, Even(dst->width), 2);
}

int FromBitmap(decltype(Rgb24_2_yuv420)* convert, int bitCount, unsigned char* bits, const encmgr_planes* dst)
{
    if (!IsBitmapTarget(dst) || !bits)
        return 0;
    tagBITMAPINFOHEADER header = HeaderOf(*dst, bitCount);
    convert(dst->y, dst->u, dst->v, dst->pitch_y, dst->pitch_u, dst->pitch_v, &header, bits);
    return 1;
}

// ---- packed 4:2:2 ----

bool IsUsable(const encmgr_packed* packed)
{
    return packed && packed->bits && packed->width > 0 && packed->width % 2 == 0 && packed->height > 0 &&
           (packed->order == ENCMGR_YUY2 || packed->order == ENCMGR_UYVY) &&
           packed->pitch >= int64_t{packed->width} * 2;
}

bool IsUsable(const encmgr_bitmap* bitmap)
{
    return bitmap && bitmap->bits && bitmap->width > 0 && bitmap->height > 0 &&
           bitmap->pitch >= int64_t{bitmap->width} * 3;
}

// Whether the rectangles lie inside of two pictures of any kind.
template <class Source, class Target>
bool AreInside(const Source* src, int xSrc, int ySrc, const Target* dst, int xDst, int yDst, int64_t cx, int64_t cy)
{
    return IsUsable(src) && IsUsable(dst) && IsInside(xSrc, cx, src->width) && IsInside(ySrc, cy, src->height) &&
           IsInside(xDst, cx, dst->width) && IsInside(yDst, cy, dst->height);
}

} // namespace

int encmgr_nearest_32(const encmgr_image* src, const encmgr_image* dst)
{
    return Scale(DIB_ResizeNear, src, 32, dst, 32);
}

int encmgr_bilinear_32(const encmgr_image* src, const encmgr_image* dst)
{
    return Scale(DIB_ResizeBiLiner, src, 32, dst, 32);
}

int encmgr_convolution_32(const encmgr_image* src, const encmgr_image* dst)
{
    return Scale(DIB_ResizeConvolve, src, 32, dst, 32);
}

int encmgr_overlay_32(const encmgr_image* src, const encmgr_image* dst)
{
    return Scale(DIB_AlphaResizeBiLiner, src, 32, dst, 32);
}

int encmgr_nearest_8(const encmgr_image* src, const encmgr_image* dst)
{
    return Scale(DIB_ResizeNear8, src, 8, dst, 8);
}

int encmgr_bilinear_8(const encmgr_image* src, const encmgr_image* dst)
{
    return Scale(DIB_ResizeBiLiner8, src, 8, dst, 8);
}

int encmgr_mask_nearest(const encmgr_image* src, const encmgr_image* dst)
{
    return Scale(StretchMaskResizeNear, src, 8, dst, 32);
}

int encmgr_mask_bilinear(const encmgr_image* src, const encmgr_image* dst)
{
    return Scale(StretchMaskResizeBiLiner, src, 8, dst, 32);
}

int encmgr_nearest_y(const encmgr_image* src, const encmgr_image* dst)
{
    return ScaleLuma(DIB_ResizeNearY, src, dst);
}

int encmgr_nearest_uv(const encmgr_image* src, const encmgr_image* dst)
{
    return ScaleChroma(DIB_ResizeNearUV, src, dst);
}

int encmgr_bilinear_y(const encmgr_image* src, const encmgr_image* dst)
{
    return ScaleLuma(DIB_ResizeBiLinerY, src, dst);
}

int encmgr_bilinear_uv(const encmgr_image* src, const encmgr_image* dst)
{
    return ScaleChroma(DIB_ResizeBiLinerUV, src, dst);
}

int encmgr_mean_y(const encmgr_image* src, const encmgr_image* dst)
{
    return ScaleLuma(DIB_ResizeBiLinerY_Simulate, src, dst);
}

int encmgr_scale_i420(const encmgr_planes* src, const encmgr_rect* from, const encmgr_planes* dst,
                      const encmgr_rect* to, int method)
{
    constexpr int kLargestSide = (1 << 19) - 1;
    if (!IsUsable(src) || !IsUsable(dst) || !AscendsInMemory(*dst) ||
        (method != ENCMGR_NEAREST && method != ENCMGR_BILINEAR))
        return 0;
    const encmgr_image source = LumaOf(*src, from), target = LumaOf(*dst, to);
    if (!IsUsable(&source, 8) || !IsUsable(&target, 8) || target.cx < 2 || target.cy < 2)
        return 0;
    for (const int side : {source.cx, source.cy, target.cx, target.cy}) {
        if (side > kLargestSide)
            return 0;
    }
    return ImageResizeYV12(ParamOf(source), src->y, src->u, src->v, src->pitch_y, src->pitch_u, src->pitch_v,
                           ParamOf(target), dst->y, dst->u, dst->v, dst->pitch_y, dst->pitch_u, dst->pitch_v,
                           static_cast<IMAGE_INTERPOLATION>(method));
}

int encmgr_i420_to_bgr24(const encmgr_planes* src, unsigned char* bits)
{
    return ToBitmap(Yuv420_2_rgb24, 24, src, bits);
}

int encmgr_i420_to_bgr32(const encmgr_planes* src, unsigned char* bits)
{
    return ToBitmap(Yuv420_2_rgb32, 32, src, bits);
}

int encmgr_i420_to_bgra(const encmgr_planes* src, unsigned char* bits)
{
    return ToBitmap(Yuv420_2_Argb, 32, src, bits);
}

int encmgr_i420_to_bgr24_rounded(const encmgr_planes* src, unsigned char* bits)
{
    return ToBitmap(Yuv420_2_rgb24Simple, 24, src, bits);
}

int encmgr_bgr24_to_i420(unsigned char* bits, const encmgr_planes* dst)
{
    return FromBitmap(Rgb24_2_yuv420, 24, bits, dst);
}

int encmgr_bgr32_to_i420(unsigned char* bits, const encmgr_planes* dst)
{
    return FromBitmap(Rgb32_2_yuv420, 32, bits, dst);
}

int encmgr_bgra_to_i420(unsigned char* bits, const encmgr_planes* dst)
{
    return FromBitmap(Argb_2_yuv420, 32, bits, dst);
}

int encmgr_bgr32_to_i420_alpha(unsigned char* bits, const encmgr_planes* dst, unsigned char* alpha)
{
    if (!IsBitmapTarget(dst) || !bits || !alpha)
        return 0;
    tagBITMAPINFOHEADER header = HeaderOf(*dst, 32);
    Rgb32_2_yuv420A(dst->y, dst->u, dst->v, alpha, dst->pitch_y, dst->pitch_u, dst->pitch_v, &header, bits);
    return 1;
}

int encmgr_bgr24_to_i420_rounded(unsigned char* bits, const encmgr_planes* dst)
{
    return FromBitmap(Rgb24_2_yuv420Simple, 24, bits, dst);
}

int encmgr_rgb_to_yuv(int r, int g, int b, int* y, int* u, int* v)
{
    if (!y || !u || !v || ((r | g | b) & ~0xFF) != 0)
        return 0;
    PixelRGB_2_YUV(r, g, b, *y, *u, *v);
    return 1;
}

int encmgr_yuv_to_rgb(int y, int u, int v, int* r, int* g, int* b)
{
    if (!r || !g || !b || ((y | u | v) & ~0xFF) != 0)
        return 0;
    PixelYUV_2_RGB(y, u, v, *r, *g, *b);
    return 1;
}

int encmgr_bgr24_to_packed(const encmgr_bitmap* src, int x_src, int y_src, const encmgr_packed* dst, int x_dst,
                           int y_dst, int cx, int cy)
{
    if (!AreInside(src, x_src, y_src, dst, x_dst, y_dst, cx, cy))
        return 0;
    Rgb24_2_YUY2(dst->bits, dst->pitch, x_dst, y_dst, cx, cy, static_cast<unsigned>(dst->order), src->bits, src->height,
                 src->pitch, x_src, y_src);
    return 1;
}

int encmgr_packed_to_bgr24(const encmgr_packed* src, int x_src, int y_src, const encmgr_bitmap* dst, int x_dst,
                           int y_dst, int cx, int cy)
{
    if (!AreInside(src, x_src, y_src, dst, x_dst, y_dst, cx, cy))
        return 0;
    YUY2_2_Rgb24(dst->bits, dst->height, dst->pitch, x_dst, y_dst, cx, cy, src->bits, src->pitch,
                 static_cast<unsigned>(src->order), x_src, y_src);
    return 1;
}

int encmgr_packed_to_i420(const encmgr_packed* src, int x_src, int y_src, const encmgr_planes* dst, int x_dst,
                          int y_dst, int cx, int cy)
{
    if (!AreEven(x_src, x_dst, y_dst, 0) || !AreInside(src, x_src, y_src, dst, x_dst, y_dst, Even(cx), Even(cy)) ||
        !AscendsInMemory(*dst))
        return 0;
    // From the target's corner on, so that what the conversion asserts of its chroma rows holds wherever they lie.
    const auto corner = [](unsigned char* plane, int pitch, int x, int y) {
        return plane + static_cast<ptrdiff_t>(pitch) * y + x;
    };
    YUY2_2_Yuv420(corner(dst->y, dst->pitch_y, x_dst, y_dst), corner(dst->u, dst->pitch_u, x_dst / 2, y_dst / 2),
                  corner(dst->v, dst->pitch_v, x_dst / 2, y_dst / 2), dst->pitch_y, dst->pitch_u, dst->pitch_v, 0, 0,
                  cx, cy, src->bits, src->pitch, static_cast<unsigned>(src->order), x_src, y_src);
    return 1;
}

int encmgr_i420_to_packed(const encmgr_planes* src, int x_src, int y_src, const encmgr_packed* dst, int x_dst,
                          int y_dst, int cx, int cy)
{
    if (!AreEven(x_src, y_src, x_dst, 0) || !AreInside(src, x_src, y_src, dst, x_dst, y_dst, Even(cx), Even(cy)))
        return 0;
    Yuv420_2_YUY2(dst->bits, dst->pitch, x_dst, y_dst, cx, cy, static_cast<unsigned>(dst->order), src->y, src->u,
                  src->v, src->pitch_y, src->pitch_u, src->pitch_v, x_src, y_src);
    return 1;
}

int encmgr_copy_packed(const encmgr_packed* src, int x_src, int y_src, const encmgr_packed* dst, int x_dst, int y_dst,
                       int cx, int cy)
{
    if (!AreEven(x_src, x_dst, 0, 0) || !AreInside(src, x_src, y_src, dst, x_dst, y_dst, Even(cx), cy))
        return 0;
    YUY2_Blt_fast(dst->bits, dst->pitch, x_dst, y_dst, cx, cy, static_cast<unsigned>(dst->order), src->bits, src->pitch,
                  static_cast<unsigned>(src->order), x_src, y_src);
    return 1;
}

int encmgr_copy_i420(const encmgr_planes* src, int x_src, int y_src, const encmgr_planes* dst, int x_dst, int y_dst,
                     int cx, int cy)
{
    if (!AreEven(x_src, y_src, x_dst, y_dst) || !AreInside(src, x_src, y_src, dst, x_dst, y_dst, cx, Even(cy)))
        return 0;
    YV12_Blt_fast(dst->y, dst->u, dst->v, dst->pitch_y, dst->pitch_u, dst->pitch_v, x_dst, y_dst, cx, y_dst + cy,
                  src->y, src->u, src->v, src->pitch_y, src->pitch_u, src->pitch_v, x_src, y_src);
    return 1;
}

encmgr_converter* encmgr_converter_create(int src_channels, int dst_channels, int src_rate, int dst_rate)
{
    if (src_channels < 1 || src_channels > 2 || dst_channels < 1 || dst_channels > 2 || src_rate < 1 || dst_rate < 1)
        return nullptr;
    try {
        return new encmgr_converter{{src_channels, dst_channels, src_rate, dst_rate, 0}, src_channels};
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void encmgr_converter_destroy(encmgr_converter* converter)
{
    delete converter;
}

int encmgr_converter_put(encmgr_converter* converter, const short* samples, int count)
{
    if (!converter || !samples || count <= 0 || count % converter->srcChannels != 0)
        return -1;
    try {
        return converter->converter.Put(samples, count);
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

int encmgr_converter_get(encmgr_converter* converter, short* out, int max)
{
    return converter && out && max >= 0 ? converter->converter.Get(out, max) : -1;
}
