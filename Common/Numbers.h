// Conversions and sums that are defined for every input: what does not fit ends at the limit it passed.
#ifndef ENCMGR_NUMBERS_H
#define ENCMGR_NUMBERS_H

#include <cfloat>
#include <cstdint>
#include <limits>
#include <optional>

// Doubles decide how many pictures and samples come out: no operation may keep more bits than a double has, as those of
// the x87 do, which a plain -m32 uses.
static_assert(FLT_EVAL_METHOD == 0);

constexpr double kTimeUnitsPerSecond = 10000000.0; // times count 100 ns

// Truncates toward zero. A NaN gives 0.
template <class Int> constexpr Int SaturatingTruncate(double value)
{
    // 2^(bits - 1), exact as a double, is the first value too large; its negative is the lowest that fits.
    constexpr double limit = -static_cast<double>(std::numeric_limits<Int>::min());
    if (value >= limit)
        return std::numeric_limits<Int>::max();
    if (value <= -limit)
        return std::numeric_limits<Int>::min();
    return value == value ? static_cast<Int>(value) : 0;
}

// Truncates toward zero; nothing for a value that does not fit, a NaN among them.
constexpr std::optional<int32_t> TruncateIfFits(double value)
{
    if (value > -2147483649.0 && value < 2147483648.0)
        return static_cast<int32_t>(value);
    return std::nullopt;
}

constexpr int64_t SaturatingAdd(int64_t a, int64_t b)
{
    int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum))
        return sum;
    return a < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

// The low 32 bits of a sum or product, as 32-bit arithmetic leaves them.
constexpr int32_t WrappingAdd(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

constexpr int32_t WrappingMultiply(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

#endif // ENCMGR_NUMBERS_H
