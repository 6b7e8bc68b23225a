// The grid on which a stream's time stamps stand: its true frame rate, whatever its container says.
#ifndef ENCMGR_HOST_STAMP_GRID_H
#define ENCMGR_HOST_STAMP_GRID_H

#include "host/sources/Source.h"

#include <optional>
#include <span>

namespace host
{

struct StampGrid {
    AVRational rate;      // places a second
    Nanoseconds waver;    // how far stamps may lie from their places; 0: they stand on them, but for their rounding
    bool isMixed = false; // there is no such grid
};

// The coarsest grid on which nearly all stamps stand, each on a place of its own, whatever places are left out between
// them. Where they stand on none, as in a stream whose rate changes: the finest rate, up to 60 a second, at which
// pictures really follow each other.
//
// stamps: in runs that rise; a stamp that doesn't begins a new run. tick: what they are rounded to. stated: what the
// container says; it is taken if the stamps agree with it as well as with any other. Nothing for too few stamps.
std::optional<StampGrid> FindGrid(std::span<const Nanoseconds> stamps, Nanoseconds tick, AVRational stated);

} // namespace host

#endif // ENCMGR_HOST_STAMP_GRID_H
