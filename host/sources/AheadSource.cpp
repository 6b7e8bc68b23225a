#include "host/sources/AheadSource.h"

#include "host/base/Interrupt.h"
#include "host/base/ReaderThread.h"

#include <chrono>
#include <system_error>
#include <utility>

extern "C" {
#include <libavutil/cpu.h>
}

namespace host
{

namespace
{

using namespace std::chrono_literals;

// What waits to be taken at most: enough that neither side waits for the other's slower pictures, and little memory
// even if they are large.
constexpr size_t kMostPictures = 4;
constexpr size_t kMostReadings = 256;

// How often a wait looks for an interrupt, and a thread that waits in a read is woken.
constexpr auto kLook = 20ms;

} // namespace

AheadSource::AheadSource(std::unique_ptr<Source> source) : Source(*source), m_source(std::move(source)) {}

AheadSource::~AheadSource()
{
    Stop();
}

void AheadSource::Deinterlace(bool isEveryPicture)
{
    m_source->Deinterlace(isEveryPicture);
}

Item AheadSource::Next()
{
    if (!m_hasBegun)
        Begin();
    if (m_isOver)
        return {};
    m_isOver = true; // should this throw
    Reading reading = m_thread.joinable() ? TakeReading() : ReadOne();
    m_brokenOff = std::move(reading.brokenOff);
    m_damaged = reading.damaged;
    m_isOver = reading.item.kind == Item::Kind::kEnd;
    return std::move(reading.item);
}

void AheadSource::Stop()
{
    m_isOver = true;
    if (!m_thread.joinable())
        return;
    m_source->Stop();
    {
        std::unique_lock lock(m_mutex);
        m_isStopped = true;
        m_isEmptied.notify_all();
        while (!m_isEmptied.wait_for(lock, kLook, [this] { return m_hasEnded; }))
            WakeReader(m_thread);
    }
    m_thread.join();
}

void AheadSource::Begin()
{
    m_hasBegun = true;
    if (av_cpu_count() == 1)
        return;
    try {
        m_thread = StartReader([this] { ReadAll(); });
    } catch (const std::system_error&) {
        // It goes without.
    }
}

void AheadSource::ReadAll()
{
    try {
        bool isOver = false;
        while (!isOver) {
            Reading reading = ReadOne();
            const bool isPicture = reading.item.kind == Item::Kind::kPicture;
            std::unique_lock lock(m_mutex);
            m_isEmptied.wait(lock, [this] { return HasRoom() || m_isStopped; });
            isOver = reading.item.kind == Item::Kind::kEnd || m_isStopped;
            m_readings.push_back(std::move(reading));
            m_pictures += isPicture;
            m_isFilled.notify_one();
        }
    } catch (...) {
        m_failure = std::current_exception();
    }
    const std::lock_guard lock(m_mutex);
    m_hasEnded = true;
    m_isFilled.notify_one();
    m_isEmptied.notify_all();
}

AheadSource::Reading AheadSource::ReadOne() const
{
    Reading reading = {m_source->Next(), {}, 0};
    reading.brokenOff = m_source->BrokenOff();
    reading.damaged = m_source->Damaged();
    return reading;
}

bool AheadSource::HasRoom() const
{
    return m_pictures < kMostPictures && m_readings.size() < kMostReadings;
}

AheadSource::Reading AheadSource::TakeReading()
{
    std::unique_lock lock(m_mutex);
    while (!m_isFilled.wait_for(lock, kLook, [this] { return !m_readings.empty() || m_hasEnded; }))
        if (InterruptSignal())
            return {};
    if (m_readings.empty())
        std::rethrow_exception(m_failure);
    Reading reading = std::move(m_readings.front());
    m_readings.pop_front();
    m_pictures -= reading.item.kind == Item::Kind::kPicture;
    m_isEmptied.notify_one();
    return reading;
}

} // namespace host
