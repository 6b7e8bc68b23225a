// The steps between a stream's time stamps, measured against a period.
#ifndef ENCMGR_HOST_STAMP_STEPS_H
#define ENCMGR_HOST_STAMP_STEPS_H

#include "host/sources/Source.h"

#include <span>
#include <vector>

namespace host
{

// Periods and steps are in nanoseconds.
// A period, and by how much it may be wrong.
struct Fit {
    double period;
    double uncertainty;
};

// A period makes a grid of places. A step that isn't a whole number of places, within a tolerance, breaks it: behind
// the break it goes on with another phase. Steps of over 10 seconds, and stamps that don't rise, break it too and don't
// count.
class StampSteps
{
public:
    // stamps: stay where they are.
    explicit StampSteps(std::span<const Nanoseconds> stamps);

    size_t Count() const { return m_sorted.size(); }

    // The step that is longer than so large a share of all.
    double Quantile(double share) const;

    // The shortest step that is no accident.
    double Shortest() const;

    // The mean length of a place, over all steps that are whole numbers of the period within the tolerance.
    double MeanPlace(double period, double tolerance) const;

    // The line through all stamps over the places that they are nearest to, by least squares.
    Fit LineThrough(double period, double tolerance) const;

    // The share of steps that lead to a place of its own, with its stamp within a distance from it.
    double ShareOn(double period, double tolerance, double distance) const;

    // The share of steps that are a single place.
    double ShareOfSingles(double period) const;

private:
    bool IsStep(size_t i) const;
    double Step(size_t i) const { return static_cast<double>(m_stamps[i] - m_stamps[i - 1]); }
    template <class Take> void ForPieces(double period, double tolerance, Take take) const;

    std::span<const Nanoseconds> m_stamps;
    std::vector<double> m_sorted;
};

} // namespace host

#endif // ENCMGR_HOST_STAMP_STEPS_H
