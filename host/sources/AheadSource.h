// A source that is read and decoded on a thread of its own while what came before is being encoded.
#ifndef ENCMGR_HOST_AHEAD_SOURCE_H
#define ENCMGR_HOST_AHEAD_SOURCE_H

#include "host/sources/Source.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace host
{

// Gives the same as the source it takes over, in the same order, faults and exceptions among it. The thread begins with
// the first Next. Where there is a single processor, or no thread is to be had, it reads as it is asked.
class AheadSource final : public Source
{
public:
    explicit AheadSource(std::unique_ptr<Source> source);
    ~AheadSource() override;
    AheadSource(const AheadSource&) = delete;
    AheadSource& operator=(const AheadSource&) = delete;

    void Deinterlace(bool isEveryPicture) override;

    // Comes back with the end when the program is interrupted, whatever the source waits for.
    Item Next() override;

    // Ends the thread. What it has read by then isn't given.
    void Stop() override;

private:
    // An item, and what the source said of itself with it.
    struct Reading {
        Item item;
        std::string brokenOff;
        int64_t damaged = 0;
    };

    void Begin();
    void ReadAll();
    Reading ReadOne() const;
    bool HasRoom() const;
    Reading TakeReading();

    std::unique_ptr<Source> m_source;
    std::thread m_thread;
    bool m_hasBegun = false;
    bool m_isOver = false; // all is given

    std::mutex m_mutex; // for what follows
    std::condition_variable m_isFilled;
    std::condition_variable m_isEmptied; // or the thread has ended
    std::deque<Reading> m_readings;
    size_t m_pictures = 0;        // in m_readings
    std::exception_ptr m_failure; // behind m_readings
    bool m_isStopped = false;
    bool m_hasEnded = false; // the thread
};

} // namespace host

#endif // ENCMGR_HOST_AHEAD_SOURCE_H
