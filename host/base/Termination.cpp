#include "host/base/Termination.h"

#include "host/base/ExitCode.h"
#include "host/base/PluginGuard.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <exception>
#include <new>
#include <unistd.h>

namespace host
{

namespace
{

char s_unfinished[PATH_MAX]; // there is no memory to be had where it is needed

const char* Reason()
{
    try {
        if (const std::exception_ptr error = std::current_exception())
            std::rethrow_exception(error);
    } catch (const std::bad_alloc&) {
        return "there isn't enough memory";
    } catch (...) {
    }
    return "an internal error, or there isn't enough memory";
}

[[noreturn]] void Terminate()
{
    std::fprintf(stderr, "encmgr: error: %s\n", Reason());
    RemoveUnfinishedFile();
    EndNow(kExitInternal);
}

} // namespace

void RemoveUnfinishedFile()
{
    if (*s_unfinished)
        unlink(s_unfinished);
}

void CatchTermination()
{
    std::set_terminate(Terminate);
}

void SetUnfinishedFile(const std::string& path)
{
    s_unfinished[0] = '\0';
    if (path.size() < sizeof(s_unfinished))
        *std::copy(path.begin(), path.end(), s_unfinished) = '\0';
}

} // namespace host
