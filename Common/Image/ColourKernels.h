// The colour arithmetic of the toolbox, after ITU-R BT.601 at studio range: full-range RGB on one side, Y from 16 to
// 235 and chroma around 128 on the other, with the standard's coefficients to three decimals.
//
// Two sets, kept apart on purpose: the block kernels have 14 or 13 fractional bits and floor, the pixel functions have
// 10, round and clamp, and their results differ. All shifts are arithmetic, and no sum leaves 32 bits.
#ifndef ENCMGR_COLOUR_KERNELS_H
#define ENCMGR_COLOUR_KERNELS_H

#include <algorithm>
#include <array>
#include <cstdint>

// ---- multiplication tables: entry i is i * K ----

template <int K> constexpr std::array<int, 256> MultiplicationTable()
{
    std::array<int, 256> table = {};
    for (int i = 0; i < 256; ++i)
        table[static_cast<unsigned>(i)] = i * K;
    return table;
}

inline constexpr auto mul_1163 = MultiplicationTable<1163>();
inline constexpr auto mul_4768 = MultiplicationTable<4768>();
inline constexpr auto mul_7193 = MultiplicationTable<7193>();
inline constexpr auto mul_1606 = MultiplicationTable<1606>();
inline constexpr auto mul_8258 = MultiplicationTable<8258>();
inline constexpr auto mul_9536 = MultiplicationTable<9536>();
inline constexpr auto mul_6660 = MultiplicationTable<6660>();

// ---- block kernels, RGB to YUV, times 2^14 ----
//   Y = 0.257 R + 0.504 G + 0.098 B + 16
//   U = 0.439 B - 0.291 G - 0.148 R + 128
//   V = 0.439 R - 0.368 G - 0.071 B + 128

// The first three bytes of a pixel of a bitmap: blue, green, red.
struct Bgr {
    unsigned char b;
    unsigned char g;
    unsigned char r;

    explicit constexpr Bgr(const unsigned char* p) : b(p[0]), g(p[1]), r(p[2]) {}
};

constexpr int LumaTerm(Bgr p)
{
    return ((mul_1606[p.b] + mul_8258[p.g] + 4211 * p.r) >> 14) + 16;
}

// The chroma terms are floored pixel by pixel, and only then combined into a sample.
constexpr int CbTerm(Bgr p)
{
    return (mul_7193[p.b] - (mul_4768[p.g] + 2425 * p.r)) >> 14;
}

constexpr int CrTerm(Bgr p)
{
    return (mul_7193[p.r] - (6029 * p.g + mul_1163[p.b])) >> 14;
}

// A chroma sample from the terms of the pixels that share it. The means round down.
constexpr int ChromaMean4(int t0, int t1, int t2, int t3)
{
    return (t0 + t1 + t2 + t3 + 512) >> 2;
}

constexpr int ChromaMean2(int t0, int t1)
{
    return (t0 + t1 + 256) >> 1;
}

constexpr int ChromaMean1(int t)
{
    return t + 128;
}

// ---- block kernels, YUV to RGB, times 2^13 ----
//   R = 1.164 (Y - 16) + 1.596 (V - 128)
//   G = 1.164 (Y - 16) - 0.391 (U - 128) - 0.813 (V - 128)
//   B = 1.164 (Y - 16) + 2.018 (U - 128)
// The offsets are the decimals' products, rounded once: folding the rounded coefficients gives other results.

constexpr int BlueBase(int u)
{
    return 16532 * u - 2268594;
}

constexpr int GreenBase(int u, int v)
{
    return 1109918 - mul_6660[static_cast<unsigned>(v)] - 3203 * u;
}

constexpr int RedBase(int v)
{
    return 13074 * v - 1826095;
}

// The share of U and V in all the pixels that have them in common.
struct ChromaBases {
    int blue;
    int green;
    int red;

    constexpr ChromaBases(unsigned char u, unsigned char v) : blue(BlueBase(u)), green(GreenBase(u, v)), red(RedBase(v))
    {
    }
};

constexpr unsigned char ClampToByte(int value)
{
    return static_cast<unsigned char>(std::clamp(value, 0, 255));
}

// Writes blue, green and red.
constexpr void PixelFromBase(const ChromaBases& bases, unsigned char y, unsigned char* out)
{
    const int s = mul_9536[y];
    out[0] = ClampToByte((bases.blue + s) >> 13);
    out[1] = ClampToByte((bases.green + s) >> 13);
    out[2] = ClampToByte((bases.red + s) >> 13);
}

// ---- pixel functions, times 2^10, rounded and clamped ----

struct YuvPixel {
    int y;
    int u;
    int v;
};

struct RgbPixel {
    int r;
    int g;
    int b;
};

// 64 bits, so that arguments beyond a byte clamp too.
constexpr int RoundTenBits(int64_t sum, int low, int high)
{
    return static_cast<int>(std::clamp<int64_t>(sum >> 10, low, high));
}

constexpr YuvPixel RoundedYuv(int64_t r, int64_t g, int64_t b)
{
    return {RoundTenBits(263 * r + 516 * g + 100 * b + 16896, 16, 235),
            RoundTenBits(450 * b - 152 * r - 298 * g + 131584, 16, 240),
            RoundTenBits(450 * r - 377 * g - 73 * b + 131584, 16, 240)};
}

constexpr RgbPixel RoundedRgb(int64_t y, int64_t u, int64_t v)
{
    return {RoundTenBits(1192 * y + 1634 * v - 227712, 0, 255),
            RoundTenBits(1192 * y - 833 * v - 401 * u + 139392, 0, 255),
            RoundTenBits(1192 * y + 2065 * u - 282880, 0, 255)};
}

#endif // ENCMGR_COLOUR_KERNELS_H
