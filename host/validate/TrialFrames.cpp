#include "host/validate/TrialFrames.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace host
{

namespace
{

constexpr double kTicksPerSecond = 1e7;

int Half(int size)
{
    return (size + 1) / 2;
}

// The last row ends with its pixels.
size_t PlaneBytes(int width, int height, int wider)
{
    return static_cast<size_t>(width + wider) * static_cast<size_t>(std::max(height - 1, 0)) +
           static_cast<size_t>(width);
}

} // namespace

GuardedBlock::GuardedBlock(size_t size, FrameMemory memory)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t spare = memory.guard == FrameMemory::Guard::kNone ? 2 * page : 0;
    const size_t inner = (size + page - 1) / page * page + spare;
    m_mapped = inner + 2 * page;
    m_map = mmap(nullptr, m_mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m_map == MAP_FAILED)
        throw std::bad_alloc();
    // In the middle, what is read beyond the bounds is there.
    const size_t offset = memory.guard == FrameMemory::Guard::kBehind   ? inner - size
                          : memory.guard == FrameMemory::Guard::kBefore ? 0
                                                                        : page;
    m_data = static_cast<unsigned char*>(m_map) + page + offset;
    Allow(Access::kWrite);
}

GuardedBlock::~GuardedBlock()
{
    if (m_map)
        munmap(m_map, m_mapped);
}

GuardedBlock::GuardedBlock(GuardedBlock&& other) noexcept
    : m_map(std::exchange(other.m_map, nullptr)), m_mapped(other.m_mapped), m_data(other.m_data)
{
}

void GuardedBlock::Allow(Access access)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const int protection = access == Access::kNone   ? PROT_NONE
                           : access == Access::kRead ? PROT_READ
                                                     : PROT_READ | PROT_WRITE;
    if (m_map)
        mprotect(static_cast<unsigned char*>(m_map) + page, m_mapped - 2 * page, protection);
}

TrialFrames::TrialFrames(const FrameShape& shape, FrameMemory memory) : m_shape(shape), m_memory(memory)
{
    const auto add = [&](size_t size) { m_planes.emplace_back(size, memory); };
    for (int set = 0; set < (memory.isTakenBack ? 2 : 1); ++set) {
        add(PlaneBytes(shape.width, shape.height, shape.wider));
        add(PlaneBytes(Half(shape.width), Half(shape.height), shape.wider));
        add(PlaneBytes(Half(shape.width), Half(shape.height), shape.wider));
        add(static_cast<size_t>(shape.sampleRate / shape.rate + 2) * 2 * static_cast<size_t>(shape.channels));
    }
}

GuardedBlock& TrialFrames::Plane(int number, size_t which)
{
    return m_planes[which + (m_memory.isTakenBack && number % 2 ? 4 : 0)];
}

int64_t TrialFrames::TimeOf(int number) const
{
    return static_cast<int64_t>(std::llround(number * kTicksPerSecond / m_shape.rate));
}

int TrialFrames::BlockSamples(int number) const
{
    const auto reached = [this](int count) { return static_cast<int>(count * (m_shape.sampleRate / m_shape.rate)); };
    return reached(number + 1) - reached(number);
}

void TrialFrames::Fill(GuardedBlock& plane, int width, int height, int seed) const
{
    plane.Allow(GuardedBlock::Access::kWrite);
    unsigned char* row = plane.Data();
    for (int y = 0; y < height; ++y, row += width + m_shape.wider) {
        for (int x = 0; x < width; ++x)
            row[x] = static_cast<unsigned char>(64 + ((3 * x + 5 * y + 7 * seed) & 127));
        if (y + 1 < height)
            std::memset(row + width, m_shape.beyond, static_cast<size_t>(m_shape.wider));
    }
    if (m_memory.isReadOnly)
        plane.Allow(GuardedBlock::Access::kRead);
}

MEDIA_FRAME TrialFrames::Picture(int number)
{
    Fill(Plane(number, 0), m_shape.width, m_shape.height, number);
    Fill(Plane(number, 1), Half(m_shape.width), Half(m_shape.height), number + 20);
    Fill(Plane(number, 2), Half(m_shape.width), Half(m_shape.height), number + 40);
    MEDIA_FRAME frame = {};
    frame.video.pY = Plane(number, 0).Data();
    frame.video.pU = Plane(number, 1).Data();
    frame.video.pV = Plane(number, 2).Data();
    frame.video.nWidth = m_shape.width;
    frame.video.nHeight = m_shape.height;
    frame.video.nPitchY = m_shape.width + m_shape.wider;
    frame.video.nPitchU = frame.video.nPitchV = Half(m_shape.width) + m_shape.wider;
    frame.llStreamTime = frame.llTimeStamp = TimeOf(number);
    frame.nDuration = static_cast<int32_t>(TimeOf(number + 1) - TimeOf(number));
    return frame;
}

MEDIA_FRAME TrialFrames::Block(int number)
{
    const int bytes = BlockSamples(number) * m_shape.channels * 2;
    GuardedBlock& sound = Plane(number, 3);
    sound.Allow(GuardedBlock::Access::kWrite);
    for (int i = 0; i + 1 < bytes; i += 2) {
        const auto sample = static_cast<int16_t>((i * 37 + number * 101) % 8000 - 4000);
        std::memcpy(sound.Data() + i, &sample, 2);
    }
    if (m_memory.isReadOnly)
        sound.Allow(GuardedBlock::Access::kRead);
    MEDIA_FRAME frame = {};
    frame.audio.nSampleRate = m_shape.sampleRate;
    frame.audio.nChannels = m_shape.channels;
    frame.audio.nBitsPerSample = 16;
    frame.audio.pData = sound.Data();
    frame.audio.nDataSize = frame.audio.nBufferSize = bytes;
    // Where the samples so far have led to, so that no gap is to be filled.
    const double reached = static_cast<int>(number * (m_shape.sampleRate / m_shape.rate));
    frame.llStreamTime = frame.llTimeStamp =
        static_cast<int64_t>(std::llround(reached * kTicksPerSecond / m_shape.sampleRate));
    frame.nDuration = static_cast<int32_t>(std::llround(BlockSamples(number) * kTicksPerSecond / m_shape.sampleRate));
    return frame;
}

void TrialFrames::TakeBack()
{
    for (GuardedBlock& plane : m_planes)
        if (m_memory.isTakenBack)
            plane.Allow(GuardedBlock::Access::kNone);
}

} // namespace host
