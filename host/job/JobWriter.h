// One job of the library: frames in, a file out, and what became of it.
#ifndef ENCMGR_HOST_JOB_WRITER_H
#define ENCMGR_HOST_JOB_WRITER_H

#include "host/job/FrameWriter.h"
#include "host/job/JobPlan.h"
#include "host/job/OutputFile.h"
#include "host/job/Tally.h"
#include "host/sources/Source.h"
#include "media_file/MediaFile.h"

namespace host
{

// What the format said at the close. A format may say nothing at all.
struct CloseReport {
    bool wasCalled = false;
    bool isComplete = false;
    int64_t pictures = 0;
    int64_t audioMilliseconds = 0;
    int writeError = 0; // errno of a write that the system has refused
};

class JobWriter final : public FrameWriter
{
public:
    // Sets the job up. Throws HostError, also if a stream that was asked for has come to nothing; one of two may, if
    // the plan allows it. tally, which gets what becomes of the audio, outlives the writer.
    JobWriter(const JobPlan& plan, const OutputFile& output, Tally& tally);

    // The streams that the file has.
    Streams Made() const;

    // The job as the library and its plug-ins have settled it.
    const MediaFile& Settled() const { return m_file; }

    int WritePicture(const AVFrame& picture, Nanoseconds time, Nanoseconds duration) override;
    int WriteSamples(std::span<const int16_t> samples, Nanoseconds time) override;
    int WriteError() const override { return m_writeError; }

    // Finishes the file; the destructor does so, too, but reports nothing.
    CloseReport Close();

private:
    void RefuseLostStreams() const;
    int Noted(int result);
    int WriteBlock(std::span<const int16_t> samples, Nanoseconds time);

    const JobPlan& m_plan;
    Tally& m_tally;
    MediaFile m_file;
    std::optional<PictureScaler> m_scaler; // if pictures are scaled before the library gets them
    int m_writeError = 0;
};

} // namespace host

#endif // ENCMGR_HOST_JOB_WRITER_H
