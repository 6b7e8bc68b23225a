// Turns blocks of 16-bit interleaved PCM from one channel count and sample rate into another.
#ifndef ENCMGR_AUDIO_CONVERTER_H
#define ENCMGR_AUDIO_CONVERTER_H

#include "encmgr/Export.h"

#include <atomic>
#include <cstdint>

// Resamples by linear interpolation, without a low-pass filter, block by block. Two samples of history make blocks
// join up, and a running balance keeps the output in line with the ratio of the rates over any number of blocks.
//
// A sample is one 16-bit value; all counts are of such values, so a stereo pair counts as two. Channel counts are 1
// and 2: other input counts that differ from the output's are taken as stereo, other output counts are made as
// stereo. A rate of 0 or less makes no samples.
//
// An object belongs to one thread at a time. The balance is one value per process: converters on two threads at the
// same moment each may gain or lose a sample.
class ENCMGR_API CAudioConverter
{
public:
    // nCapacity: samples in each buffer to begin with, 0 (or less) for 0x40000. Buffers grow as blocks need.
    CAudioConverter(int nSrcChannels, int nDstChannels, int nSrcRate, int nDstRate, int nCapacity);
    ~CAudioConverter();
    CAudioConverter(const CAudioConverter&) = delete;
    CAudioConverter& operator=(const CAudioConverter&) = delete;

    // Takes a block of whole sample blocks and returns the number of finished samples that now wait. A null block and
    // one beyond what 32-bit counts can hold make none.
    int Put(const short* pSamples, int nSamples);
    // Converts a block to after the waiting samples and returns how many it made. They don't count as waiting: that is
    // Put's part.
    int ConvertData(const short* pSamples, int nSamples);
    // Hands out up to nMax waiting samples, the oldest first, and returns how many.
    int Get(short* pOut, int nMax);
    int GetFreeSize() const;  // samples that fit behind those that wait, before the buffer grows
    int GetValidSize() const; // samples that wait
    // Drops the waiting samples. History and balance stay.
    void Reset();

    // The longest block of whole sample blocks, one at least, that converts to no more than nMaxOut samples as the
    // balance stands now.
    ENCMGR_LOCAL int LongestBlock(int nMaxOut) const;

    // Converts a block piece by piece, where all of it at once would take too much memory: Begin takes the block and
    // returns how many samples it gives, Make hands out nCount of them from the nFirst-th on (both even for stereo),
    // and End follows the last piece. The waiting samples are left alone. REQUIRES: no other block in between.
    ENCMGR_LOCAL int Begin(const short* pSamples, int nSamples);
    ENCMGR_LOCAL void Make(short* pOut, int nFirst, int nCount) const;
    ENCMGR_LOCAL void End();
    // How many samples Begin would return.
    ENCMGR_LOCAL int CountOf(int nSamples) const;

    ENCMGR_LOCAL int SourceRate() const { return m_nSrcRate; }
    ENCMGR_LOCAL int SourceChannels() const { return m_nSrcChannels; }

    // The balance, in samples at the source rate after the channel step: input that came in minus input that the
    // output so far stands for. 0 when the library is loaded; nothing resets it.
    ENCMGR_LOCAL static std::atomic<double>& Spare();

private:
    ENCMGR_LOCAL bool Reserve(int64_t nOutput, int64_t nWork);
    ENCMGR_LOCAL void Grow(int64_t nCapacity);
    ENCMGR_LOCAL bool IsCopy() const;
    ENCMGR_LOCAL int64_t SamplesAfterChannels(int64_t nSamples) const;
    ENCMGR_LOCAL int OutputCount(int64_t nWork) const;
    ENCMGR_LOCAL void FillWork(const short* pSamples, int nWork);

    int16_t* m_pOutput; // finished samples from index 0
    int16_t* m_pWork;   // one block from index 2 on, after the two samples of history
    int32_t m_nCapacity;
    int32_t m_nValid = 0;
    int32_t m_nBlock = 0;    // samples of the block in work, after the channel step
    int32_t m_nBlockOut = 0; // and what it gives
    int32_t m_nSrcChannels;
    int32_t m_nDstChannels;
    int32_t m_nSrcRate;
    int32_t m_nDstRate;
};

#endif // ENCMGR_AUDIO_CONVERTER_H
