// The way from the sources to the file, in step.
#ifndef ENCMGR_HOST_JOB_H
#define ENCMGR_HOST_JOB_H

#include "host/job/FrameWriter.h"
#include "host/job/JobPlan.h"
#include "host/job/JobResult.h"
#include "host/job/PicturePlaces.h"
#include "host/job/Progress.h"
#include "host/job/TimeMerge.h"

namespace host
{

// Hands all that the sources give to the library. The clock starts with the first picture or sample of both.
//
// The job decides which picture stands at which place of the output, and hands it over with that place's time, at which
// the library writes it just once. A place without a picture of its own shows the one before, as a file's picture
// stands until the next; the library by itself would show the one behind, as a live source needs it.
class Job final : public JobResult
{
public:
    Job(const JobPlan& plan, TimeMerge& merge, FrameWriter& writer, Tally& tally, Progress& progress);

    // Until the sources or the part that the plan takes of them end, enough pictures are written, the program is
    // interrupted, or the file takes no more.
    void Run();

private:
    void Begin();
    Item NextItem();
    bool IsGivenUp() const;
    bool IsOver() const;
    void CheckGap(int64_t place);
    void CheckStrictness(Nanoseconds time);
    void TakePicture(Item picture);
    void TakeAudio(const Item& block);
    void EndPictures();
    void Show(PicturePlaces::Placed placed);
    void HoldUpTo(int64_t place);
    void Write(int64_t place, bool isRepeat);
    int64_t EndOf(const Item& picture) const;
    double PositionOf(Nanoseconds time) const;
    int64_t NearestPlace(Nanoseconds time) const;
    Nanoseconds TimeOfPlace(int64_t place) const;

    const JobPlan& m_plan;
    TimeMerge& m_merge;
    Progress& m_progress;
    Nanoseconds m_origin = 0;              // the start of the file, in the sources' time
    std::deque<Item> m_waiting;            // read to find it
    std::optional<int64_t> m_limit;        // of pictures
    std::optional<Nanoseconds> m_audioEnd; // on the job's clock
    PicturePlaces m_places;
    Item m_held;             // the last picture shown, its time on the job's clock
    int64_t m_end = 0;       // of the source's last picture, as the first place behind it
    int64_t m_nextPlace = 0; // of the output, the first without a picture
    bool m_videoOver;
    bool m_audioOver;
};

} // namespace host

#endif // ENCMGR_HOST_JOB_H
