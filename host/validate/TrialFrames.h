// Pictures and sound for jobs on trial, in memory whose bounds can be guarded.
#ifndef ENCMGR_HOST_TRIAL_FRAMES_H
#define ENCMGR_HOST_TRIAL_FRAMES_H

#include "encmgr/PluginRecords.h"

#include <cstdint>
#include <vector>

namespace host
{

// How the memory of frames is kept from those who get to see them.
struct FrameMemory {
    enum class Guard { kNone, kBehind, kBefore };
    Guard guard = Guard::kNone; // each plane ends, or begins, where no memory is
    bool isReadOnly = false;    // while it is handed out
    bool isTakenBack = false;   // after the call nobody can read it
};

struct FrameShape {
    int width = 0; // 0: no pictures
    int height = 0;
    int wider = 0;            // bytes of each row behind its pixels
    unsigned char beyond = 0; // what stands in them
    int sampleRate = 0;
    int channels = 0;
    double rate = 25.0; // of pictures; a block of sound lasts as long as one
};

class GuardedBlock
{
public:
    GuardedBlock(size_t size, FrameMemory memory);
    ~GuardedBlock();
    GuardedBlock(GuardedBlock&& other) noexcept;
    GuardedBlock(const GuardedBlock&) = delete;
    GuardedBlock& operator=(const GuardedBlock&) = delete;
    GuardedBlock& operator=(GuardedBlock&&) = delete;

    unsigned char* Data() { return m_data; }
    enum class Access { kNone, kRead, kWrite };
    void Allow(Access access);

private:
    void* m_map = nullptr;
    size_t m_mapped = 0;
    unsigned char* m_data = nullptr;
};

// Moving patterns; the same in each run. One frame at a time: the next one takes the memory of the one before. Memory
// that is taken back comes twice, for even and odd numbers, so that what was handed out last stays out of reach.
class TrialFrames
{
public:
    TrialFrames(const FrameShape& shape, FrameMemory memory);

    MEDIA_FRAME Picture(int number);
    MEDIA_FRAME Block(int number);
    void TakeBack(); // what was handed out last

    // 100 ns units.
    int64_t TimeOf(int number) const;
    int BlockSamples(int number) const; // of one channel

private:
    void Fill(GuardedBlock& plane, int width, int height, int seed) const;

    FrameShape m_shape;
    FrameMemory m_memory;
    GuardedBlock& Plane(int number, size_t which);

    std::vector<GuardedBlock> m_planes; // Y, U, V, and sound; once or twice
};

} // namespace host

#endif // ENCMGR_HOST_TRIAL_FRAMES_H
