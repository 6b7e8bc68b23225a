// The formulas of all colour conversions, worked out anew for each pixel of a picture or a rectangle.
#ifndef ENCMGR_TESTS_COLOUR_MODEL_H
#define ENCMGR_TESTS_COLOUR_MODEL_H

#include "Common/Image/ImageConvert.h"
#include "tests/Chance.h"

#include <algorithm>
#include <array>
#include <deque>
#include <string>
#include <vector>

using Triple = std::array<int, 3>;

// Sums of products with an offset, over 2^bits and rounded down, each clamped to a range.
struct Matrix {
    int bits;
    int row[3][6];
};
inline constexpr Matrix fromBgr = {14,
                                   {{1606, 8258, 4211, 16 << 14, 0, 255},
                                    {7193, -4768, -2425, 1 << 21, 0, 255},
                                    {-1163, -6029, 7193, 1 << 21, 0, 255}}};
inline constexpr Matrix fromBgrRounded = {
    10, {{100, 516, 263, 16896, 16, 235}, {450, -298, -152, 131584, 16, 240}, {-73, -377, 450, 131584, 16, 240}}};
inline constexpr Matrix fromYuv = {
    13,
    {{9536, 16532, 0, -2268594, 0, 255}, {9536, -3203, -6660, 1109918, 0, 255}, {9536, 0, 13074, -1826095, 0, 255}}};
inline constexpr Matrix fromYuvRounded = {
    10, {{1192, 2065, 0, -282880, 0, 255}, {1192, -401, -833, 139392, 0, 255}, {1192, 0, 1634, -227712, 0, 255}}};

inline Triple operator*(const Matrix& m, const Triple& t)
{
    const auto product = [&](const int(&row)[6]) {
        return std::clamp((row[0] * t[0] + row[1] * t[1] + row[2] * t[2] + row[3]) >> m.bits, row[4], row[5]);
    };
    return {product(m.row[0]), product(m.row[1]), product(m.row[2])};
}

constexpr unsigned char Byte(int value)
{
    return static_cast<unsigned char>(value);
}

inline void Put(const Triple& bgr, unsigned char* pixel)
{
    std::transform(bgr.begin(), bgr.end(), pixel, Byte);
}

// Rows in memory, and what they held or hold else.
struct Plane {
    unsigned char* At(int row, int byte) { return first + row * pitch + byte; }

    Bytes bits, other;
    unsigned char* first;
    int pitch;
};

// Between bitmaps and planar pictures. The one without a function is that with an alpha plane.
struct Converter {
    int bytes; // per pixel of the bitmap
    bool topDown, simple;
    decltype(&Yuv420_2_rgb24) toBitmap;
    decltype(&Rgb24_2_yuv420) toPlanes;

    void Run(tagBITMAPINFOHEADER* header, unsigned char* bits, unsigned char* y, unsigned char* u, unsigned char* v,
             unsigned char* a, int pitchY, int pitchU, int pitchV) const
    {
        if (toBitmap)
            toBitmap(header, bits, y, u, v, pitchY, pitchU, pitchV);
        else if (toPlanes)
            toPlanes(y, u, v, pitchY, pitchU, pitchV, header, bits);
        else
            Rgb32_2_yuv420A(y, u, v, a, pitchY, pitchU, pitchV, header, bits);
    }
};
inline constexpr Converter converters[] = {
    {3, false, false, Yuv420_2_rgb24, nullptr},      {4, false, false, Yuv420_2_rgb32, nullptr},
    {4, true, false, Yuv420_2_Argb, nullptr},        {3, false, true, Yuv420_2_rgb24Simple, nullptr},
    {3, false, false, nullptr, Rgb24_2_yuv420},      {4, false, false, nullptr, Rgb32_2_yuv420},
    {4, true, false, nullptr, Argb_2_yuv420},        {4, false, false, nullptr, nullptr},
    {3, false, true, nullptr, Rgb24_2_yuv420Simple},
};

inline tagBITMAPINFOHEADER Header(const Converter& c, int width, int height)
{
    return {7, width, height, 7, static_cast<uint16_t>(c.simple ? 7 : c.bytes * 8), 7, 7, 7, 7, 7, 7};
}

// Conversions of one size, the rest by chance. Each tells the first plane that differs from its definition; nothing if
// none does.
class ColourTrial
{
public:
    explicit ColourTrial(Chance& chance) : m_chance(chance) {}

    std::string Picture(const Converter& c, int w);
    std::string Rectangles(int cx);

private:
    int Random(int low, int high) { return m_chance.Random(low, high); }

    // Planes for one trial. A source ends with the last row's last byte; a target has guards around.
    Plane& Source(int bytes, int rows) { return Add(0, bytes, rows, Random(0, 5), Random(0, 1)); }
    Plane& Target(int bytes, int rows) { return Add(61, bytes, rows, Random(0, 5), Random(0, 1)); }
    Plane& Add(size_t guard, int bytes, int rows, int extraPitch, bool upward = false)
    {
        const int pitch = bytes + extraPitch, last = (rows - 1) * pitch;
        Plane& plane = m_planes.emplace_back();
        plane.bits.resize(guard + static_cast<size_t>(last + bytes) + guard);
        m_chance.Fill(plane.bits);
        plane.other = plane.bits;
        plane.first = plane.bits.data() + guard + (upward ? last : 0);
        plane.pitch = upward ? -pitch : pitch;
        return plane;
    }

