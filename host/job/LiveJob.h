// The way from live sources to the file, by the real clock.
#ifndef ENCMGR_HOST_LIVE_JOB_H
#define ENCMGR_HOST_LIVE_JOB_H

#include "host/job/FrameWriter.h"
#include "host/job/JobPlan.h"
#include "host/job/JobResult.h"

#include <deque>
#include <limits>
#include <optional>

namespace host
{

// Pictures and audio are handed to the library as they come, with the times at which they were taken, and it drops
// pictures, fills and cuts audio. What doesn't come is held to the clock: the last picture stands, and silence is
// heard. A file starts with the first picture for which there is audio, or with silence if there is none for long.
//
// All times are of one clock.
class LiveJob final : public JobResult
{
public:
    struct Limits {
        std::optional<Nanoseconds> length; // of the file; to the picture and to the sample
        Nanoseconds pictureDelay = 0;      // how late pictures and audio may come
        Nanoseconds audioDelay = 0;
    };

    LiveJob(const JobPlan& plan, FrameWriter& writer, Tally& tally, const Limits& limits);

    // A picture or a block of audio, of each in the order of time.
    void Take(Item item);

    // All that has come so far is taken.
    void HoldPictures(Nanoseconds now);
    void HoldAudio(Nanoseconds now);

    // The file has begun.
    bool HasStarted() const { return m_origin.has_value(); }

    // The length is reached, or the file takes no more.
    bool IsOver() const;

    // The last call. If the whole length is wanted, the last picture and silence fill it.
    void End(bool isWhole);

    // Silence that was written for audio that didn't come.
    Nanoseconds Silence() const { return m_silence; }

    // Pictures that had no room before they came here, all in all.
    void CountLost(int64_t pictures);

private:
    void Start(Nanoseconds origin);
    void TakePicture(const Item& picture);
    void TakeAudio(const Item& block);
    void HoldPicturesTo(int64_t place);
    void HoldAudioTo(Nanoseconds time);
    void Write(Nanoseconds time, bool isRepeat);
    void WriteSamples(std::span<const int16_t> samples, Nanoseconds time);
    int64_t PlaceOf(Nanoseconds time) const;
    Nanoseconds TimeOfPlace(int64_t place) const;

    const JobPlan& m_plan;
    Limits m_limits;
    int64_t m_lastPlace = std::numeric_limits<int64_t>::max(); // of the output; exclusive
    std::optional<Nanoseconds> m_origin;                       // the start of the file
    std::optional<Nanoseconds> m_firstPicture;                 // before the start
    std::deque<Item> m_early;                                  // audio, too
    Item m_held;                                               // the last picture
    int64_t m_nextPlace = 0;                                   // of the output, the first without a picture
    Nanoseconds m_audioEnd = 0;                                // of what is written, in the file's time
    Nanoseconds m_silence = 0;
    int64_t m_droppedRun = 0; // pictures, up to the last
    int64_t m_lost = 0;
};

} // namespace host

#endif // ENCMGR_HOST_LIVE_JOB_H
