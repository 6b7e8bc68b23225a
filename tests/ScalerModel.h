// The definitions of all scalers, worked out anew for each byte, and images with a rectangle to try them with.
#ifndef ENCMGR_TESTS_SCALER_MODEL_H
#define ENCMGR_TESTS_SCALER_MODEL_H

#include "Common/Image/ImageResize.h"
#include "tests/Chance.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>

constexpr int mostColumns = (1 << 19) - 1;

// eightBits: of the source, which its record has to tell.
enum Trait { bottomUp = 1, chroma = 2, margins = 4, forcedColumn = 8, forcedRow = 16, forced = 24, eightBits = 32 };

enum Kind { nearest, table, bilinear, mean, convolution, overlay, replacingMask, multiplyingMask };

struct Scaler {
    const char* name;
    int (*run)(const IMG_PARAM& src, IMG_PARAM& dst);
    Kind kind;
    int srcBytes, bytes; // per pixel of source and target
    int traits;
    int least = 2; // side of a target

    bool Is(Trait trait) const { return traits & trait; }
};

// The byte at a place of the image, which for chroma is told in luma pixels.
inline unsigned char& ByteAt(const Scaler& s, const IMG_PARAM& image, int64_t column, int64_t row, int bytes, int k = 0)
{
    if (s.Is(chroma))
        column /= 2, row /= 2;
    const int64_t memoryRow = s.Is(bottomUp) ? image.nHeight - 1 - row : row;
    return image.pBits[memoryRow * image.nPitch + column * bytes + k];
}

// A rectangle, and the image around it.
struct Shape {
    int x = 0, y = 0, cx = 0, cy = 0;
    int extraPitch = 0;  // bytes
    int below = 0;       // rows
    bool upward = false; // in memory
};
enum Use { source, target };

// An image with a rectangle. A source's buffer ends with the last byte of the rectangle; a target has guards around.
// Fields that no scaler may read hold nonsense.
struct Image {
    Image(const Scaler& s, Use use, const Shape& shape)
    {
        const int right = s.Is(chroma) ? (shape.x + shape.cx + 1) / 2 : shape.x + shape.cx;
        const int rowBytes = right * (use == source ? s.srcBytes : s.bytes), pitch = rowBytes + shape.extraPitch;
        const int height = shape.y + shape.cy + shape.below;
        const int lastRow = s.Is(bottomUp) ? height - 1 - shape.y : (shape.y + shape.cy - 1) / (s.Is(chroma) ? 2 : 1);
        const size_t guard = use == target ? 61 : 0, rows = static_cast<size_t>(lastRow) * static_cast<size_t>(pitch);
        bits.resize(guard + rows + static_cast<size_t>(use == target && s.Is(margins) ? pitch : rowBytes) + guard);
        record = {bits.data() + guard + (shape.upward ? rows : 0),
                  -7,
                  s.Is(bottomUp) ? height : -7,
                  shape.upward ? -pitch : pitch,
                  use == source && s.Is(eightBits) ? 8 : -7,
                  shape.x,
                  shape.y,
                  shape.cx,
                  shape.cy};
    }

    Bytes bits;
    IMG_PARAM record;
};

// Of whole pixels and planes: what jobs use, and its like.
inline constexpr Scaler pictureScalers[] = {
    {"Near", DIB_ResizeNear, nearest, 4, 4, bottomUp | forced},
    {"Near8", DIB_ResizeNear8, table, 1, 1, forced, 1},
    {"NearY", DIB_ResizeNearY, nearest, 1, 1, margins},
    {"NearUV", DIB_ResizeNearUV, nearest, 1, 1, chroma | forcedRow},
    {"BiLiner", DIB_ResizeBiLiner, bilinear, 4, 4, bottomUp | forced},
    {"BiLiner8", DIB_ResizeBiLiner8, bilinear, 1, 1, bottomUp | forced},
    {"BiLinerY", DIB_ResizeBiLinerY, bilinear, 1, 1, margins | forcedRow},
    {"BiLinerUV", DIB_ResizeBiLinerUV, bilinear, 1, 1, chroma | forcedRow},
    {"BiLinerY_Simulate", DIB_ResizeBiLinerY_Simulate, mean, 1, 1, forcedRow},
};

