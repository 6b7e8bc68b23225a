// Locks that a child process finds free, whatever the parent's other threads were doing when it forked.
#ifndef ENCMGR_LOG_FORK_SAFE_H
#define ENCMGR_LOG_FORK_SAFE_H

#include <new>
#include <pthread.h>
#include <type_traits>

// For the state that State() returns, which has a mutex and is never destroyed: to be called once. While the process
// forks no other thread has the lock, so that the child's copy of the state is whole.
template <auto State> bool KeepOverForks()
{
    const auto renew = [] {
        auto& mutex = State().mutex;
        new (&mutex) std::remove_reference_t<decltype(mutex)>; // its owner is a thread of the parent
    };
    return pthread_atfork([] { State().mutex.lock(); }, [] { State().mutex.unlock(); }, renew) == 0;
}

#endif // ENCMGR_LOG_FORK_SAFE_H
