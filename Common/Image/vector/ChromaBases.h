// YUV to RGB in words: how a chroma base splits into parts that fit, and the proof that the parts make it.
#ifndef ENCMGR_CHROMA_BASES_H
#define ENCMGR_CHROMA_BASES_H

#include "Common/Image/ColourKernels.h"

#include <cstdint>

namespace
{

// Whole multiples of U and V in the bases, in units of 2^7 a step of a channel; both arithmetics have the same.
constexpr int kBlueU = 258, kGreenU = -50, kGreenV = -104, kRedV = 204;

// What 149 Y lacks and bases hold more, so that both are signed words.
constexpr int kLumaShift = 7072;

// The rest of a base below those multiples, (u (U - 128) + v (V - 128) + offset) >> shift.
struct Remainder {
    int u;
    int v;
    int offset;
    int shift;
};

// The constants also hold what U - 128 and V - 128 in place of U and V take away.

// The block kernels' bases over 2^6.
struct FlooredBases {
    static constexpr Remainder blue = {5, 0, 5 * 128 - 13, 4};
    static constexpr Remainder green = {-3, -4, 30 - 7 * 128, 6};
    static constexpr Remainder red = {0, 18, 18 * 128 - 47, 6};
    static constexpr int blueConstant = 258 * 128 - 35446 + kLumaShift;
    static constexpr int greenConstant = -154 * 128 + 17342 + kLumaShift;
    static constexpr int redConstant = 204 * 128 - 28532 + kLumaShift;
};

// The pixel functions' bases over 2^3.
struct RoundedBases {
    static constexpr Remainder blue = {1, 0, 128, 3};
    static constexpr Remainder green = {-1, -1, -256, 3};
    static constexpr Remainder red = {0, 2, 256, 3};
    static constexpr int blueConstant = 258 * 128 - 35360 + kLumaShift;
    static constexpr int greenConstant = -154 * 128 + 17424 + kLumaShift;
    static constexpr int redConstant = 204 * 128 - 28464 + kLumaShift;
};

// ---- proofs ----

constexpr bool IsWord(int value)
{
    return value >= INT16_MIN && value <= INT16_MAX;
}

constexpr int Value(const Remainder& of, int u, int v)
{
    return (of.u * u + of.v * v + of.offset) >> of.shift;
}

// For all centred bytes u and v the parts are words and make the base over 2^shift, which the functions give of U and
// V.

template <class Kind, class BaseOf> constexpr bool SplitsBlue(BaseOf base, int shift)
{
    for (int u = -128; u < 128; ++u) {
        const int half = kBlueU / 2 * u, otherHalf = half + Value(Kind::blue, u, 0) + Kind::blueConstant;
        const int excess = half + otherHalf - std::clamp(half + otherHalf, INT16_MIN, INT16_MAX);
        if (!IsWord(otherHalf) || excess < 0 || excess > INT16_MAX)
            return false;
        if (half + otherHalf - kLumaShift != base(u + 128) >> shift)
            return false;
    }
    return true;
}

// Green's remainder has the base's own shift: the split is one of coefficients, and sums are largest at the corners.
template <class Kind, class BaseOf> constexpr bool SplitsGreen(BaseOf base, int shift)
{
    const auto split = [](int u, int v) {
        return (kGreenU * u + kGreenV * v + Kind::greenConstant - kLumaShift) * (1 << Kind::green.shift) +
               Kind::green.u * u + Kind::green.v * v + Kind::green.offset;
    };
    for (const int u : {-128, 0, 127})
        for (const int v : {-128, 0, 127}) {
            const int green = kGreenU * u + kGreenV * v + Value(Kind::green, u, v) + Kind::greenConstant;
            if (!IsWord(green) || split(u, v) != base(u + 128, v + 128))
                return false;
        }
    return Kind::green.shift == shift;
}

template <class Kind, class BaseOf> constexpr bool SplitsRed(BaseOf base, int shift)
{
    for (int v = -128; v < 128; ++v) {
        const int red = kRedV * v + Value(Kind::red, 0, v) + Kind::redConstant;
        if (!IsWord(red) || red - kLumaShift != base(v + 128) >> shift)
            return false;
    }
    return true;
}

static_assert(SplitsBlue<FlooredBases>(BlueBase, 6) && SplitsGreen<FlooredBases>(GreenBase, 6) &&
              SplitsRed<FlooredBases>(RedBase, 6));
static_assert(SplitsBlue<RoundedBases>([](int u) { return 2065 * u - 282880; }, 3));
static_assert(SplitsGreen<RoundedBases>([](int u, int v) { return 139392 - 833 * v - 401 * u; }, 3));
static_assert(SplitsRed<RoundedBases>([](int v) { return 1634 * v - 227712; }, 3));

// Green's multiples are words without their sign too.
static_assert(IsWord(128 * (kGreenU + kGreenV)) && IsWord(-128 * (kGreenU + kGreenV)));
// The luma's share is a word as well, and the largest sum that counts, 255 of a channel, is the largest word.
static_assert(IsWord(-kLumaShift) && IsWord(149 * 255 - kLumaShift) && (INT16_MAX >> 7) == 255);

} // namespace

#endif // ENCMGR_CHROMA_BASES_H