// Of the toolbox alone.
inline constexpr Scaler toolboxScalers[] = {
    {"Convolve", DIB_ResizeConvolve, convolution, 4, 4, bottomUp},
    {"AlphaBiLiner", DIB_AlphaResizeBiLiner, overlay, 4, 4, bottomUp},
    {"MaskNear", StretchMaskResizeNear, replacingMask, 1, 4, bottomUp},
    {"MaskBiLiner", StretchMaskResizeBiLiner, multiplyingMask, 1, 4, bottomUp | eightBits}};

// The definition: byte k of target pixel (c, r), both counted from the rectangle's corner. A weight of 0
// reads nothing.
inline int64_t Value(const Scaler& s, const IMG_PARAM& src, const IMG_PARAM& dst, int64_t c, int64_t r, int k)
{
    const auto sample = [&](int64_t column, int64_t row, int64_t weight = 1) -> int64_t {
        return weight ? weight * ByteAt(s, src, src.x + column, src.y + row, s.bytes, k) : 0;
    };
    const bool lastColumn = s.Is(forcedColumn) && c == dst.cx - 1;
    const bool lastRow = s.Is(forcedRow) && r >= dst.cy - (s.Is(chroma) ? 2 : 1);
    if (s.kind == table) {
        const auto at = [](int64_t i, int64_t from, int64_t to) {
            return std::min((to / 2 + i * from) / to, from - 1);
        };
        return sample(lastColumn ? src.cx - 1 : at(c, src.cx, dst.cx), lastRow ? src.cy - 1 : at(r, src.cy, dst.cy));
    }
    // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): by formula only targets of two columns and rows are scaled to
    const int64_t stepX = (src.cx * 4096 - 4096) / (dst.cx - 1), stepY = (src.cy * 4096 - 4096) / (dst.cy - 1);
    const int64_t column = lastColumn ? src.cx - 1 : c * stepX / 4096, row = lastRow ? src.cy - 1 : r * stepY / 4096;
    if (s.kind == mean && !lastRow) {
        const int64_t c1 = std::min<int64_t>((c + 1) * stepX / 4096, src.cx - 1), r1 = (r + 1) * stepY / 4096;
        return (sample(column, row) + sample(c1, row) + sample(column, r1) + sample(c1, r1)) / 4;
    }
    const bool mixed = s.kind == bilinear && k < 3 && !lastColumn && !lastRow;
    const int64_t fx = mixed ? c * stepX % 4096 : 0, fy = mixed ? r * stepY % 4096 : 0;
    const auto across = [&](int64_t at) { return (sample(column, at, 4096 - fx) + sample(column + 1, at, fx)) / 4096; };
    return (across(row) * (4096 - fy) + (fy ? across(row + 1) * fy : 0)) / 4096;
}

// The point between four taps, with weights times 2^36 in whole numbers.
inline int64_t Filtered(std::array<int64_t, 4> taps, int64_t fraction, int64_t step)
{
    constexpr int64_t one = 4096, cube = one * one * one;
    const int64_t e = taps[3] - taps[0];
    if (step <= 2048 || step >= 8192) {
        taps[1] = (taps[0] + taps[1] + e / 3) / 2;
        taps[2] = (taps[0] + taps[2] + 2 * e / 3) / 2;
    }
    int64_t sum = cube / 2, at = -one;
    for (const int64_t tap : taps) {
        const int64_t d = std::abs(at - fraction);
        at += one;
        sum += tap * (d < one ? d * d * d - 2 * one * d * d + cube
                              : -d * d * d + 5 * one * d * d - 8 * one * one * d + 4 * cube);
    }
    return sum / cube; // toward zero
}

