// Stands before the C library: counts what a program allocates and which threads it starts, and lets an allocation
// fail. It is linked into a test (Interposer.h), or loaded before a program by LD_PRELOAD, where the environment says
//
//   FAIL_ALLOCATION=N  which allocation fails, counted from 1
//   FAIL_MODULES=A:B   to count only those of modules whose file names begin so
//   REPORT_TO=PATH     where the count is written at the end
#include "tests/Interposer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>

Interposer g_interposer;

#pragma GCC visibility push(default) // shared libraries are to find what stands here

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's own names
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
// NOLINTEND(bugprone-reserved-identifier)

} // extern "C"

namespace
{

bool IsCounted(void* caller)
{
    Dl_info info = {};
    if (!g_interposer.modules)
        return true;
    if (!dladdr(caller, &info) || !info.dli_fname)
        return false;
    const char* const slash = std::strrchr(info.dli_fname, '/');
    const char* const name = slash ? slash + 1 : info.dli_fname;
    for (const char* word = g_interposer.modules; *word;) {
        const size_t length = std::strcspn(word, ":");
        if (std::strncmp(name, word, length) == 0)
            return true;
        word += length + (word[length] == ':');
    }
    return false;
}

// Whether this allocation is the one to fail.
bool Fails(void* caller)
{
    if (!IsCounted(caller))
        return false;
    ++g_interposer.allocations;
    if (g_interposer.failing == 0 || --g_interposer.failing != 0)
        return false;
    errno = ENOMEM;
    return true;
}

void* Held(void* block)
{
    const long held = g_interposer.bytes += static_cast<long>(malloc_usable_size(block));
    g_interposer.peak = std::max(held, g_interposer.peak.load());
    return block;
}

void Release(void* block)
{
    g_interposer.bytes -= static_cast<long>(malloc_usable_size(block));
}

} // namespace

#define CALLER __builtin_return_address(0)

extern "C" {

void* malloc(size_t size)
{
    return Fails(CALLER) ? nullptr : Held(__libc_malloc(size));
}

void* calloc(size_t count, size_t size)
{
    return Fails(CALLER) ? nullptr : Held(__libc_calloc(count, size));
}

void* realloc(void* old, size_t size)
{
    if (Fails(CALLER))
        return nullptr;
    const auto before = static_cast<long>(malloc_usable_size(old));
    void* const block = __libc_realloc(old, size);
    if (block || size == 0)
        g_interposer.bytes -= before;
    return Held(block);
}

void* memalign(size_t alignment, size_t size)
{
    return Fails(CALLER) ? nullptr : Held(__libc_memalign(alignment, size));
}

void* aligned_alloc(size_t alignment, size_t size)
{
    return Fails(CALLER) ? nullptr : Held(__libc_memalign(alignment, size));
}

int posix_memalign(void** block, size_t alignment, size_t size)
{
    *block = Fails(CALLER) ? nullptr : Held(__libc_memalign(alignment, size));
    return *block ? 0 : ENOMEM;
}

void free(void* block)
{
    Release(block);
    __libc_free(block);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument)
{
    static const auto real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    ++g_interposer.threads;
    return real(thread, attributes, run, argument);
}

} // extern "C"

static int (*g_main)(int, char**, char**);

// What libraries allocate as they are loaded is theirs: the count begins with the program.
static int CountedMain(int argc, char** argv, char** environment)
{
    g_interposer.modules = std::getenv("FAIL_MODULES");
    g_interposer.allocations = 0;
    if (const char* const number = std::getenv("FAIL_ALLOCATION"))
        g_interposer.failing = std::atol(number);
    return g_main(argc, argv, environment);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the C library's own name
extern "C" int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(),
                                 void (*fini)(), void (*end)(), void* stack)
{
    static const auto real = reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    g_main = main;
    return real(CountedMain, argc, argv, init, fini, end, stack);
}

[[gnu::destructor]] static void Report()
{
    const char* const path = std::getenv("REPORT_TO");
    FILE* const file = path ? std::fopen(path, "w") : nullptr;
    if (!file)
        return;
    std::fprintf(file, "%ld\n", g_interposer.allocations.load());
    std::fclose(file);
}
