// One audio work: blocks of 16-bit samples at one rate and channel count, wanted at another.
#ifndef ENCMGR_BENCH_AUDIO_WORK_H
#define ENCMGR_BENCH_AUDIO_WORK_H

#include "bench/Contest.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

constexpr int kBlockFrames = 1024; // sample frames in a block
constexpr int kBlocks = 96;

struct AudioFormat {
    int channels;
    int rate;
};

struct AudioWork {
    AudioFormat from, to;
    std::vector<int16_t> in;  // all blocks
    std::vector<int16_t> out; // what they give, with room for what a contender gives too many

    AudioWork(const AudioFormat& source, const AudioFormat& target);

    const int16_t* Block(int i) const { return in.data() + ptrdiff_t{i} * kBlockFrames * from.channels; }
    int ExpectedFrames() const; // from all blocks
    int Room() const { return static_cast<int>(out.size()); }
    // Throws if a contender made another number of frames than all blocks give, but for what it holds back.
    void Check(const char* name, int frames) const;
};

void AddSamplerate(Contest& contest, const std::shared_ptr<AudioWork>& work);
void AddSpeexdsp(Contest& contest, const std::shared_ptr<AudioWork>& work);

#endif // ENCMGR_BENCH_AUDIO_WORK_H
