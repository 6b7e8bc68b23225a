// Every scaler against its definition, with rectangles, pitches and offsets from the input; and its refusals.
#include "Common/InstructionSet.h"
#include "fuzz/FuzzInput.h"
#include "tests/ScalerModel.h"

namespace
{

constexpr int kMostPixels = 1 << 12; // of either rectangle, so that runs stay short

Shape AnyShape(FuzzInput& input, int least, bool mayGoUpward)
{
    Shape shape = {input.Random(0, 5), input.Random(0, 5)};
    const int length = input.Random(0, 63) == 0 ? input.Random(least, 1 << 15) : input.Random(least, 300);
    const int other = input.Random(least, std::max(least, std::min(300, kMostPixels / length)));
    const bool isTall = input.Random(0, 3) == 0;
    shape.cx = isTall ? other : length;
    shape.cy = isTall ? length : other;
    shape.extraPitch = input.Random(0, 70);
    shape.below = input.Random(0, 2);
    shape.upward = mayGoUpward && input.Random(0, 1) != 0;
    return shape;
}

// Records that break one rule. Nothing may be touched.
void ExpectRefusal(FuzzInput& input, const Scaler& s, Image& src, Image& dst)
{
    IMG_PARAM records[] = {src.record, dst.record};
    const auto use = static_cast<Use>(input.Random(0, 1));
    const int value = input.Hostile(0);
    switch (input.Random(0, 2)) {
    case 0:
        records[use].cx = value;
        break;
    case 1:
        records[use].cy = value;
        break;
    default:
        records[use].pBits = nullptr;
    }
    const int least = use == target ? s.least : 1;
    if (records[use].pBits && value >= least && value <= mostColumns)
        return; // it might do
    const Bytes before = dst.bits;
    Expect(s.run(records[source], records[target]) == 0 && dst.bits == before, s.name);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    UseInstructionSet(static_cast<InstructionSet>(input.Random(0, kInstructionSets - 1)));
    constexpr int pictures = std::size(pictureScalers), toolbox = std::size(toolboxScalers);
    const int number = input.Random(0, pictures + toolbox - 1);
    const Scaler& s = number < pictures ? pictureScalers[number] : toolboxScalers[number - pictures];
    Image src(s, source, AnyShape(input, 1, true));
    Image dst(s, target, AnyShape(input, s.least, !s.Is(margins)));
    ExpectRefusal(input, s, src, dst);
    ExpectNone(Difference(s, src, dst, input));
    return 0;
}
