// Colour conversions and packed rectangles against their formulas, with sizes, pitches and offsets from the input.
#include "Common/InstructionSet.h"
#include "fuzz/FuzzInput.h"
#include "tests/ColourModel.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    UseInstructionSet(static_cast<InstructionSet>(input.Random(0, kInstructionSets - 1)));
    ColourTrial trial(input);
    constexpr int count = std::size(converters);
    const int number = input.Random(0, 2 * count - 1);
    const int width = input.Random(0, 15) == 0 ? input.Random(1, 20000) : input.Random(1, 256);
    ExpectNone(number < count ? trial.Picture(converters[number], width) : trial.Rectangles(width));
    return 0;
}
