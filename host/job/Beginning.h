// Where a job begins.
#ifndef ENCMGR_HOST_BEGINNING_H
#define ENCMGR_HOST_BEGINNING_H

#include "host/job/JobPlan.h"
#include "host/job/TimeMerge.h"

namespace host
{

// A picture that stands at a time or by less than this before it counts as standing at it: people write times with
// three decimals.
Nanoseconds GrainOfTime(AVRational frameRate);

// At a lower rate than the source's each place of the output shows the nearest of several pictures.
bool HasFewerPlaces(const JobPlan& plan);

struct Beginning {
    Nanoseconds time;               // of the job's start, in the sources' time
    std::optional<Nanoseconds> end; // of the part that is taken, likewise
    std::deque<Item> items;         // what has been read from there on, in the order of time
};

// Reads up to the plan's start and leaves out what lies before. Start and end count from where a job of the whole would
// begin.
//
// At the rate of the source the job begins with the first picture that stands at the start or behind it, so that its
// pictures fall on the places of the output as in a job of the whole; at another rate it begins at the start itself,
// with the picture that is nearest. Audio begins at the same moment, to the sample. Where a picture from before is
// still shown, for one or more places, that one comes first.
Beginning FindBeginning(const JobPlan& plan, TimeMerge& merge);

} // namespace host

#endif // ENCMGR_HOST_BEGINNING_H
