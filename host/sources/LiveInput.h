// Screens, cameras, sound and addresses, in real time.
#ifndef ENCMGR_HOST_LIVE_INPUT_H
#define ENCMGR_HOST_LIVE_INPUT_H

#include "host/sources/Libav.h"
#include "host/sources/LiveClock.h"
#include "host/sources/LiveName.h"
#include "host/sources/PictureConverter.h"
#include "host/sources/PictureFilter.h"
#include "host/sources/SampleConverter.h"
#include "host/sources/Source.h"
#include "host/sources/StampClock.h"
#include "host/sources/StreamInfo.h"

#include <atomic>
#include <deque>

namespace host
{

// Its items have the times of Moment's steady clock at which they were taken, or came. Next waits for them; it gives
// nothing much before its time, so that even a file comes in real time. All but Stop is for one thread at a time.
class LiveInput : public Source
{
public:
    // rate: at which a device is asked for pictures, if the source's name doesn't say. Throws HostError.
    LiveInput(const std::string& name, const Wanted& wanted, AVRational rate, Messages& messages);

    void Deinterlace(bool isEveryPicture) override;
    Item Next() override;
    void Stop() override { m_isStopped = true; }

    // Ends the source for a reason that isn't its own.
    void BreakOff(const std::string& reason) { m_brokenOff = reason; }

    bool IsDevice() const { return m_isDevice; }

    // How late items may be in the ordinary course of things.
    Nanoseconds Delay() const { return m_delay; }

private:
    struct Track {
        AVStream* stream = nullptr; // null: the track isn't used
        LibavOwned<AVCodecContext> decoder;
    };

    static int StopsNow(void* input); // of LiveInput*
    void OpenDevice(const LiveName& live, const std::string& name, AVRational rate, Messages& messages);
    void OpenTracks(const Wanted& wanted, const std::string& name);
    void OpenTrack(Track& track, int streamIndex, const std::string& name);
    void OpenVideo(int streamIndex, const std::string& name);
    void OpenAudio(int streamIndex, const AudioFormat& wanted, const std::string& name);
    void FilterPictures(Deinterlacing deinterlacing);

    void ReadPacket();
    void NoteArrival();
    void End(int failure);
    void Decode(Track& track, AVPacket* packet);
    void NoteDamage();
    void TakePicture();
    void TakeFiltered();
    void AddSamples(std::optional<std::vector<int16_t>> samples);
    Nanoseconds TimeOf(const Track& track) const;

    std::atomic<bool> m_isStopped = false;
    bool m_isDevice = false;
    Nanoseconds m_delay = 0;
    LibavOwned<AVFormatContext> m_container;
    LibavOwned<AVPacket> m_packet;
    std::shared_ptr<AVFrame> m_frame; // the one just decoded
    Track m_videoTrack;
    Track m_audioTrack;
    std::optional<LiveClock> m_clock;
    std::optional<StampClock> m_pictureClock;
    std::optional<SampleClock> m_sampleClock;
    std::optional<PictureConverter> m_pictures;
    Turn m_turn;
    std::optional<PictureFilter> m_filter;
    std::optional<SampleConverter> m_samples;
    std::deque<Item> m_ready;
    bool m_isAtEnd = false;
};

} // namespace host

#endif // ENCMGR_HOST_LIVE_INPUT_H
