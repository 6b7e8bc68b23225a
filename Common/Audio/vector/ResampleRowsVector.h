// The audio converter's row functions on vectors of a set.
#ifndef ENCMGR_RESAMPLE_ROWS_VECTOR_H
#define ENCMGR_RESAMPLE_ROWS_VECTOR_H

#include "Common/Audio/ResampleRows.h"

#include <cstddef>

namespace
{

// Doubles fill vectors of the set, samples lanes of 16 bytes.
template <class S> struct ResampleRowsVector {
    using L = typename S::Lane;
    using Vec = typename L::Vec;
    using Doubles = typename S::Doubles;
    static constexpr int kPositions = S::kDoubles; // worked on at a time
    static_assert(kPositions == 2 || kPositions == 4);

    // ---- positions ----

    // A run of output positions. They are found separately from the interpolation: in one loop the quotients, which
    // take long, would hold up all that follows them.
    struct PositionRun {
        static constexpr int kLongest = 64;

        // Index of the sample or pair at or before the position, where the history is number 0; and room for a lane.
        int32_t whole[kLongest + 2];
        double fraction[kLongest]; // of the way to the next

        // count: a multiple of kPositions. The operations on doubles and their order are those of the plain forms,
        // rounding included, so that the fractions are theirs to the last bit.
        void Find(const ResampleBlock& block, int first, int count)
        {
            const Doubles one = S::BroadcastDouble(1.0), n = S::BroadcastDouble(block.n);
            const Doubles nOut = S::BroadcastDouble(block.nOut);
            Doubles number = S::CountUpFrom(first + 1.0);
            for (int i = 0; i < count; i += kPositions) {
                const Doubles pos = S::SubDoubles(S::DivDoubles(S::MulDoubles(number, n), nOut), one);
                const Doubles wholes = S::Truncate(S::AddDoubles(pos, one));
                L::Store(whole + i, S::ToInt32(wholes));
                S::StoreDoubles(fraction + i, S::SubDoubles(pos, S::SubDoubles(wholes, one)));
                number = S::AddDoubles(number, S::BroadcastDouble(kPositions));
            }
        }
    };

    // interpolate(run, k, i) makes kPositions output positions, from the i-th behind the block's begin on, out of the
    // run's k-th and following. Returns the first of all that is left for the plain form.
    template <class Interpolate> static int WalkInRuns(const ResampleBlock& block, int first, Interpolate interpolate)
    {
        PositionRun run;
        while (first <= block.end - kPositions) {
            const int left = (block.end - first) / kPositions * kPositions;
            const int count = left < PositionRun::kLongest ? left : PositionRun::kLongest;
            run.Find(block, first, count);
            for (int k = 0; k < count; k += kPositions)
                interpolate(run, k, ptrdiff_t{first} - block.begin + k);
            first += count;
        }
        return first;
    }

    // ---- pairs (a, b) of samples, in double words ----

    // b - a, which needs 17 bits.
    static Vec Rise(Vec pairs) { return L::MulAddPairs16(pairs, L::Broadcast32(0x0001FFFF)); }

    static Vec FirstOf(Vec pairs) { return L::ShiftRight32(L::ShiftLeft32(pairs, 16), 16); }

    // The part of kDoubles rises that lies before the position, toward zero.
    static Vec PartOf(Vec rise, Doubles fraction) { return S::ToInt32(S::MulDoubles(S::FromInt32(rise), fraction)); }

    // ---- the neighbours of four positions, from one window of eight samples or pairs ----

    static constexpr int kWindow = 8;

    // Unless the rate falls to less than half, all that count are in the window; and it must be there to be read.
    static bool FitsWindow(const int32_t* whole, int available)
    {
        return whole[3] - whole[0] <= kWindow - 2 && whole[0] <= available - kWindow;
    }

    // The distance of each position from the first one.
    static Vec FromFirst(const int32_t* whole) { return L::Sub32(L::Load(whole), L::Broadcast32(whole[0])); }

    // ---- mono ----

    // Each position's two neighbours. Samples are numbered from the history's last one; so many are available in all.
    static Vec PairsOfMono(const int16_t* samples, const int32_t* whole, int available)
    {
        if constexpr (kPositions == 4)
            if (FitsWindow(whole, available)) {
                static constexpr int8_t inEachByte[16] = {0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12};
                const Vec distance = L::Shuffle8(FromFirst(whole), L::Load(inEachByte));
                const Vec bytes = L::Add8(L::Add8(distance, distance), L::Broadcast32(0x03020100));
                return L::Shuffle8(L::Load(samples + whole[0]), bytes);
            }
        const auto at = [&](int i) { return samples + whole[i]; };
        if constexpr (kPositions == 4)
            return L::Gather32(at(0), at(1), at(2), at(3));
        else
            return L::Gather32(at(0), at(1));
    }

    static void ResampleMono(const ResampleBlock& block, int first)
    {
        const int16_t* samples = block.work - 1;
        const int available = 1 + block.n + kLookahead;
        const auto interpolate = [&](const PositionRun& run, int k, ptrdiff_t i) {
            const Vec pairs = PairsOfMono(samples, run.whole + k, available);
            const Vec part = PartOf(Rise(pairs), S::LoadDoubles(run.fraction + k));
            const Vec values = L::Add32(FirstOf(pairs), part);
            const Vec clamped = L::Max16(L::Pack32(values, values), L::Broadcast16(-32767));
            L::StoreFirst(reinterpret_cast<unsigned char*>(block.out + i), clamped, 2 * kPositions);
        };
        ::ResampleMono(block, WalkInRuns(block, first, interpolate));
    }

    // ---- stereo ----

    // Pairs are numbered from the history on. Four positions' pairs, and the ones after them.
    static void NeighboursOfStereo(const int16_t* pairs, const int32_t* whole, int available, Vec& left, Vec& right)
    {
        if (FitsWindow(whole, available))
            return S::LookUpTwo32(pairs + 2 * ptrdiff_t{whole[0]}, FromFirst(whole), left, right);
        const auto at = [&](int i) { return pairs + 2 * ptrdiff_t{whole[i]}; };
        const Vec low = L::Gather64(at(0), at(1)), high = L::Gather64(at(2), at(3));
        left = L::Even32(low, high);
        right = L::Odd32(low, high);
    }

    static void InterpolateFour(const int16_t* pairs, int available, const int32_t* whole, const double* fraction,
                                int16_t* out)
    {
        Vec left, right;
        NeighboursOfStereo(pairs, whole, available, left, right);
        const Vec part1 = PartOf(Rise(L::InterleaveLow16(left, right)), S::LoadTwice(fraction));
        const Vec part2 = PartOf(Rise(L::InterleaveHigh16(left, right)), S::LoadTwice(fraction + 2));
        // A part needs 17 bits, but the sum fits: its low words are enough.
        const Vec lowWord = L::Broadcast32(0xFFFF);
        L::Store(out, L::Add16(left, L::Pack32U(L::And(part1, lowWord), L::And(part2, lowWord))));
    }

    static void InterpolateTwo(const int16_t* pairs, const int32_t* whole, const double* fraction, int16_t* out)
    {
        static constexpr int8_t sameChannel[16] = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};
        const Vec both = L::Gather64(pairs + 2 * ptrdiff_t{whole[0]}, pairs + 2 * ptrdiff_t{whole[1]});
        const Vec neighbours = L::Shuffle8(both, L::Load(sameChannel));
        const Vec rise = Rise(neighbours);
        const Vec part = L::InterleaveLow64(PartOf(rise, S::LoadTwice(fraction)),
                                            PartOf(L::InterleaveHigh64(rise, rise), S::LoadTwice(fraction + 1)));
        const Vec values = L::Add32(FirstOf(neighbours), part);
        L::StoreFirst(reinterpret_cast<unsigned char*>(out), L::Pack32(values, values), 8);
    }

