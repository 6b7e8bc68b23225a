#include "host/sources/StampSteps.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace host
{

namespace
{

// Longer gaps say nothing on the rate.
constexpr Nanoseconds kLongestStep = 10 * kSecond;

// A grid is held against pieces of so many steps: within one, the last digits of its rate don't matter.
constexpr size_t kPiece = 32;

double Places(double span, double period)
{
    return std::max(1.0, std::round(span / period));
}

// The middle of what stamps are off multiples of the period, as a part of it. They lie on a circle, so it is the
// direction of their sum.
double PhaseOf(std::span<const Nanoseconds> stamps, double period)
{
    double x = 0.0, y = 0.0;
    for (const Nanoseconds stamp : stamps) {
        const double angle = 2.0 * std::numbers::pi * static_cast<double>(stamp - stamps.front()) / period;
        x += std::cos(angle);
        y += std::sin(angle);
    }
    return std::atan2(y, x) / (2.0 * std::numbers::pi) * period;
}

// The number of the place nearest to a stamp.
double PlaceOf(Nanoseconds stamp, Nanoseconds first, double phase, double period)
{
    return std::round((static_cast<double>(stamp - first) - phase) / period);
}

// The slope of the line through points, by least squares, over several groups with starts of their own.
class Sums
{
public:
    void Add(std::span<const double> places, std::span<const double> times)
    {
        if (places.size() < 2)
            return;
        const double count = static_cast<double>(places.size());
        const double meanPlace = std::accumulate(places.begin(), places.end(), 0.0) / count;
        const double meanTime = std::accumulate(times.begin(), times.end(), 0.0) / count;
        for (size_t i = 0; i < places.size(); ++i) {
            const double place = places[i] - meanPlace, time = times[i] - meanTime;
            m_pp += place * place;
            m_pt += place * time;
            m_tt += time * time;
        }
        m_count += count;
    }

    // A period of 0 if there are too few points. Six standard deviations of it are held for possible.
    Fit Line() const
    {
        if (m_pp <= 0.0)
            return {0.0, 0.0};
        const double period = m_pt / m_pp;
        const double variance = std::max(0.0, m_tt - period * m_pt) / m_count / m_pp;
        return {period, 6.0 * std::sqrt(variance)};
    }

private:
    double m_pp = 0.0, m_pt = 0.0, m_tt = 0.0, m_count = 0.0;
};

} // namespace

StampSteps::StampSteps(std::span<const Nanoseconds> stamps) : m_stamps(stamps)
{
    for (size_t i = 1; i < stamps.size(); ++i)
        if (IsStep(i))
            m_sorted.push_back(Step(i));
    std::sort(m_sorted.begin(), m_sorted.end());
}

bool StampSteps::IsStep(size_t i) const
{
    return m_stamps[i] > m_stamps[i - 1] && m_stamps[i] - m_stamps[i - 1] <= kLongestStep;
}

double StampSteps::Quantile(double share) const
{
    return m_sorted[static_cast<size_t>(share * static_cast<double>(m_sorted.size() - 1))];
}

double StampSteps::Shortest() const
{
    return m_sorted[std::min(m_sorted.size() / 10, 2 + m_sorted.size() / 100)];
}

// Calls take with pieces that share their ends, but where the grid breaks.
template <class Take> void StampSteps::ForPieces(double period, double tolerance, Take take) const
{
    size_t first = 0;
    for (size_t i = 1; i < m_stamps.size(); ++i) {
        const bool isWhole = IsStep(i) && std::fabs(Step(i) - Places(Step(i), period) * period) <= tolerance;
        if (!isWhole)
            take(m_stamps.subspan(first, i - first));
        else if (i - first == kPiece)
            take(m_stamps.subspan(first, i - first + 1));
        if (!isWhole || i - first == kPiece)
            first = i;
    }
    take(m_stamps.subspan(first));
}

double StampSteps::MeanPlace(double period, double tolerance) const
{
    double span = 0.0, places = 0.0;
    for (const double step : m_sorted)
        if (const double whole = Places(step, period); std::fabs(step - whole * period) <= tolerance) {
            span += step;
            places += whole;
        }
    return places > 0.0 ? span / places : period;
}

Fit StampSteps::LineThrough(double period, double tolerance) const
{
    Fit fit = {period, 0.0};
    for (int pass = 0; pass < 2; ++pass) { // the second one sees the places better
        Sums sums;
        std::vector<double> places, times;
        const auto end = [&] {
            sums.Add(places, times);
            places.clear();
            times.clear();
        };
        ForPieces(fit.period, tolerance, [&](std::span<const Nanoseconds> piece) {
            if (!times.empty() && times.back() != static_cast<double>(piece.front() - m_stamps.front()))
                end();
            const double phase = PhaseOf(piece, fit.period);
            const auto placeOf = [&](Nanoseconds stamp) { return PlaceOf(stamp, piece.front(), phase, fit.period); };
            const double start = (places.empty() ? 0.0 : places.back()) - placeOf(piece.front());
            for (const Nanoseconds stamp : piece.subspan(places.empty() ? 0 : 1)) {
                places.push_back(start + placeOf(stamp));
                times.push_back(static_cast<double>(stamp - m_stamps.front()));
            }
        });
        end();
        if (sums.Line().period > 0.0)
            fit = sums.Line();
    }
    return fit;
}

double StampSteps::ShareOn(double period, double tolerance, double distance) const
{
    size_t on = 0;
    ForPieces(period, tolerance, [&](std::span<const Nanoseconds> piece) {
        const double phase = PhaseOf(piece, period);
        double last = PlaceOf(piece.front(), piece.front(), phase, period);
        for (const Nanoseconds stamp : piece.subspan(1)) {
            const double place = PlaceOf(stamp, piece.front(), phase, period);
            const double off = static_cast<double>(stamp - piece.front()) - phase - place * period;
            on += place > last && std::fabs(off) <= distance;
            last = place;
        }
    });
    return static_cast<double>(on) / static_cast<double>(m_sorted.size());
}

double StampSteps::ShareOfSingles(double period) const
{
    const auto end = std::lower_bound(m_sorted.begin(), m_sorted.end(), 1.5 * period);
    return static_cast<double>(end - m_sorted.begin()) / static_cast<double>(m_sorted.size());
}

} // namespace host
