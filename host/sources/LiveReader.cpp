#include "host/sources/LiveReader.h"

#include "host/base/ReaderThread.h"

#include <chrono>
#include <thread>

namespace host
{

namespace
{

using namespace std::chrono_literals;

// So many pictures have room however large they are.
constexpr size_t kFewestPictures = 4;

constexpr auto kLongestStop = 1000ms;

} // namespace

size_t LiveQueue::BytesOf(const Item& item)
{
    size_t bytes = item.samples.size() * sizeof(int16_t);
    for (int i = 0; item.frame && i < AV_NUM_DATA_POINTERS && item.frame->buf[i]; ++i)
        bytes += item.frame->buf[i]->size;
    return bytes;
}

// Half of the memory is for the audio, which is minutes of it.
bool LiveQueue::HasRoom(const Item& item) const
{
    if (item.kind == Item::Kind::kAudio)
        return m_audioBytes + BytesOf(item) <= m_mostBytes / 2;
    return m_pictures.size() < kFewestPictures || m_pictureBytes + BytesOf(item) <= m_mostBytes / 2;
}

void LiveQueue::Put(Item item, Nanoseconds deadline)
{
    std::unique_lock lock(m_mutex);
    const bool isAudio = item.kind == Item::Kind::kAudio;
    const std::chrono::steady_clock::time_point until{std::chrono::nanoseconds(deadline)};
    m_isEmptied.wait_until(lock, until, [&] { return HasRoom(item) || m_isClosed; });
    if (!HasRoom(item)) {
        ++(isAudio ? m_droppedBlocks : m_droppedPictures);
        return;
    }
    (isAudio ? m_audioBytes : m_pictureBytes) += BytesOf(item);
    (isAudio ? m_blocks : m_pictures).push_back(std::move(item));
    m_isFilled.notify_one();
}

void LiveQueue::Close()
{
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
    m_isEmptied.notify_all();
}

void LiveQueue::AddReader()
{
    const std::lock_guard lock(m_mutex);
    ++m_readers;
}

void LiveQueue::EndReader()
{
    const std::lock_guard lock(m_mutex);
    --m_readers;
}

std::optional<Item> LiveQueue::Take(Nanoseconds patience)
{
    std::unique_lock lock(m_mutex);
    m_isFilled.wait_for(lock, std::chrono::nanoseconds(patience),
                        [this] { return !m_blocks.empty() || !m_pictures.empty(); });
    const bool isAudio = !m_blocks.empty();
    std::deque<Item>& queue = isAudio ? m_blocks : m_pictures;
    if (queue.empty())
        return std::nullopt;
    Item item = std::move(queue.front());
    queue.pop_front();
    (isAudio ? m_audioBytes : m_pictureBytes) -= BytesOf(item);
    m_isEmptied.notify_all();
    return item;
}

bool LiveQueue::HasPictures() const
{
    const std::lock_guard lock(m_mutex);
    return !m_pictures.empty();
}

bool LiveQueue::HasAudio() const
{
    const std::lock_guard lock(m_mutex);
    return !m_blocks.empty();
}

bool LiveQueue::IsOver() const
{
    const std::lock_guard lock(m_mutex);
    return m_readers == 0 && m_pictures.empty() && m_blocks.empty();
}

int64_t LiveQueue::DroppedPictures() const
{
    const std::lock_guard lock(m_mutex);
    return m_droppedPictures;
}

int64_t LiveQueue::DroppedBlocks() const
{
    const std::lock_guard lock(m_mutex);
    return m_droppedBlocks;
}

// Lives as long as the thread or the reader, whichever is longer.
struct LiveReader::State {
    std::shared_ptr<LiveInput> input;
    std::shared_ptr<LiveQueue> queue;
    std::thread thread;
    std::mutex mutex;
    std::condition_variable hasEnded;
    bool isOver = false;

    // An address waits in the network's buffers for as long as it may be late anyhow.
    void Read()
    {
        try {
            for (Item item = input->Next(); item.kind != Item::Kind::kEnd; item = input->Next()) {
                const Nanoseconds time = item.time;
                queue->Put(std::move(item), input->IsDevice() ? 0 : time + input->Delay());
            }
        } catch (const std::exception& error) {
            input->BreakOff(error.what());
        }
        queue->EndReader();
        const std::lock_guard lock(mutex);
        isOver = true;
        hasEnded.notify_one();
    }
};

LiveReader::LiveReader(std::shared_ptr<LiveInput> input, std::shared_ptr<LiveQueue> queue)
    : m_state(std::make_shared<State>())
{
    m_state->input = std::move(input);
    m_state->queue = std::move(queue);
    m_state->queue->AddReader();
    m_state->thread = StartReader([state = m_state] { state->Read(); });
}

LiveReader::~LiveReader()
{
    Stop();
}

bool LiveReader::HasEnded() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->isOver;
}

bool LiveReader::Stop()
{
    m_state->input->Stop();
    m_state->queue->Close();
    std::unique_lock lock(m_state->mutex);
    if (m_state->thread.joinable()) {
        m_state->hasEnded.wait_for(lock, kLongestStop, [this] { return m_state->isOver; });
        const bool isOver = m_state->isOver;
        lock.unlock();
        isOver ? m_state->thread.join() : m_state->thread.detach();
        return isOver;
    }
    return m_state->isOver;
}

} // namespace host