    // Stands between conversions and their definitions, which write the targets byte by byte.
    void Rewind()
    {
        for (Plane& plane : m_planes)
            std::swap_ranges(plane.bits.begin(), plane.bits.end(), plane.other.begin());
    }
    std::string Compare(const std::string& what, int width)
    {
        for (size_t i = 0; i < m_planes.size(); ++i)
            if (m_planes[i].bits != m_planes[i].other)
                return what + ", plane " + std::to_string(i) + ", width " + std::to_string(width);
        return {};
    }

    Chance& m_chance;
    std::deque<Plane> m_planes;
};

inline std::string ColourTrial::Picture(const Converter& c, int w)
{
    const int h = Random(1, 6), cw = (w + 1) / 2, ch = (h + 1) / 2;
    const int extra = Random(0, 5), upward = Random(0, 1), wide = c.toBitmap || c.simple ? w : (w + 1) / 2 * 2;
    const size_t guard = c.toBitmap ? 0 : 61;
    Plane& bitmap = Add(61 - guard, w * c.bytes, h, c.bytes == 3 ? w % 4 : 0);
    Plane &y = Add(guard, wide, h, extra, upward), &a = Add(guard, wide, h, extra, upward);
    Plane &u = Add(guard, cw, ch, Random(0, 5), upward), &v = Add(guard, cw, ch, Random(0, 5), !upward);
    tagBITMAPINFOHEADER header = Header(c, w, h);
    c.Run(&header, bitmap.first, y.first, u.first, v.first, a.first, y.pitch, u.pitch, v.pitch);
    Rewind();
    std::vector<Triple> sums(static_cast<size_t>(cw * ch)); // of each block: count, U, V
    for (int k = 0; k < w * h; ++k) {
        const int x = k % w, r = k / w, oddX = w % 2 && x == w - 1, oddY = h % 2 && r == h - 1;
        if (oddX + oddY > (c.simple ? 0 : 1))
            continue; // stays as it was
        unsigned char* const p = bitmap.At(c.topDown ? r : h - 1 - r, x * c.bytes);
        unsigned char *const inU = u.At(r / 2, x / 2), *const inV = v.At(r / 2, x / 2);
        if (c.toBitmap) {
            Put((c.simple ? fromYuvRounded : fromYuv) * Triple{*y.At(r, x), *inU, *inV}, p);
            if (c.topDown)
                p[3] = 255;
            continue;
        }
        const Triple yuv = (c.simple ? fromBgrRounded : fromBgr) * Triple{p[0], p[1], p[2]};
        std::fill_n(y.At(r, x), 1 + oddX, Byte(yuv[0]));
        if (!c.toPlanes)
            std::fill_n(a.At(r, x), 1 + oddX, p[3]);
        Triple& sum = sums[static_cast<size_t>(r / 2 * cw + x / 2)];
        ++sum[0];
        *inU = Byte((sum[1] += yuv[1]) / sum[0]); // the block's last pixel completes it
        *inV = Byte((sum[2] += yuv[2]) / sum[0]);
    }
    return Compare("converter " + std::to_string(&c - converters), w);
}

