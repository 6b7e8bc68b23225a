// The audio converter against its formulas: blocks of any size at any rates, whole and in pieces, from any balance.
#include "Common/Audio/AudioConverter.h"
#include "Common/InstructionSet.h"
#include "fuzz/FuzzInput.h"
#include "tests/ConverterModel.h"

namespace
{

constexpr double kMostSamples = 1 << 18; // that a block may give

// What the converter makes of a block: by Put and Get, or by pieces.
Samples Converted(FuzzInput& input, CAudioConverter& converter, const Samples& block)
{
    const int count = static_cast<int>(block.size());
    if (input.Random(0, 1) == 0) {
        Samples out(static_cast<size_t>(converter.Put(block.data(), count)));
        Expect(converter.Get(out.data(), static_cast<int>(out.size())) == static_cast<int>(out.size()), "Get");
        return out;
    }
    Expect(converter.CountOf(count) >= 0, "CountOf");
    Samples out(static_cast<size_t>(converter.Begin(block.data(), count)));
    const int step = 2 * input.Random(1, 600), all = static_cast<int>(out.size());
    for (int done = 0; done < all; done += step)
        converter.Make(out.data() + done, done, std::min(step, all - done));
    converter.End();
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    UseInstructionSet(static_cast<InstructionSet>(input.Random(0, kInstructionSets - 1)));
    const auto anyRate = [&input] { return input.Random(0, 3) ? 1000 * input.Random(1, 96) : input.Random(1, 768000); };
    const Format f = {input.Random(1, 6), input.Random(1, 6), anyRate(), anyRate()};
    Model model = {f, input.Random(-4000, 4000) / 100.0};
    CAudioConverter::Spare() = model.spare;
    CAudioConverter converter(f.in, f.out, f.rateIn, f.rateOut, input.Random(-1, 300));
    const bool isCopy = f.in == f.out && f.rateIn == f.rateOut;
    while (!input.IsUsedUp()) {
        const double most = kMostSamples * f.rateIn / f.rateOut / 2;
        const int length = input.Random(0, 7) ? input.Random(1, 400) : input.Random(1, 20000);
        Samples block(static_cast<size_t>(std::clamp(most, 1.0, static_cast<double>(length))));
        if ((static_cast<double>(block.size()) * 2.0 + 40) * f.rateOut / f.rateIn > 4 * kMostSamples)
            return 0; // one sample gives too many
        input.Fill({reinterpret_cast<unsigned char*>(block.data()), block.size() * sizeof(short)});
        if (isCopy) {
            Samples out(block.size());
            converter.Put(block.data(), static_cast<int>(block.size()));
            converter.Get(out.data(), static_cast<int>(out.size()));
            Expect(out == block, "a copy differs");
            continue;
        }
        const int most32 = input.Random(1, 70000), longest = converter.LongestBlock(most32);
        Expect(longest == f.in || (longest > f.in && converter.CountOf(longest) <= most32), "LongestBlock");
        Expect(Converted(input, converter, block) == model.Convert(block), "a block differs from the model's");
        Expect(CAudioConverter::Spare() == model.spare, "the balance differs from the model's");
    }
    return 0;
}
