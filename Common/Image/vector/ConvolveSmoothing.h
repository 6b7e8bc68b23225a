// What the convolution's vector forms do with taps before they weight them.
#ifndef ENCMGR_CONVOLVE_SMOOTHING_H
#define ENCMGR_CONVOLVE_SMOOTHING_H

namespace
{

constexpr int kThird = 21846; // 2^16 / 3, rounded up

// Rises from a tap to another and twice that: taps of columns are bytes, those of rows lie between -64 and 319.
constexpr int kMostRise = 2 * (319 + 64);

constexpr bool DividesByThree(int factor, int most)
{
    for (int e = -most; e <= most; ++e)
        if (((factor * e) >> 16) - (e >> 15) != e / 3)
            return false;
    return true;
}
static_assert(DividesByThree(kThird, kMostRise));

template <class S> struct ConvolveSmoothing {
    using Vec = typename S::Vec;

    // e / 3 toward zero: the high half of 21846 e is rounded down, and one too low below zero.
    static Vec ThirdOf(Vec e) { return S::Sub16(S::MulHigh16(e, S::Broadcast16(kThird)), S::ShiftRight16(e, 15)); }

    // v / 2 toward zero.
    static Vec HalfOf(Vec v) { return S::ShiftRight16(S::Sub16(v, S::ShiftRight16(v, 15)), 1); }

    // Words: the inner taps are averaged with their points on the line between the outer ones.
    static void SmoothInner(Vec tap0, Vec& tap1, Vec& tap2, Vec tap3)
    {
        const Vec rise = S::Sub16(tap3, tap0);
        tap1 = HalfOf(S::Add16(S::Add16(tap0, tap1), ThirdOf(rise)));
        tap2 = HalfOf(S::Add16(S::Add16(tap0, tap2), ThirdOf(S::Add16(rise, rise))));
    }

    // Byte 3 of each pixel, as a word, from the second.
    static Vec WithFourth(Vec words, Vec fourth) { return S::template Blend16<0x88>(words, fourth); }
};

} // namespace

#endif // ENCMGR_CONVOLVE_SMOOTHING_H
