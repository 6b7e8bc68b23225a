// One work, done by the library and by its peers in turn on the same buffers.
#ifndef ENCMGR_BENCH_CONTEST_H
#define ENCMGR_BENCH_CONTEST_H

#include "bench/Image.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

struct Contender {
    std::string name;
    std::function<void()> run;
    bool isComparable = true; // else it is shown for information and is no measure
};

// What every contender writes. Copying as many bytes is the scale for works of all kinds.
struct Output {
    unsigned char* bits = nullptr;
    size_t bytes = 0;
    // Numbers that tell roughly what was written; contenders whose numbers lie further apart than the tolerance don't
    // do the same work. Empty: there is nothing to compare.
    std::function<std::vector<double>()> describe = {};
    double tolerance = 0.0;
};

Output OutputOf(const Image& image, double tolerance = 4.0);

struct Contest {
    std::function<void()> ours;
    std::vector<Contender> peers = {};
    Output output = {};
    double pixels = 0.0; // of the target, for the cost of one; 0: not a picture
};

// What the library wants to reach; 0: nothing set.
struct Bar {
    double peers = 0.0; // speed over the fastest comparable peer's
    double copy = 0.0;  // speed over that of memcpy of the output
};

// Registers a work with Google Benchmark. The contest is made when the work's turn comes, and given up behind it.
//
// Each round times every contender once, in an order that moves on from round to round; a time is that of as many calls
// as take some milliseconds. All ratios are made within a round. The results are counters of the benchmark:
//   ratio, ratio_low, ratio_high   speed over the fastest comparable peer's: median and quartiles of the rounds
//   copy, copy_low, copy_high      speed over that of memcpy
//   bar, copy_bar, reached         the bars, and whether the medians reach them
//   NAME_ns                        median time of one run of each contender, of "ours" and of "memcpy"
//   NAME_ratio                     median ratio to each peer
//   ns_per_pixel, copy_ns_per_pixel
// The label names the fastest comparable peer.
void RegisterContest(const std::string& name, const Bar& bar, const std::function<Contest()>& prepare);

// Registers a figure that is no ratio: what the function returns, in the unit given.
void RegisterFigure(const std::string& name, const std::string& unit, const std::function<double()>& measure);

#endif // ENCMGR_BENCH_CONTEST_H
