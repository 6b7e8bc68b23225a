// RGB to YUV in words: how a sum of three products splits into pairs of products, and the proof that the pairs make it.
//
// A sum takes a multiplication of byte pairs and one of word pairs: from the bytes B, R, G, R of each pixel to two
// words, p of B and R and q of G and R, and from those to the sum. The chroma coefficients add up to 0, or to 1 with Cr
// of the block kernels, so they are multiples of B - R and G - R, and for that Cr R on its own.
#ifndef ENCMGR_COLOUR_SPLITS_H
#define ENCMGR_COLOUR_SPLITS_H

#include <cstdint>

namespace
{

// p (pb B + pr R) + q (qg G + qr R)
struct Split {
    int pb;
    int pr;
    int qg;
    int qr;
    int p;
    int q;

    // The coefficients of B, G and R are these; factors of bytes are signed bytes, those of words signed words, and so
    // are the words themselves: 255 times both factors at most.
    constexpr bool Makes(int b, int g, int r) const
    {
        const auto fits = [](int x, int y) { return x >= -128 && x <= 127 && y >= -128 && y <= 127; };
        const auto isWord = [](int x) { return x >= INT16_MIN && x <= INT16_MAX; };
        return p * pb == b && q * qg == g && p * pr + q * qr == r && fits(pb, pr) && fits(qg, qr) && isWord(p) &&
               isWord(q);
    }
};
static_assert(255 * 128 <= -INT16_MIN); // of a pair with factors of one sign each: both signs make it less

// The block kernels' sums times 2^2, so that the term is the high half. Cr lacks 4 R.
struct FlooredSplits {
    static constexpr Split luma = {11, -56, 2, 3, 584, 16516};
    static constexpr Split cb = {1, -1, 1, -1, 4 * 7193, -4 * 4768};
    static constexpr Split cr = {1, -1, 1, -1, -4 * 1163, -4 * 6029};
};
static_assert(FlooredSplits::luma.Makes(4 * 1606, 4 * 8258, 4 * 4211));
static_assert(FlooredSplits::cb.Makes(4 * 7193, -4 * 4768, -4 * 2425));
static_assert(FlooredSplits::cr.Makes(-4 * 1163, -4 * 6029, 4 * 7193 - 4));

// The pixel functions' sums times 2^6. For bytes they never clamp.
struct RoundedSplits {
    static constexpr Split luma = {2, 13, 4, -3, 3200, 8256};
    static constexpr Split cb = {1, -1, 1, -1, 64 * 450, -64 * 298};
    static constexpr Split cr = {1, -1, 1, -1, -64 * 73, -64 * 377};
};
static_assert(RoundedSplits::luma.Makes(64 * 100, 64 * 516, 64 * 263));
static_assert(RoundedSplits::cb.Makes(64 * 450, -64 * 298, -64 * 152));
static_assert(RoundedSplits::cr.Makes(-64 * 73, -64 * 377, 64 * 450));

} // namespace

#endif // ENCMGR_COLOUR_SPLITS_H
