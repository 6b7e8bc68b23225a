// What Interposer.cpp, linked into a test, counts and lets fail.
#ifndef ENCMGR_TESTS_INTERPOSER_H
#define ENCMGR_TESTS_INTERPOSER_H

#include <atomic>

struct Interposer {
    std::atomic<long> allocations; // made so far
    std::atomic<long> bytes;       // held now, as the C library rounds them up
    std::atomic<long> peak;        // held at most, to be set by the test before
    std::atomic<long> threads;     // started so far
    std::atomic<long> failing;     // 1: the next allocation fails; 0: none does
    const char* modules;           // "A:B": allocations are those of modules whose file names begin so; null: of all
};
extern Interposer g_interposer;

#endif // ENCMGR_TESTS_INTERPOSER_H
