// Which picture stands at which place of an output of constant rate.
#ifndef ENCMGR_HOST_PICTURE_PLACES_H
#define ENCMGR_HOST_PICTURE_PLACES_H

#include "host/sources/Source.h"

#include <optional>
#include <vector>

namespace host
{

// Takes pictures in the order of time and gives them back with their places, which rise. Each picture gets a place of
// its own as long as there is one near it; where there are fewer places than pictures, each place gets the picture
// nearest to it, and the others are left out. A place that none is given for is to show the picture before it.
//
// A picture is settled once the two behind it are known.
class PicturePlaces
{
public:
    struct Placed {
        Item picture;
        int64_t place;
    };

    // farthest: how far a picture may be put from where it falls, in places; 0.5 to 1. At 0.5 no place shows another
    // picture than the nearest.
    explicit PicturePlaces(double farthest) : m_farthest(farthest) {}

    // position: where the picture falls, in places. Returns the one that is settled now, if there is any.
    std::optional<Placed> Put(Item picture, double position);

    // When no more come: the first of those that still wait. Nothing after the last.
    std::optional<Placed> TakeFirst();

    // Pictures that were left out so far.
    int64_t Dropped() const { return m_dropped; }
    int64_t LargestRunDropped() const { return m_largestRun; }

private:
    struct Waiting {
        Item picture;
        double position;
        std::optional<int64_t> place; // nothing: left out
        int64_t droppedBefore;        // so many right before it
    };

    void Settle();

    double m_farthest;
    std::vector<Waiting> m_waiting; // up to three while they are settled, then two
    int64_t m_free = 0;             // the first place that isn't taken
    int64_t m_dropped = 0;
    int64_t m_droppedLast = 0; // behind all that wait
    int64_t m_largestRun = 0;
};

} // namespace host

#endif // ENCMGR_HOST_PICTURE_PLACES_H
