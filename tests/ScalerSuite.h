// What the tests of all scalers share: images with a rectangle, and what holds for every scaler.
#ifndef ENCMGR_TESTS_SCALER_SUITE_H
#define ENCMGR_TESTS_SCALER_SUITE_H

#include "Common/Image/ImageResize.h"
#include "tests/InstructionSets.h"

#include <algorithm>
#include <climits>
#include <cstring>

constexpr int mostColumns = (1 << 19) - 1;

// eightBits: of the source, which its record has to tell.
enum Trait { bottomUp = 1, chroma = 2, margins = 4, forcedColumn = 8, forcedRow = 16, forced = 24, eightBits = 32 };

struct Scaler {
    const char* name;
    int (*run)(const IMG_PARAM& src, IMG_PARAM& dst);
    int kind;            // of the suite's definitions
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

class ScalerSuite : public AtEachSet
{
protected:
    // Puts target pixel (c, r), counted from the rectangle's corner, into its place.
    virtual void Define(const Scaler& s, const IMG_PARAM& src, const IMG_PARAM& dst, int64_t c, int64_t r) = 0;

    void Check(const Scaler& s, Image& src, Image& dst)
    {
        Fill(src.bits);
        Fill(dst.bits);
        const Bytes before = dst.bits;
        const IMG_PARAM given = dst.record, &to = dst.record;
        ASSERT_EQ(s.run(src.record, dst.record), 1);
        ASSERT_EQ(std::memcmp(&given, &to, sizeof(to)), 0) << s.name;
        const Bytes result = dst.bits;
        std::copy(before.begin(), before.end(), dst.bits.begin());
        for (int r = 0; r < to.cy; r += s.Is(chroma) ? 2 : 1) {
            if (s.Is(margins))
                std::fill_n(&ByteAt(s, to, 0, to.y + r, s.bytes), to.nPitch, static_cast<unsigned char>(16));
            for (int c = 0; c < to.cx; c += s.Is(chroma) ? 2 : 1)
                Define(s, src.record, to, c, r);
        }
        const auto differs = std::mismatch(result.begin(), result.end(), dst.bits.begin());
        ASSERT_EQ(differs.first, result.end())
            << s.name << ": " << src.record.cx << 'x' << src.record.cy << " at " << src.record.x << ',' << src.record.y
            << " to " << to.cx << 'x' << to.cy << " at " << to.x << ',' << to.y << ", byte "
            << differs.first - result.begin() << " is " << int{*differs.first} << ", not " << int{*differs.second};
    }

    void CheckEverySize(std::span<const Scaler> scalers)
    {
        for (const Scaler& s : scalers)
            for (int i = 0; i < 16 * 70 + 40 && !HasFatalFailure(); ++i) {
                const int cx = i < 16 * 70 ? s.least + i / 16 : Random(72, 5200);
                const int widths[] = {1,
                                      2,
                                      cx,
                                      cx + 1,
                                      cx * 2 - 1,
                                      cx * 2 + Random(0, 3),
                                      cx * 3 + 1,
                                      (cx + 1) / 2,
                                      1 + cx * Random(1, 99) / 20};
                const auto shape = [&](int width, int leastHeight, int mostHeight, int mayGoUpward) {
                    return Shape{Random(0, 5),
                                 Random(0, 5),
                                 width,
                                 Random(leastHeight, mostHeight),
                                 Random(0, 5),
                                 Random(0, 2),
                                 Random(0, 1) * mayGoUpward != 0};
                };
                Image src(s, source, shape(widths[i % 9], 1, 30, 1));
                Image dst(s, target, shape(cx, s.least, 9, !s.Is(margins)));
                Check(s, src, dst);
            }
    }

    void ExpectRefusals(std::span<const Scaler> scalers)
    {
        for (const Scaler& s : scalers) {
            Image src(s, source, {.cx = 8, .cy = 8}), dst(s, target, {.cx = 8, .cy = 8});
            Fill(dst.bits);
            const Bytes before = dst.bits;
            const auto run = [&](auto IMG_PARAM::*field, Use use, auto value) {
                IMG_PARAM records[] = {src.record, dst.record};
                records[use].*field = value;
                return s.run(records[source], records[target]);
            };
            for (const Use use : {source, target}) {
                for (const int bad : {0, -1, INT_MIN, mostColumns + 1, INT_MAX, 1})
                    for (int IMG_PARAM::*side : {&IMG_PARAM::cx, &IMG_PARAM::cy})
                        EXPECT_EQ(bad >= (use == target ? s.least : 1) && bad == 1 ? 0 : run(side, use, bad), 0)
                            << s.name << use << bad;
                EXPECT_EQ(run(&IMG_PARAM::pBits, use, nullptr), 0) << s.name;
            }
            for (const int bits : {0, 7, 9, 16, 32, -8})
                EXPECT_EQ(s.Is(eightBits) ? run(&IMG_PARAM::nBitCount, source, bits) : 0, 0) << bits;
            EXPECT_EQ(dst.bits, before) << s.name;
        }
    }
};

#endif // ENCMGR_TESTS_SCALER_SUITE_H