inline std::string ColourTrial::Rectangles(int cx)
{
    static constexpr unsigned orders[] = {0, 1, 2, 0x80000000};
    const int cy = Random(1, 5), pairs = (cx + 1) / 2, rows = (cy + 1) / 2 * 2;
    const int xs = Random(0, 5), ys = Random(0, 5), xd = Random(0, 5), yd = Random(0, 2 * ys + 1);
    const int heightS = ys + cy + Random(0, 2), heightD = yd + cy + Random(0, 2);
    const unsigned order = orders[Random(0, 3)], other = orders[Random(0, 3)];
    const int atY = order ? 0 : 1, atU = 1 - atY, atV = atU + 2; // offsets in a pair
    const int swap = order != other, bytes = swap ? 4 * pairs : 2 * cx, cs = (xs + 1) / 2, cd = (xd + 1) / 2;

    Plane &bgr = Add(0, 3 * (xs + cx), heightS, cx % 7), &toPairs = Add(61, (xd + cx + 1) / 2 * 4, yd + cy, cx % 5);
    Plane &ofPairs = Source((xs + cx + 1) / 2 * 4, ys + cy), &toBgr = Target(3 * (xd + cx), heightD);
    Plane &blocks = Source(2 * xs + 4 * pairs, ys + rows), &toBlocks = Target(2 * xd + 4 * pairs, yd + rows);
    Plane &y = Source(xs + 2 * pairs, ys + rows), &toY = Target(xd + 2 * pairs, yd + rows);
    Plane &u = Source(xs / 2 + pairs, ys / 2 + rows / 2), &toU = Target(xd / 2 + pairs, (yd + rows) / 2);
    Plane &v = Source(xs / 2 + pairs, ys / 2 + rows / 2), &toV = Add(61, xd / 2 + pairs, (yd + rows) / 2, cx % 3);
    Plane &packed = Source(2 * xs + bytes, ys + cy), &toPacked = Target(2 * xd + bytes, yd + cy);
    Plane &y2 = Source(xs + cx, ys + rows), &toY2 = Target(xd + cx, yd + rows);
    Plane &u2 = Source(cs + pairs, ys / 2 + rows / 2), &toU2 = Target(cd + pairs, (yd + rows) / 2);
    Plane &v2 = Source(cs + pairs, ys / 2 + rows / 2), &toV2 = Target(cd + pairs, (yd + rows) / 2);
    Rgb24_2_YUY2(toPairs.first, toPairs.pitch, xd, yd, cx, cy, order, bgr.first, heightS, bgr.pitch, xs, ys);
    YUY2_2_Rgb24(toBgr.first, heightD, toBgr.pitch, xd, yd, cx, cy, ofPairs.first, ofPairs.pitch, order, xs, ys);
    YUY2_2_Yuv420(toY.first, toU.first, toV.first, toY.pitch, toU.pitch, toV.pitch, xd, yd, cx, cy, blocks.first,
                  blocks.pitch, order, xs, ys);
    Yuv420_2_YUY2(toBlocks.first, toBlocks.pitch, xd, yd, cx, cy, order, y.first, u.first, v.first, y.pitch, u.pitch,
                  v.pitch, xs, ys);
    YUY2_Blt_fast(toPacked.first, toPacked.pitch, xd, yd, cx, cy, order, packed.first, packed.pitch, other, xs, ys);
    YV12_Blt_fast(toY2.first, toU2.first, toV2.first, toY2.pitch, toU2.pitch, toV2.pitch, xd, yd, cx, yd + cy, y2.first,
                  u2.first, v2.first, y2.pitch, u2.pitch, v2.pitch, xs, ys);
    Rewind();
    for (int r = 0; r < cy; ++r) {
        for (int k = 0; k < cx; ++k) {
            const int x = xd + k, partner = (x ^ 1) - xd;
            const bool both = partner >= 0 && partner < cx;
            const unsigned char* const p = bgr.At(heightS - 1 - ys - r, 3 * (xs + k));
            const unsigned char* const q = both ? p + 3 * (partner - k) : p;
            const Triple own = fromBgr * Triple{p[0], p[1], p[2]}, its = fromBgr * Triple{q[0], q[1], q[2]};
            unsigned char* const pair = toPairs.At(yd + r, x / 2 * 4);
            pair[x % 2 * 2 + atY] = Byte(own[0]);
            if (!both && x % 2 == 0)
                pair[2 + atY] = Byte(own[0]);
            pair[atU] = Byte((own[1] + its[1]) / 2);
            pair[atV] = Byte((own[2] + its[2]) / 2);
            const unsigned char* const from = ofPairs.At(ys + r, (xs + k) / 2 * 4);
            Put(fromYuv * Triple{from[(xs + k) % 2 * 2 + atY], from[atU], from[atV]},
                toBgr.At(heightD - 1 - yd - r, 3 * (xd + k)));
        }
        for (int k = 0; k < bytes; ++k)
            *toPacked.At(yd + r, 2 * xd + k) = *packed.At(ys + r, 2 * xs + (k ^ swap));
    }
    for (int r = 0; r < rows; ++r) {
        const int rs = ys / 2 + r / 2, rd = yd / 2 + r / 2; // of chroma
        for (int k = 0; k < 2 * pairs; ++k) {
            const unsigned char* const upper = blocks.At(ys + r / 2 * 2, 2 * xs + k / 2 * 4);
            *toY.At(yd + r, xd + k) = *blocks.At(ys + r, 2 * (xs + k) + atY);
            *toU.At(rd, xd / 2 + k / 2) = Byte((upper[atU] + upper[blocks.pitch + atU]) / 2);
            *toV.At(rd, xd / 2 + k / 2) = Byte((upper[atV] + upper[blocks.pitch + atV]) / 2);
            unsigned char* const pair = toBlocks.At(yd + r, 2 * xd + k / 2 * 4);
            pair[k % 2 * 2 + atY] = *y.At(ys + r, xs + k);
            pair[atU] = *u.At(rs, xs / 2 + k / 2);
            pair[atV] = *v.At(rs, xs / 2 + k / 2);
        }
        std::copy_n(y2.At(ys + r, xs), cx, toY2.At(yd + r, xd));
        std::copy_n(u2.At(rs, cs), pairs, toU2.At(rd, cd));
        std::copy_n(v2.At(rs, cs), pairs, toV2.At(rd, cd));
    }
    return Compare("rectangles", cx);
}

#endif // ENCMGR_TESTS_COLOUR_MODEL_H
