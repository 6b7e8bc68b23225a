// The descriptors that every program may rely on.
#ifndef ENCMGR_STANDARD_STREAMS_H
#define ENCMGR_STANDARD_STREAMS_H

#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

// Opens those of the descriptors 0 to 2 that the caller has closed on /dev/null. Otherwise the next file that the
// program opens gets their number, and what is printed lands in it. They are opened the wrong way round, so that what
// needs one of them fails as it would without. For main, before anything else.
inline void OpenStandardStreams()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(descriptor, F_GETFD) == -1)
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY); // the lowest number that is free
}

#endif // ENCMGR_STANDARD_STREAMS_H
