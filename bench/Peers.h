// The libraries that ours is compared with. Each adds itself to a contest whose work it can do in one call; one that
// the build doesn't have adds nothing. What a peer can set up once and use for every picture is made beforehand.
#ifndef ENCMGR_BENCH_PEERS_H
#define ENCMGR_BENCH_PEERS_H

#include "bench/Contest.h"
#include "bench/Image.h"

#include <string>

enum class Filter { Nearest, Bilinear, Cubic };

// Scaling, with the same layout on both sides, or conversion of the layout, with the same size.
void AddLibyuv(Contest& contest, const Image& src, const Image& dst, Filter filter);
void AddSwscale(Contest& contest, const Image& src, const Image& dst, Filter filter);
void AddZimg(Contest& contest, const Image& src, const Image& dst, Filter filter);

inline void AddPicturePeers(Contest& contest, const Image& src, const Image& dst, Filter filter)
{
    AddLibyuv(contest, src, dst, filter);
    AddSwscale(contest, src, dst, filter);
    AddZimg(contest, src, dst, filter);
}

#endif // ENCMGR_BENCH_PEERS_H
