// Frame rates as the exact ratios that files state.
#ifndef ENCMGR_PLUGINS_FRAME_RATE_H
#define ENCMGR_PLUGINS_FRAME_RATE_H

#include <optional>

// num / den pictures per second, in lowest terms but for the n * 1000 / 1001 family.
struct FrameRate {
    int num;
    int den;
    double Value() const { return static_cast<double>(num) / den; }
};

// Rates outside are refused: nothing that a file plays has them.
constexpr double kLowestFrameRate = 0.01;
constexpr double kHighestFrameRate = 1000.0;

// Large enough for every rate of the n * 1000 / 1001 family.
constexpr int kMaxRateTerm = 1'001'000;

// The ratio that a rate stands for, with neither term above maxTerm: a whole number, a rate of the NTSC family
// (29.97 and 30000.0 / 1001 both give 30000/1001), or else the nearest fraction. Nothing for a NaN and for rates
// outside the limits. REQUIRES: maxTerm is at least 1000.
std::optional<FrameRate> ExactFrameRate(double rate, int maxTerm);

#endif // ENCMGR_PLUGINS_FRAME_RATE_H
