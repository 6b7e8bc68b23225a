#include "host/sources/StampGrid.h"

#include "host/sources/StampSteps.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace host
{

namespace
{

// So many of the steps between stamps must be whole places of a grid: of one with exact stamps, of one around which
// they waver, and of one that is finer than all steps, as film in the fields of television is, 2 and 3 of them by
// turns.
constexpr double kShareOnGrid = 0.93;
constexpr double kShareOnWaveringGrid = 0.9;
constexpr double kShareOnHiddenGrid = 0.98;
constexpr int kFinestDivision = 5;

// How far stamps of phones and webcams waver, at most, and as a share of the period.
constexpr double kMostWaver = 8e6; // ns
constexpr double kMostWaverShare = 0.3;

// Pictures of streams with other rates in them, or with none, follow each other at this one at most.
constexpr double kFinestMixedRate = 60.5; // and 60 with it, however measured

// Pictures that follow each other faster are no grid, whatever their stamps say.
constexpr double kShortestPeriod = 1e6; // ns

// A steady stream has so many pictures right behind the one before.
constexpr double kShareOfSteady = 0.9;

constexpr int kUsualRates[] = {1, 2, 3, 4, 5, 6, 8, 10, 12, 15, 16, 18, 20, 24, 25, 30, 48, 50, 60};

double PeriodOf(AVRational rate)
{
    return static_cast<double>(kSecond) / av_q2d(rate);
}

double RateOf(double period)
{
    return static_cast<double>(kSecond) / period;
}

// A grid, before its rate is settled.
struct Found {
    Fit line;
    double waver; // how far stamps may be off it; 0: no further than their rounding
};

// Stamps that are exact but for their rounding.
std::optional<Found> FindExact(const StampSteps& steps, double tick)
{
    const double rounding = 2.0 * tick;
    const auto find = [&](double period, double leastShare) -> std::optional<Found> {
        const Fit line = steps.LineThrough(steps.MeanPlace(period, rounding), rounding);
        if (line.period < std::max(2.0 * rounding, kShortestPeriod) ||
            steps.ShareOn(line.period, rounding, rounding) < leastShare)
            return std::nullopt;
        return Found{{line.period, std::max(line.uncertainty, 1e-7 * line.period)}, 0.0};
    };
    const double shortest = steps.Shortest();
    if (const auto found = find(shortest, kShareOnGrid))
        return found;
    for (int parts = 2; parts <= kFinestDivision; ++parts)
        if (const auto found = find(shortest / parts, kShareOnHiddenGrid);
            found && RateOf(found->line.period) < kFinestMixedRate)
            return found;
    return std::nullopt;
}

// Stamps that waver fit finer grids than their own, too: of several the coarsest is the one.
std::optional<Found> FindWavering(const StampSteps& steps, AVRational stated)
{
    constexpr double kHalf = 0.45; // of a period, nearly
    std::optional<Found> found;
    for (double period : {steps.Quantile(0.25), PeriodOf(stated), steps.Quantile(0.5)}) {
        for (int i = 0; i < 4; ++i)
            period = steps.MeanPlace(period, kHalf * period);
        const Fit line = steps.LineThrough(period, kHalf * period);
        const double waver = std::min(kMostWaver, kMostWaverShare * line.period);
        if (line.period >= (found ? found->line.period : kShortestPeriod) &&
            steps.ShareOn(line.period, kHalf * line.period, waver) >= kShareOnWaveringGrid)
            found = Found{line, waver};
    }
    return found;
}

// A usual rate that is near enough, above all the stated one; else the stated one if it is near enough; else what comes
// nearest.
AVRational RateOfLine(const Fit& line, AVRational stated)
{
    const double rate = RateOf(line.period);
    const AVRational whole = {static_cast<int>(std::lround(rate)), 1};
    const AVRational television = {static_cast<int>(std::lround(rate * 1.001)) * 1000, 1001};
    const auto distance = [&](AVRational r) { return r.num > 0 ? std::fabs(PeriodOf(r) - line.period) : line.period; };
    const AVRational nearest = distance(whole) <= distance(television) ? whole : television;
    const bool isUsual = stated.den == 1 || stated.den == 1001;
    for (const AVRational candidate : {isUsual ? stated : nearest, nearest, stated})
        if (distance(candidate) <= line.uncertainty)
            return candidate;
    return av_d2q(rate, 1'000'000);
}

// The lowest usual rate that gives pictures so close a place each.
AVRational UsualRate(double period)
{
    for (const int usual : kUsualRates)
        if (usual >= 0.98 * RateOf(period))
            return {usual, 1};
    return {std::end(kUsualRates)[-1], 1};
}

} // namespace

std::optional<StampGrid> FindGrid(std::span<const Nanoseconds> stamps, Nanoseconds tick, AVRational stated)
{
    const StampSteps steps(stamps);
    if (steps.Count() < 2)
        return std::nullopt;
    auto found = FindExact(steps, static_cast<double>(tick));
    if (!found)
        found = FindWavering(steps, stated);
    if (!found)
        return StampGrid{UsualRate(steps.Shortest()), 0, true};

    StampGrid grid = {RateOfLine(found->line, stated), std::llround(found->waver)};
    // Only a steady stream is faster than what changing ones get.
    if (steps.ShareOfSingles(found->line.period) < kShareOfSteady)
        while (av_q2d(grid.rate) > kFinestMixedRate)
            av_reduce(&grid.rate.num, &grid.rate.den, grid.rate.num, int64_t{grid.rate.den} * 2, INT_MAX);
    return grid;
}

} // namespace host
