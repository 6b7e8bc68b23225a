// Pixels in the order R, G, B, as numeric software has them. The library's rows are B, G, R: a part of two rows at a
// time is brought into the other order in the processor's nearest cache, which costs little beside the conversion.
#include "Common/Image/ImageConvert.h"
#include "encmgr/encmgr_toolbox.h"
#include "toolbox/Checks.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace
{

constexpr int kPart = 512; // pixels, even
constexpr int kBgra = 4;   // bytes

// Two rows of a part as the library has them, top-down.
struct Part {
    unsigned char pixels[2 * kPart * kBgra];
    unsigned char y[2 * kPart];
    unsigned char u[kPart / 2];
    unsigned char v[kPart / 2];
};

bool IsUsable(const encmgr_rgb* rgb, const encmgr_planes* planes)
{
    if (!rgb || !rgb->bits || !IsUsable(planes) || rgb->width != planes->width || rgb->height != planes->height)
        return false;
    const int bytes = rgb->bytes_per_pixel;
    return (bytes == 3 || bytes == 4) && IsPitch(rgb->pitch, int64_t{rgb->width} * bytes, rgb->height);
}

template <int bytes> void ToBgra(const unsigned char* from, int count, unsigned char* to)
{
    for (int i = 0; i < count; ++i, from += bytes, to += kBgra) {
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
    }
}

template <int bytes> void FromBgra(const unsigned char* from, int count, unsigned char* to)
{
    for (int i = 0; i < count; ++i, from += kBgra, to += bytes) {
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
        if (bytes == 4)
            to[3] = 255;
    }
}

tagBITMAPINFOHEADER HeaderOf(int width)
{
    tagBITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = width;
    header.biHeight = 2;
    header.biPlanes = 1;
    header.biBitCount = 8 * kBgra;
    return header;
}

// Calls work(x, count, y, rows) for each part: rows is 1 in a last odd row, otherwise 2.
template <class Work> void WalkParts(int width, int height, const Work& work)
{
    for (int64_t y = 0; y < height; y += 2)
        for (int64_t x = 0; x < width; x += kPart)
            work(x, static_cast<int>(std::min<int64_t>(kPart, width - x)), y, y + 1 < height ? 2 : 1);
}

} // namespace

int encmgr_rgb_to_i420(const encmgr_rgb* src, const encmgr_planes* dst)
{
    if (!IsUsable(src, dst))
        return 0;
    const int bytes = src->bytes_per_pixel;
    Part part = {};
    WalkParts(src->width, src->height, [&](int64_t x, int count, int64_t y, int rows) {
        const int even = count + count % 2;
        for (int row = 0; row < 2; ++row) {
            const unsigned char* const from = src->bits + (y + std::min(row, rows - 1)) * src->pitch + x * bytes;
            unsigned char* const to = part.pixels + int64_t{row} * even * kBgra;
            bytes == 3 ? ToBgra<3>(from, count, to) : ToBgra<4>(from, count, to);
            if (even > count)
                std::memcpy(to + int64_t{count} * kBgra, to + int64_t{count - 1} * kBgra, kBgra);
        }
        tagBITMAPINFOHEADER header = HeaderOf(even);
        Argb_2_yuv420(part.y, part.u, part.v, kPart, kPart / 2, kPart / 2, &header, part.pixels);
        for (int row = 0; row < rows; ++row)
            std::memcpy(dst->y + (y + row) * dst->pitch_y + x, part.y + ptrdiff_t{row} * kPart,
                        static_cast<size_t>(count));
        std::memcpy(dst->u + y / 2 * dst->pitch_u + x / 2, part.u, static_cast<size_t>(even / 2));
        std::memcpy(dst->v + y / 2 * dst->pitch_v + x / 2, part.v, static_cast<size_t>(even / 2));
    });
    return 1;
}

int encmgr_i420_to_rgb(const encmgr_planes* src, const encmgr_rgb* dst)
{
    if (!IsUsable(dst, src))
        return 0;
    const int bytes = dst->bytes_per_pixel;
    Part part = {};
    WalkParts(dst->width, dst->height, [&](int64_t x, int count, int64_t y, int rows) {
        tagBITMAPINFOHEADER header = HeaderOf(count);
        // A last odd row stands for both.
        Yuv420_2_Argb(&header, part.pixels, src->y + y * src->pitch_y + x, src->u + y / 2 * src->pitch_u + x / 2,
                      src->v + y / 2 * src->pitch_v + x / 2, rows == 2 ? src->pitch_y : 0, src->pitch_u, src->pitch_v);
        for (int row = 0; row < rows; ++row) {
            unsigned char* const to = dst->bits + (y + row) * dst->pitch + x * bytes;
            const unsigned char* const from = part.pixels + int64_t{row} * count * kBgra;
            bytes == 3 ? FromBgra<3>(from, count, to) : FromBgra<4>(from, count, to);
        }
    });
    return 1;
}
