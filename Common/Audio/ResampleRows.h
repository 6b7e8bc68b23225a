// Row functions of the audio converter: resampling by linear interpolation, and the change of channels. Every form
// gives the same samples; the plain ones are the definition.
#ifndef ENCMGR_RESAMPLE_ROWS_H
#define ENCMGR_RESAMPLE_ROWS_H

#include <cstdint>

constexpr int kHistory = 2;   // samples of the block before that stand before a block
constexpr int kLookahead = 2; // samples after a block that may be read; their weight is 0

// From work[-kHistory] to work[n + kLookahead - 1] all is there to be read. Position i of the output lies
// (i + 1) * n / nOut - 1 positions into the block, the last one exactly on its last position: a correction by the
// balance stretches the block. Position -1 is the history. In stereo a position is a pair, while n and nOut count
// samples all the same.
//
// Of the output's positions, those from begin to before end are made, and out is where the one at begin goes.
struct ResampleBlock {
    const int16_t* work;
    int n;
    int nOut;
    int16_t* out;
    int begin;
    int end;
};

struct ResampleTable {
    // From position first on. Mono clamps results to -32767..32767, stereo gives -32768 too.
    void (*mono)(const ResampleBlock& block, int first);
    void (*stereo)(const ResampleBlock& block, int first);
    // count mono samples become count pairs; source and target lie apart.
    void (*monoToStereo)(const int16_t* src, int16_t* dst, int count);
    // count pairs become count mono samples: the sum of both halves, each truncated toward zero.
    void (*stereoToMono)(const int16_t* src, int16_t* dst, int count);
};

// Of the instruction set that is active now.
const ResampleTable& ResampleRows();

// ---- the plain forms ----
void ResampleMono(const ResampleBlock& block, int first);
void ResampleStereo(const ResampleBlock& block, int first);
void MonoToStereo(const int16_t* src, int16_t* dst, int count);
void StereoToMono(const int16_t* src, int16_t* dst, int count);

// ---- these put the forms of a set over those in the table ----
void OverwriteResampleSse41(ResampleTable& table);
void OverwriteResampleAvx2(ResampleTable& table);
void OverwriteResampleAvx512(ResampleTable& table);

#endif // ENCMGR_RESAMPLE_ROWS_H
