#include "host/base/WriteError.h"

#include <cerrno>
#include <system_error>

namespace host
{

namespace
{

struct WriteError {
    int error;
    const char* text; // null: as the system says it
};

constexpr WriteError kWriteErrors[] = {
    {ENOSPC, "the disk is full"},
    {EDQUOT, "the disk quota is used up"},
    {EFBIG, "the file would become larger than its file system or a limit (ulimit -f) allows"},
    {EPIPE, "nobody reads it any more"},
    {ECONNRESET, "nobody reads it any more"},
    {EIO, nullptr},
    {EROFS, nullptr},
    {ENXIO, nullptr},
    {ENODEV, nullptr},
    {ESTALE, nullptr},
    {ETIMEDOUT, nullptr},
};

const WriteError* Find(int error)
{
    for (const WriteError& entry : kWriteErrors)
        if (entry.error == error)
            return &entry;
    return nullptr;
}

} // namespace

int WriteErrorOf(int error)
{
    return Find(error) ? error : 0;
}

std::string WriteErrorText(int error)
{
    const WriteError* const entry = Find(error);
    return entry && entry->text ? entry->text : std::generic_category().message(error);
}

} // namespace host
