// Threads that wait for input.
#ifndef ENCMGR_HOST_READER_THREAD_H
#define ENCMGR_HOST_READER_THREAD_H

#include <functional>
#include <thread>

namespace host
{

// The program's signals are for the thread that has the job; this one takes none of them. Throws std::system_error
// where there is no thread to be had.
std::thread StartReader(std::function<void()> read);

// Has a read, or another call of the system that the thread waits in, return with EINTR. What is about to wait isn't
// reached, so this is to be repeated until the thread has ended.
void WakeReader(std::thread& reader);

} // namespace host

#endif // ENCMGR_HOST_READER_THREAD_H
