#include "host/sources/MediaInput.h"

#include "host/base/Interrupt.h"
#include "host/base/Messages.h"
#include "host/base/Text.h"
#include "host/sources/Decoder.h"
#include "host/sources/Metadata.h"
#include "host/sources/PictureChanges.h"
#include "host/sources/StreamChoice.h"
#include "host/sources/VideoRate.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace host
{

namespace
{

// By how much audio stamps may be off the count of samples before they are believed.
constexpr Nanoseconds kAudioTolerance = 20'000'000;

// Longer gaps in the stamps of a stream are jumps of the clock. Transport streams and their like jump as a matter of
// course; elsewhere a picture may well stand for minutes.
constexpr Nanoseconds kLongestGap = 3600 * kSecond;
constexpr Nanoseconds kLongestGapOfJumpyFormat = 10 * kSecond;

// Filters look at some pictures before the one that they give.
constexpr Nanoseconds kFilterRunUp = kSecond / 2;

// Reads that may fail in a row before the input counts as broken off.
constexpr int kMostFailedReads = 16;

Nanoseconds DurationOf(const AVFrame& frame, AVRational timeBase)
{
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    const int64_t duration = frame.duration;
#else
    const int64_t duration = frame.pkt_duration;
#endif
    return duration > 0 ? ToNanoseconds(duration, timeBase) : 0;
}

} // namespace

MediaInput::MediaInput(const std::string& name, const Wanted& wanted, Messages& messages)
    : m_name(ShownName(name)), m_messages(messages), m_reader(name, messages), m_packet(av_packet_alloc()),
      m_frame(NewFrame()),
      m_times(m_reader.Container().iformat->flags & AVFMT_TS_DISCONT ? kLongestGapOfJumpyFormat : kLongestGap),
      m_start(wanted.start)
{
    AVFormatContext& container = m_reader.Container();
    if (container.duration > 0 && container.duration < kFarthestStamp / 1000)
        m_duration = container.duration * 1000;
    m_isDurationStated = container.duration_estimation_method != AVFMT_DURATION_FROM_BITRATE;
    // What lies before 0 is the run-up of a codec and not meant to be heard.
    if (container.start_time != AV_NOPTS_VALUE && container.start_time < kFarthestStamp / 1000)
        m_times.SetStart(std::max<Nanoseconds>(container.start_time, 0) * 1000);

    const bool isVideoNamed = wanted.video && !wanted.videoStream.empty();
    const bool isAudioNamed = wanted.audio && !wanted.audioStream.empty();
    const int video =
        isVideoNamed ? FindStream(container, AVMEDIA_TYPE_VIDEO, wanted.videoStream, m_name) : BestVideo(container);
    const int audio = isAudioNamed ? FindStream(container, AVMEDIA_TYPE_AUDIO, wanted.audioStream, m_name)
                                   : BestAudio(container, video);
    m_present = {video >= 0, audio >= 0};
    m_leftOut = NamesOfOthers(container, {wanted.video ? &video : nullptr, wanted.audio ? &audio : nullptr});
    m_metadata = ReadMetadata(container, video, audio);

    const int usedVideo = wanted.video ? video : -1, usedAudio = wanted.audio ? audio : -1;
    const int leading = usedVideo >= 0 ? usedVideo : usedAudio;
    m_reader.Use({usedVideo, usedAudio});
    if (m_start > 0 && leading >= 0)
        m_times.BeginAt(m_reader.SkipTo(m_start, leading));
    if (usedVideo >= 0)
        OpenVideo(usedVideo);
    if (usedAudio >= 0)
        OpenAudio(usedAudio, wanted.audioFormat);
}

void MediaInput::OpenTrack(Track& track, int streamIndex)
{
    AVStream* const stream = m_reader.Container().streams[streamIndex];
    track.decoder = OpenDecoder(*stream, m_name, &track == &m_videoTrack ? "--vn" : "--an");
    track.stream = stream;
}

void MediaInput::OpenVideo(int streamIndex)
{
    AVStream* const stream = m_reader.Container().streams[streamIndex];
    const AVCodecParameters& par = *stream->codecpar;
    if (par.width <= 0 || par.height <= 0) {
        m_messages.Warn(Format("%s: its video has no picture size", m_name.c_str()));
        return;
    }
    OpenTrack(m_videoTrack, streamIndex);

    const AVRational aspect = av_guess_sample_aspect_ratio(&m_reader.Container(), stream, nullptr);
    const StampKind kind = RateOf(*stream, m_reader.StampsOf(streamIndex)).stamps;
    m_video = VideoFormat{par.width,     par.height,       kind.rate, IsUsable(aspect) ? aspect : AVRational{1, 1},
                          ColourOf(par), FieldsOf(*stream)};
    m_pictures.emplace(par.width, par.height, m_video->colour.matrix);
    m_first.picture = m_times.FirstOf(*stream);
    m_videoTrack.number = m_times.AddStream(kind, *stream);

    m_turn = TurnOf(*stream);
    if (std::fabs(m_turn.oddAngle) >= 1.0)
        m_messages.Warn(Format("%s is to be shown turned %s by %.0f degrees; its pictures are taken as they are stored",
                               m_name.c_str(), m_turn.oddAngle > 0.0 ? "left" : "right", std::fabs(m_turn.oddAngle)));
    m_changes = ChangesOf(par, m_turn, m_video->colour);
    FilterPictures(Deinterlacing::kNone);
    if (m_turn.isSideways) {
        std::swap(m_video->width, m_video->height);
        std::swap(m_video->pixelAspect.num, m_video->pixelAspect.den);
    }
    if (!m_turn.filter.empty() && m_video->fields != Fields::kNone && m_video->fields != Fields::kUnknown)
        m_video->fields = Fields::kMixed;
}

void MediaInput::OpenAudio(int streamIndex, const AudioFormat& wanted)
{
    AVStream* const stream = m_reader.Container().streams[streamIndex];
    const AVCodecParameters& par = *stream->codecpar;
    if (par.sample_rate <= 0 || par.ch_layout.nb_channels <= 0) {
        m_messages.Warn(Format("%s: its audio has no sample rate", m_name.c_str()));
        return;
    }
    OpenTrack(m_audioTrack, streamIndex);
    m_audio = wanted.Or({par.sample_rate, std::min(par.ch_layout.nb_channels, 2)});
    m_messages.Detail(
        Format("%s: audio of %d Hz, %d channels", m_name.c_str(), par.sample_rate, par.ch_layout.nb_channels));
    m_samples.emplace(*m_audio);
    // Samples before 0 are the run-up of the codec.
    if (const auto first = m_times.FirstOf(*stream))
        m_first.block = std::max<Nanoseconds>(*first, 0);
    m_audioTrack.number = m_times.AddStream({{m_audio->sampleRate, 1}, kAudioTolerance}, *stream);
}

void MediaInput::Deinterlace(bool isEveryPicture)
{
    if (m_videoTrack.stream)
        FilterPictures(isEveryPicture ? Deinterlacing::kAll : Deinterlacing::kMarked);
}

void MediaInput::FilterPictures(Deinterlacing deinterlacing)
{
    const AVCodecParameters& par = *m_videoTrack.stream->codecpar;
    m_filter = FilterFor(deinterlacing, m_turn.filter, par.width, par.height);
}

Item MediaInput::Next()
{
    while (m_ready.empty() && !m_isAtEnd)
        ReadPacket();
    if (m_ready.empty())
        return {};
    Item item = std::move(m_ready.front());
    m_ready.pop_front();
    return item;
}

void MediaInput::ReadPacket()
{
    const int read = m_reader.Next(*m_packet);
    if (read == AVERROR(EAGAIN))
        return;
    if (read >= 0) {
        if (m_failedReads > 0)
            NoteDamage("data", ErrorText(AVERROR_INVALIDDATA));
        m_failedReads = 0;
        for (Track* track : {&m_videoTrack, &m_audioTrack})
            if (track->stream && track->stream->index == m_packet->stream_index)
                Decode(*track, m_packet.get());
        av_packet_unref(m_packet.get());
        return;
    }

    // A demuxer that met with damage may find its way again.
    if (read == AVERROR_INVALIDDATA && ++m_failedReads < kMostFailedReads)
        return;
    m_isAtEnd = true;
    const AVIOContext* const file = m_reader.Container().pb;
    const int failure = read != AVERROR_EOF ? read : file ? file->error : 0;
    if (failure < 0 && failure != AVERROR_EOF && !InterruptSignal())
        m_brokenOff = ErrorText(failure);
    for (Track* track : {&m_videoTrack, &m_audioTrack})
        if (track->stream)
            Decode(*track, nullptr);
    DeliverSkipped();
    if (m_filter) {
        m_filter->Put({});
        TakeFiltered();
    }
    if (m_samples)
        AddSamples(m_samples->Flush());
}

// Takes what the packet gives, or for null what the decoder still holds.
void MediaInput::Decode(Track& track, AVPacket* packet)
{
    const char* const kind = &track == &m_videoTrack ? "video" : "audio";
    if (packet)
        FrameTimes::Tag(*packet, *track.decoder);
    const int sent = avcodec_send_packet(track.decoder.get(), packet);
    if (sent < 0 && sent != AVERROR_EOF)
        NoteLoss(kind, sent);
    for (;;) {
        const int received = avcodec_receive_frame(track.decoder.get(), m_frame.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return;
        if (received < 0) {
            NoteLoss(kind, received);
            if (packet)
                return;
            continue; // the decoder goes on to its end
        }
        if (&track == &m_videoTrack)
            TakePicture();
        else
            TakeAudio();
        av_frame_unref(m_frame.get());
    }
}

void MediaInput::TakePicture()
{
    if (m_frame->decode_error_flags || (m_frame->flags & AV_FRAME_FLAG_CORRUPT))
        NoteDamage("video", "a damaged picture");
    const Nanoseconds duration = DurationOf(*m_frame, m_videoTrack.stream->time_base);
    const Nanoseconds time = Place(m_videoTrack, 1);
    const auto frame = NewFrame();
    av_frame_move_ref(frame.get(), m_frame.get());
    Item picture = {Item::Kind::kPicture, time, duration, frame, {}};
    if (time < m_start - kFilterRunUp) {
        m_skipped = std::move(picture);
        return;
    }
    DeliverSkipped();
    Deliver(std::move(picture));
}

void MediaInput::DeliverSkipped()
{
    if (m_skipped)
        Deliver(*std::exchange(m_skipped, std::nullopt));
}

void MediaInput::Deliver(Item picture)
{
    picture.frame = m_pictures->Convert(picture.frame);
    if (!picture.frame)
        NoteDamage("video", "a picture that can't be converted");
    else if (!m_filter)
        m_ready.push_back(std::move(picture));
    else if (!m_filter->Put(std::move(picture)))
        NoteDamage("video", "a picture that can't be filtered");
    else
        TakeFiltered();
}

void MediaInput::TakeFiltered()
{
    while (auto picture = m_filter->Take())
        m_ready.push_back(std::move(*picture));
}

void MediaInput::TakeAudio()
{
    auto samples = m_samples->Convert(*m_frame);
    if (!samples) {
        NoteDamage("audio", "samples that can't be converted");
        return;
    }
    AddSamples(std::move(*samples));
}

// They have the time stamp of the frame just decoded, or follow on what came before.
void MediaInput::AddSamples(std::vector<int16_t> samples)
{
    if (samples.empty())
        return;
    const auto count = static_cast<int64_t>(samples.size()) / m_audio->channels;
    m_ready.push_back({Item::Kind::kAudio, Place(m_audioTrack, count), 0, nullptr, std::move(samples)});
}

Nanoseconds MediaInput::Place(Track& track, int64_t units)
{
    const int jumps = m_times.Jumps();
    const Nanoseconds time = m_times.Place(track.number, *m_frame, units);
    if (jumps == 0 && m_times.Jumps() > 0)
        m_messages.Warn(
            Format("%s: its time stamps jump at %.3f s; the jump is closed up", m_name.c_str(), InSeconds(time)));
    return time;
}

// Damage may ask for more memory than there is; but where memory has run out, this isn't all of the input.
void MediaInput::NoteLoss(const char* kind, int error)
{
    NoteDamage(kind, ErrorText(error));
    if (error == AVERROR(ENOMEM))
        m_brokenOff = ErrorText(error);
}

void MediaInput::NoteDamage(const char* what, const std::string& reason)
{
    if (m_damaged++ == 0)
        m_messages.Warn(Format("%s: error in its %s: %s", m_name.c_str(), what, reason.c_str()));
}

} // namespace host
