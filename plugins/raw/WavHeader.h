// What stands before the samples of a WAV file: RIFF/WAVE, or RF64 (EBU Tech 3306) where 32 bits don't hold the sizes.
#ifndef ENCMGR_PLUGINS_WAV_HEADER_H
#define ENCMGR_PLUGINS_WAV_HEADER_H

#include <array>
#include <cstddef>
#include <cstdint>

// A header as it lies in the file: the first size bytes.
struct WavHeader {
    std::array<uint8_t, 104> bytes{}; // what the longest one takes
    size_t size = 0;
};

// In the place of the data's length: not known, as in a pipe. Readers then take the data to the end.
constexpr uint64_t kUnknownLength = UINT64_MAX;

// The header of dataBytes bytes of 16-bit samples. For one sampleRate and number of channels it has one size, whatever
// dataBytes is: a chunk that readers skip keeps the place of the 64-bit sizes until a file needs them.
WavHeader MakeWavHeader(int sampleRate, int channels, uint64_t dataBytes);

#endif // ENCMGR_PLUGINS_WAV_HEADER_H