    static void ResampleStereo(const ResampleBlock& block, int first)
    {
        const int16_t* pairs = block.work - 2;
        [[maybe_unused]] const int available = 1 + block.n / 2 + kLookahead / 2;
        const auto interpolate = [&](const PositionRun& run, int k, ptrdiff_t i) {
            if constexpr (kPositions == 4)
                InterpolateFour(pairs, available, run.whole + k, run.fraction + k, block.out + 2 * i);
            else
                InterpolateTwo(pairs, run.whole + k, run.fraction + k, block.out + 2 * i);
        };
        ::ResampleStereo(block, WalkInRuns(block, first, interpolate));
    }

    // ---- channels ----

    static void MonoToStereo(const int16_t* src, int16_t* dst, int count)
    {
        ptrdiff_t i = 0;
        for (; i <= count - 8; i += 8) {
            const Vec samples = L::Load(src + i);
            L::Store(dst + 2 * i, L::InterleaveLow16(samples, samples));
            L::Store(dst + 2 * i + 8, L::InterleaveHigh16(samples, samples));
        }
        ::MonoToStereo(src + i, dst + 2 * i, static_cast<int>(count - i));
    }

    // Sums of four pairs. A half is rounded down after the sign bit has been added: toward zero.
    static Vec SumOfHalves(Vec pairs)
    {
        const Vec halves = L::ShiftRight16(L::Sub16(pairs, L::ShiftRight16(pairs, 15)), 1);
        return L::MulAddPairs16(halves, L::Broadcast16(1));
    }

    static void StereoToMono(const int16_t* src, int16_t* dst, int count)
    {
        ptrdiff_t i = 0;
        for (; i <= count - 8; i += 8)
            L::Store(dst + i, L::Pack32(SumOfHalves(L::Load(src + 2 * i)), SumOfHalves(L::Load(src + 2 * i + 8))));
        ::StereoToMono(src + 2 * i, dst + i, static_cast<int>(count - i));
    }

    static void Overwrite(ResampleTable& table) { table = {ResampleMono, ResampleStereo, MonoToStereo, StereoToMono}; }
};

} // namespace

#endif // ENCMGR_RESAMPLE_ROWS_VECTOR_H