// Puts target pixel (c, r), counted from the rectangle's corner, into its place. A weight of 0 reads nothing.
inline void DefineByToolbox(const Scaler& s, const IMG_PARAM& src, const IMG_PARAM& dst, int64_t c, int64_t r)
{
    const auto sample = [&](int64_t column, int64_t row, int k, int64_t weight = 1) -> int64_t {
        return weight ? weight * ByteAt(s, src, src.x + column, src.y + row, s.srcBytes, k) : 0;
    };
    const int64_t stepX = (src.cx * 4096 - 4096) / (dst.cx - 1), stepY = (src.cy * 4096 - 4096) / (dst.cy - 1);
    const int64_t endX = src.cx - 1, endY = src.cy - 1;
    const bool forced = s.kind != convolution, lastColumn = forced && c == dst.cx - 1;
    const bool lastRow = forced && r == dst.cy - 1, plain = lastColumn || lastRow || s.kind == replacingMask;
    const int64_t x = lastColumn ? endX : c * stepX / 4096, y = lastRow ? endY : r * stepY / 4096;
    const int64_t fx = plain ? 0 : c * stepX % 4096, fy = plain ? 0 : r * stepY % 4096;
    const auto mixed = [&](int k) {
        const auto across = [&](int64_t at) { return (sample(x, at, k, 4096 - fx) + sample(x + 1, at, k, fx)) / 4096; };
        return (across(y) * (4096 - fy) + (fy ? across(y + 1) * fy : 0)) / 4096;
    };
    const auto convolved = [&](int k) {
        const auto across = [&](int64_t at) {
            return Filtered({sample(std::max<int64_t>(x - 1, 0), at, k), sample(x, at, k),
                             sample(std::min(x + 1, endX), at, k), sample(std::min(x + 2, endX), at, k)},
                            fx, stepX);
        };
        const std::array taps = {across(y > 0 ? y - 1 : y), across(y), across(y < endY ? y + 1 : y),
                                 across(y + 2 <= endY ? y + 2 : y)};
        return std::clamp<int64_t>(Filtered(taps, fy, stepY), 0, 255);
    };
    unsigned char* const p = &ByteAt(s, dst, dst.x + c, dst.y + r, 4);
    const int64_t a = sample(x, y, s.srcBytes - 1), m = forced ? mixed(0) : 0;
    for (int k = 0; k < 3; ++k)
        p[k] = static_cast<unsigned char>(s.kind == convolution ? convolved(k)
                                          : s.kind == overlay   ? (a * mixed(k) + (255 - a) * p[k]) / 255
                                                                : (m ? p[k] : 0));
    const int64_t fourth[] = {a, plain ? p[3] : a + p[3] * (255 - a) / 255, m, m * p[3] / 255};
    p[3] = static_cast<unsigned char>(fourth[s.kind - convolution]);
}

inline void Define(const Scaler& s, const IMG_PARAM& src, const IMG_PARAM& dst, int64_t c, int64_t r)
{
    if (s.kind >= convolution)
        return DefineByToolbox(s, src, dst, c, r);
    for (int k = 0; k < s.bytes; ++k)
        ByteAt(s, dst, dst.x + c, dst.y + r, s.bytes, k) = static_cast<unsigned char>(Value(s, src, dst, c, r, k));
}

// Fills both images, scales, and tells the first byte that differs from the definition; empty if none does.
inline std::string Difference(const Scaler& s, Image& src, Image& dst, Chance& chance)
{
    chance.Fill(src.bits);
    chance.Fill(dst.bits);
    const Bytes before = dst.bits;
    const IMG_PARAM given = dst.record, &to = dst.record;
    if (s.run(src.record, dst.record) != 1 || std::memcmp(&given, &to, sizeof(to)) != 0)
        return std::string(s.name) + " refuses, or changes the record";
    const Bytes result = dst.bits;
    std::copy(before.begin(), before.end(), dst.bits.begin());
    for (int r = 0; r < to.cy; r += s.Is(chroma) ? 2 : 1) {
        if (s.Is(margins))
            std::fill_n(&ByteAt(s, to, 0, to.y + r, s.bytes), to.nPitch, static_cast<unsigned char>(16));
        for (int c = 0; c < to.cx; c += s.Is(chroma) ? 2 : 1)
            Define(s, src.record, to, c, r);
    }
    const auto differs = std::mismatch(result.begin(), result.end(), dst.bits.begin());
    if (differs.first == result.end())
        return {};
    std::ostringstream text;
    text << s.name << ": " << src.record.cx << 'x' << src.record.cy << " at " << src.record.x << ',' << src.record.y
         << " to " << to.cx << 'x' << to.cy << " at " << to.x << ',' << to.y << ", byte "
         << differs.first - result.begin() << " is " << int{*differs.first} << ", not " << int{*differs.second};
    return text.str();
}

#endif // ENCMGR_TESTS_SCALER_MODEL_H
