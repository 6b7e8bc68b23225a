// Live sources read on threads of their own, so that neither waits for the other or for an encoder.
#ifndef ENCMGR_HOST_LIVE_READER_H
#define ENCMGR_HOST_LIVE_READER_H

#include "host/sources/LiveInput.h"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace host
{

// What has come and isn't written yet: never more than so much memory.
class LiveQueue
{
public:
    explicit LiveQueue(size_t mostBytes) : m_mostBytes(mostBytes) {}

    // Waits for room until the deadline on Moment's steady clock; without it the item is dropped and counted.
    void Put(Item item, Nanoseconds deadline);

    // Nobody waits for room any longer.
    void Close();

    // Another reader is there, or has ended.
    void AddReader();
    void EndReader();

    // Audio first, of which none should be lost. Waits for the time given at most.
    std::optional<Item> Take(Nanoseconds patience);

    bool HasPictures() const;
    bool HasAudio() const;
    bool IsOver() const; // all readers have ended and all is taken

    // Pictures and blocks of audio that found no room.
    int64_t DroppedPictures() const;
    int64_t DroppedBlocks() const;

private:
    static size_t BytesOf(const Item& item);
    bool HasRoom(const Item& item) const;

    mutable std::mutex m_mutex;
    std::condition_variable m_isFilled;
    std::condition_variable m_isEmptied;
    std::deque<Item> m_pictures;
    std::deque<Item> m_blocks;
    size_t m_mostBytes;
    size_t m_pictureBytes = 0;
    size_t m_audioBytes = 0;
    int64_t m_droppedPictures = 0;
    int64_t m_droppedBlocks = 0;
    int m_readers = 0;
    bool m_isClosed = false;
};

// Reads a source to its end.
class LiveReader
{
public:
    LiveReader(std::shared_ptr<LiveInput> input, std::shared_ptr<LiveQueue> queue);

    // A thread that a driver or a sound server holds is left to itself.
    ~LiveReader();
    LiveReader(const LiveReader&) = delete;
    LiveReader& operator=(const LiveReader&) = delete;

    // Ends the reading. False if the thread doesn't come back: its input is not to be touched any more.
    bool Stop();

    bool HasEnded() const;

private:
    struct State;
    std::shared_ptr<State> m_state;
};

} // namespace host

#endif // ENCMGR_HOST_LIVE_READER_H
