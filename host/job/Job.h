// The way from the sources to the file, in step.
#ifndef ENCMGR_HOST_JOB_H
#define ENCMGR_HOST_JOB_H

#include "host/job/JobWriter.h"
#include "host/job/Progress.h"
#include "host/job/TimeMerge.h"

namespace host
{

// Hands all that the sources give to the library. The clock starts with the first picture or sample of both.
//
// The library fills a gap in the pictures with copies of the picture that ends it, as a live source needs it. A file's
// picture stands until the next one, so the job hands over the old one again, up to just before the new one.
class Job
{
public:
    Job(const JobPlan& plan, TimeMerge& merge, JobWriter& writer, Progress& progress);

    // Until the sources end, enough pictures are written, the program is interrupted, or the file takes no more.
    void Run();

    const Counts& GetCounts() const { return m_counts; }

    // What the sources gave, and whether the library wrote any of it.
    bool HadPicture() const { return m_hadPicture; }
    bool HadAudio() const { return m_hadAudio; }
    bool WroteAudio() const { return m_wroteAudio; }

    // The time reached.
    Nanoseconds Position() const { return m_position; }

    // A stream was refused for so long that the job was given up.
    bool IsRefused() const;

private:
    Nanoseconds FindOrigin();
    bool IsOver() const;
    void TakePicture(Item picture);
    void TakeAudio(const Item& block);
    void EndPictures();
    void HoldUntil(Nanoseconds time);
    void Write(const Item& picture, Nanoseconds time, bool isRepeat);
    int64_t PictureDueAt(Nanoseconds time) const;
    Nanoseconds TimeOfPicture(int64_t number) const;

    const JobPlan& m_plan;
    TimeMerge& m_merge;
    JobWriter& m_writer;
    Progress& m_progress;
    Nanoseconds m_origin = 0; // the start of the file, in the sources' time
    Item m_held;              // the last picture, its time on the job's clock
    Nanoseconds m_position = 0;
    Counts m_counts;
    bool m_hadPicture = false;
    bool m_hadAudio = false;
    bool m_wroteAudio = false;
    bool m_videoOver;
    bool m_audioOver;
    int64_t m_nextPlace = 0;   // of the output, the first without a picture
    int m_pictureRefusals = 0; // in a row
    int m_audioRefusals = 0;   // in a row
};

} // namespace host

#endif // ENCMGR_HOST_JOB_H
