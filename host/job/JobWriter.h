// One job of the library: frames in, a file out, and what became of it.
#ifndef ENCMGR_HOST_JOB_WRITER_H
#define ENCMGR_HOST_JOB_WRITER_H

#include "host/job/JobPlan.h"
#include "host/job/OutputFile.h"
#include "host/sources/Source.h"
#include "media_file/MediaFile.h"

#include <span>

namespace host
{

// What the format said at the close. A format may say nothing at all.
struct CloseReport {
    bool wasCalled = false;
    bool isComplete = false;
    int64_t pictures = 0;
    int64_t audioMilliseconds = 0;
};

class JobWriter
{
public:
    // Sets the job up. Throws HostError, also if a stream that was asked for has come to nothing.
    JobWriter(const JobPlan& plan, const OutputFile& output);

    // Times count from the start of the file. The picture has the plan's source size. Returns the copies written.
    int WritePicture(const AVFrame& picture, Nanoseconds time, Nanoseconds duration);

    // samples: in the plan's source format. Returns the library's result, 0 if nothing was written.
    int WriteSamples(std::span<const int16_t> samples, Nanoseconds time);

    // Finishes the file; the destructor does so, too, but reports nothing.
    CloseReport Close();

private:
    const JobPlan& m_plan;
    MediaFile m_file;
};

} // namespace host

#endif // ENCMGR_HOST_JOB_WRITER_H
