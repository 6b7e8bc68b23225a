// What a job hands its frames to.
#ifndef ENCMGR_HOST_FRAME_WRITER_H
#define ENCMGR_HOST_FRAME_WRITER_H

#include "host/sources/Source.h"

#include <span>

namespace host
{

class FrameWriter
{
public:
    virtual ~FrameWriter() = default;

    // Times count from the start of the file. The picture has the plan's source size; it is written once for each place
    // of the output from the first one without a picture up to the one of this time. Returns the copies written.
    virtual int WritePicture(const AVFrame& picture, Nanoseconds time, Nanoseconds duration) = 0;

    // samples: in the plan's source format. Returns the library's result, 0 if nothing was written.
    virtual int WriteSamples(std::span<const int16_t> samples, Nanoseconds time) = 0;

    // errno of a write that the system has refused: nothing more can be written. 0 if there was none.
    virtual int WriteError() const { return 0; }
};

} // namespace host

#endif // ENCMGR_HOST_FRAME_WRITER_H
