// The decisions that hold a job's streams to the host's clock. Pure: they look at times and counts, and the paths act.
// Times are in 100 ns, rates in Hz.
#ifndef ENCMGR_PACING_H
#define ENCMGR_PACING_H

#include "encmgr/PluginRecords.h"

#include <cstdint>
#include <optional>

// Frame rates that lie closer than this count as equal.
constexpr double DefaultPrecision = 0.001;

// How often a picture is written so that the count of pictures reaches the one due at streamTime; 0 or less drops it.
// 0 too for a time so far away that 32 bits can't count the pictures up to there.
int64_t CopiesDue(int64_t streamTime, double targetRate, int32_t framesOut);

// A job that isn't paced only thins out: whether a picture is written, given the time of the last one written
// (-1: none yet). At a target rate above the source's all are, and so they are at a rate that has no period.
bool IsWrittenUnpaced(int64_t timeStamp, int64_t lastTime, double targetRate, double sourceRate);

// The output format in the units of the audio path.
struct AudioRate {
    int64_t samplesPerSecond; // of all channels
    double bytesPerSecond;
};

// Nothing for a format in which audio has no length, less than a byte in a second.
std::optional<AudioRate> RateOf(const EncodeParamAudio& format);

// Distance from the position reached to a block, in samples of all channels: positive is a gap, negative an overlap.
// Nothing for a gap whose sample blocks 32 bits can't count, which no real clock makes.
std::optional<int64_t> GapSamples(int64_t streamTime, int64_t bytesOut, const EncodeParamAudio& format,
                                  const AudioRate& rate);

// Bytes of a count of samples of all channels, rounded down.
int64_t BytesOfSamples(int64_t samples, const EncodeParamAudio& format);

// Time that a count of bytes takes, rounded: as a place on the clock, and as a frame's duration.
int64_t TimeOfBytes(int64_t bytes, const AudioRate& rate);
int32_t DurationOfBytes(int bytes, const AudioRate& rate);

#endif // ENCMGR_PACING_H
