// The audio converter's formulas and no more, block by block.
#ifndef ENCMGR_TESTS_CONVERTER_MODEL_H
#define ENCMGR_TESTS_CONVERTER_MODEL_H

#include <algorithm>
#include <climits>
#include <vector>

using Samples = std::vector<short>;

struct Format {
    int in, out, rateIn, rateOut; // channels and rates
};

struct Model {
    Format f;
    double spare;
    Samples history = {0, 0};

    Samples Convert(const Samples& block)
    {
        Samples work = history, out;
        const bool halved = f.in != f.out && f.in != 1, doubled = f.in != f.out && f.in == 1;
        for (size_t i = 0; i + halved < block.size(); i += 1 + halved)
            work.insert(work.end(), 1 + doubled,
                        static_cast<short>(halved ? block[i] / 2 + block[i + 1] / 2 : block[i]));
        const int n = static_cast<int>(work.size()) - 2, stride = f.out == 1 ? 1 : 2;
        work.insert(work.end(), 2, 0);
        const auto at = [&](int i) { return work[static_cast<size_t>(i + 2)]; };
        const double ratio = static_cast<double>(f.rateIn) / f.rateOut;
        int count = std::max(0, static_cast<int>((n + spare) / ratio + 0.5));
        count -= f.rateIn == f.rateOut ? 0 : count % stride;
        for (int i = 0; i < count; ++i) {
            const int position = i / stride;
            const double pos = (position + 1.0) * n / count - 1.0;
            const int idx = static_cast<int>(pos + 1.0) - 1, left = idx * stride + i % stride;
            if (f.rateIn == f.rateOut)
                out.push_back(at(i < n ? i : n - stride + (i - n) % stride));
            else if (stride == 2 && i >= count - 2 && n >= 2)
                out.push_back(at(n - count + i));
            else
                out.push_back(
                    static_cast<short>(at(left) + static_cast<int>((at(left + stride) - at(left)) * (pos - idx))));
            if (f.rateIn != f.rateOut && stride == 1 && out.back() == SHRT_MIN)
                out.back() = -32767;
        }
        spare += n - ratio * count;
        history = {at(n - 2), at(n - 1)};
        return out;
    }
};

#endif // ENCMGR_TESTS_CONVERTER_MODEL_H
