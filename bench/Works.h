// The works, by family. Each function registers its own.
#ifndef ENCMGR_BENCH_WORKS_H
#define ENCMGR_BENCH_WORKS_H

#include "bench/Contest.h"
#include "bench/Image.h"
#include "bench/Peers.h"

void RegisterScaling();  // pictures with planes and of 4-byte pixels, by all methods
void RegisterColour();   // conversions of the layout
void RegisterOverlays(); // overlay, masks, copies of rectangles: no peers
void RegisterAudio();    // the audio converter
void RegisterJobs();     // whole jobs against their kernels, and what stands around a job
void RegisterSizes();    // the cost of a pixel against the size of the picture

// Two works that several families measure.
struct Scaling {
    int srcWidth, srcHeight, dstWidth, dstHeight;
};
Contest ScalingContest(Layout layout, const Scaling& sizes, Filter filter, bool withPeers);
Contest Rgb24Contest(int width, int height, bool withPeers); // from I420

#endif // ENCMGR_BENCH_WORKS_H
