// Media files, pipes and addresses, through libavformat and libavcodec.
#ifndef ENCMGR_HOST_MEDIA_INPUT_H
#define ENCMGR_HOST_MEDIA_INPUT_H

#include "host/sources/FrameTimes.h"
#include "host/sources/Libav.h"
#include "host/sources/PacketReader.h"
#include "host/sources/PictureConverter.h"
#include "host/sources/PictureFilter.h"
#include "host/sources/SampleConverter.h"
#include "host/sources/Source.h"
#include "host/sources/StreamInfo.h"

#include <deque>

namespace host
{

// Its best video and its best audio stream, decoded, with times that count from the start of the file. Decode errors
// leave pieces out and go on.
class MediaInput : public Source
{
public:
    // Opens the input and the decoders of what is wanted and there. Throws HostError.
    MediaInput(const std::string& name, const Wanted& wanted, Messages& messages);

    void Deinterlace(bool isEveryPicture) override;
    Item Next() override;
    void Stop() override { m_reader.Stop(); }

private:
    struct Track {
        AVStream* stream = nullptr; // null: the track isn't used
        LibavOwned<AVCodecContext> decoder;
        size_t number = 0; // in m_times
    };

    void OpenVideo(int streamIndex);
    void OpenAudio(int streamIndex, const AudioFormat& wanted);
    void OpenTrack(Track& track, int streamIndex);
    void FilterPictures(Deinterlacing deinterlacing);

    void ReadPacket();
    void Decode(Track& track, AVPacket* packet);
    void TakePicture();
    void DeliverSkipped();
    void Deliver(Item picture);
    void TakeFiltered();
    void TakeAudio();
    void AddSamples(std::vector<int16_t> samples);
    Nanoseconds Place(Track& track, int64_t units);
    void NoteLoss(const char* kind, int error);
    void NoteDamage(const char* what, const std::string& reason);

    std::string m_name; // for people
    Messages& m_messages;
    PacketReader m_reader;
    LibavOwned<AVPacket> m_packet;
    std::shared_ptr<AVFrame> m_frame; // the one just decoded
    Track m_videoTrack;
    Track m_audioTrack;
    FrameTimes m_times;
    std::optional<PictureConverter> m_pictures;
    Turn m_turn;                           // of the pictures
    std::optional<PictureFilter> m_filter; // behind the conversion
    std::optional<SampleConverter> m_samples;
    std::deque<Item> m_ready;
    Nanoseconds m_start;           // pictures before are only needed to the last
    std::optional<Item> m_skipped; // the last picture left out, as it was decoded
    bool m_isAtEnd = false;
    int m_failedReads = 0; // in a row
};

} // namespace host

#endif // ENCMGR_HOST_MEDIA_INPUT_H
