// What holds for every scaler, for the suites.
#ifndef ENCMGR_TESTS_SCALER_SUITE_H
#define ENCMGR_TESTS_SCALER_SUITE_H

#include "tests/InstructionSets.h"
#include "tests/ScalerModel.h"

#include <climits>

class ScalerSuite : public AtEachSet
{
protected:
    void Check(const Scaler& s, Image& src, Image& dst) { ASSERT_EQ(Difference(s, src, dst, *this), ""); }

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
