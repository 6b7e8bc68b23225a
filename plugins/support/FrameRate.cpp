#include "plugins/support/FrameRate.h"

#include <cmath>
#include <cstdint>

namespace
{

// Hosts write 29.97 for 30000/1001, which is 1.0e-6 off, so the families are told with twice that.
constexpr double kFamilyTolerance = 2e-6;
constexpr double kFractionTolerance = 1e-10;

bool IsNear(double value, double whole)
{
    return whole >= 1.0 && std::abs(value - whole) <= whole * kFamilyTolerance;
}

// The convergents of the continued fraction, up to the first one that is close enough or the last one whose terms
// keep within maxTerm.
FrameRate NearestFraction(double rate, int maxTerm)
{
    int64_t num = 1, den = 0, previousNum = 0, previousDen = 1;
    double rest = rate;
    for (;;) {
        const double whole = std::floor(rest);
        if (whole > maxTerm)
            break;
        const int64_t term = static_cast<int64_t>(whole);
        const int64_t nextNum = term * num + previousNum;
        const int64_t nextDen = term * den + previousDen;
        if (nextNum > maxTerm || nextDen > maxTerm)
            break;
        previousNum = num, num = nextNum;
        previousDen = den, den = nextDen;
        // A rate below 1 starts with the convergent 0/1, which is no rate.
        if (num > 0 &&
            std::abs(static_cast<double>(num) / static_cast<double>(den) - rate) <= rate * kFractionTolerance)
            break;
        rest = 1.0 / (rest - whole); // a whole number has been exact
    }
    return {static_cast<int>(num), static_cast<int>(den)};
}

} // namespace

std::optional<FrameRate> ExactFrameRate(double rate, int maxTerm)
{
    if (!(rate >= kLowestFrameRate && rate <= kHighestFrameRate)) // a NaN is neither
        return std::nullopt;
    const double whole = std::round(rate);
    if (IsNear(rate, whole))
        return FrameRate{static_cast<int>(whole), 1};
    const double nominal = std::round(rate * 1.001);
    if (IsNear(rate * 1.001, nominal) && nominal * 1000 <= maxTerm)
        return FrameRate{static_cast<int>(nominal) * 1000, 1001};
    return NearestFraction(rate, maxTerm);
}
