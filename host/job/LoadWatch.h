// A plug-in that doesn't come back from being loaded or unloaded.
#ifndef ENCMGR_HOST_LOAD_WATCH_H
#define ENCMGR_HOST_LOAD_WATCH_H

#include <condition_variable>
#include <mutex>
#include <thread>

namespace host
{

class Messages;

// While it lives, plug-ins are loaded or unloaded on another thread. It names the one that takes long, and ends the
// program if one takes a minute (kExitPluginEnd) or an interrupt comes, which nobody else would heed by then.
class LoadWatch
{
public:
    explicit LoadWatch(Messages& messages);
    ~LoadWatch();
    LoadWatch(const LoadWatch&) = delete;
    LoadWatch& operator=(const LoadWatch&) = delete;

private:
    void Watch();

    Messages& m_messages;
    std::mutex m_mutex;
    std::condition_variable m_ending;
    bool m_isEnding = false;
    std::thread m_thread;
};

} // namespace host

#endif // ENCMGR_HOST_LOAD_WATCH_H
