#include "host/sources/MediaInput.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Messages.h"
#include "host/base/Text.h"
#include "host/sources/StampGrid.h"
#include "host/sources/StampProbe.h"
#include "host/sources/StreamInfo.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
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

// What is read ahead of what can't be read twice, to see how its time stamps stand.
constexpr size_t kPicturesAhead = 100;
constexpr int64_t kBytesAhead = 32 << 20;

// Reads that may fail in a row before the input counts as broken off.
constexpr int kMostFailedReads = 16;

int StopIfInterrupted(void*)
{
    return InterruptSignal() != 0;
}

constexpr const char* kStandardInput = "pipe:0";
constexpr std::string_view kFilePrefix = "file:";

// What libavformat is to open. Existing files are marked as such, since a name with a colon looks like an address.
std::string AddressOf(const std::string& name)
{
    if (name == "-")
        return kStandardInput;
    struct stat status = {};
    const bool isFile = stat(name.c_str(), &status) == 0;
    return isFile || name.find("://") == std::string::npos ? std::string(kFilePrefix) + name : name;
}

// A name that libavformat opens as a file, and that can be read twice.
bool IsPlainFile(const std::string& address)
{
    struct stat status = {};
    return address.starts_with(kFilePrefix) && stat(address.c_str() + kFilePrefix.size(), &status) == 0 &&
           S_ISREG(status.st_mode);
}

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

MediaInput::MediaInput(const std::string& name, Streams wanted, Messages& messages)
    : m_address(AddressOf(name)), m_name(ShownName(name)), m_messages(messages), m_packet(av_packet_alloc()),
      m_frame(NewFrame()), m_times(kLongestGap)
{
    Open();
    const int video = BestVideo(*m_container);
    const int audio = BestAudio(*m_container, video);
    m_present = {video >= 0, audio >= 0};
    for (unsigned i = 0; i < m_container->nb_streams; ++i)
        m_container->streams[i]->discard = AVDISCARD_ALL;
    if (wanted.video && video >= 0)
        OpenVideo(video);
    if (wanted.audio && audio >= 0)
        OpenAudio(audio);
}

void MediaInput::Open()
{
    avformat_network_init();
    if (m_address == kStandardInput && isatty(STDIN_FILENO))
        throw HostError(kExitUsage, "the standard input is a terminal; a media file is to be piped into it");

    AVFormatContext* container = avformat_alloc_context();
    if (!container)
        throw std::bad_alloc();
    container->interrupt_callback.callback = StopIfInterrupted;
    m_messages.TakeMediaError();
    const int opened = avformat_open_input(&container, m_address.c_str(), nullptr, nullptr);
    if (opened < 0) // the context is gone by now
        throw HostError(kExitInput, Format("can't open %s: %s", m_name.c_str(), ErrorText(opened).c_str()));
    m_container.reset(container);

    // Any text file would pass as a picture of itself.
    if (std::strcmp(container->iformat->name, "tty") == 0)
        throw HostError(kExitInput, Format("can't open %s: it's a text", m_name.c_str()));
    if (container->iformat->flags & AVFMT_TS_DISCONT)
        m_times = FrameTimes(kLongestGapOfJumpyFormat);
    const int probed = avformat_find_stream_info(container, nullptr);
    if (probed < 0 && !InterruptSignal())
        throw HostError(kExitInput, Format("can't read %s: %s", m_name.c_str(), ErrorText(probed).c_str()));

    if (container->duration > 0 && container->duration < kFarthestStamp / 1000)
        m_duration = container->duration * 1000;
    m_isDurationStated = container->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE;
    // What lies before 0 is the run-up of a codec and not meant to be heard.
    if (container->start_time != AV_NOPTS_VALUE && container->start_time < kFarthestStamp / 1000)
        m_times.SetStart(std::max<Nanoseconds>(container->start_time, 0) * 1000);
}

void MediaInput::OpenDecoder(Track& track, int streamIndex)
{
    AVStream* const stream = m_container->streams[streamIndex];
    const char* const kind = av_get_media_type_string(stream->codecpar->codec_type);
    const AVCodec* const codec = avcodec_find_decoder(stream->codecpar->codec_id);
    const char* const option = &track == &m_videoTrack ? "--vn" : "--an";
    if (!codec)
        throw HostError(kExitInput, Format("%s: there is no decoder for its %s, %s (%s leaves it out)", m_name.c_str(),
                                           kind, avcodec_get_name(stream->codecpar->codec_id), option));
    track.decoder.reset(avcodec_alloc_context3(codec));
    if (!track.decoder || avcodec_parameters_to_context(track.decoder.get(), stream->codecpar) < 0)
        throw std::bad_alloc();
    track.decoder->pkt_timebase = stream->time_base;
    track.decoder->thread_count = 0; // as many as there are processors
    FrameTimes::Prepare(*track.decoder);
    const int opened = avcodec_open2(track.decoder.get(), codec, nullptr);
    if (opened < 0)
        throw HostError(kExitInput, Format("%s: its %s can't be decoded: %s (%s leaves it out)", m_name.c_str(), kind,
                                           ErrorText(opened).c_str(), option));
    track.stream = stream;
    stream->discard = AVDISCARD_DEFAULT;
}

void MediaInput::OpenVideo(int streamIndex)
{
    AVStream* const stream = m_container->streams[streamIndex];
    const AVCodecParameters& par = *stream->codecpar;
    if (par.width <= 0 || par.height <= 0) {
        m_messages.Warn(Format("%s: its video has no picture size", m_name.c_str()));
        return;
    }
    OpenDecoder(m_videoTrack, streamIndex);

    const AVRational aspect = av_guess_sample_aspect_ratio(m_container.get(), stream, nullptr);
    const StampKind kind = KindOfVideo(streamIndex);
    m_video =
        VideoFormat{par.width, par.height, kind.rate, IsUsable(aspect) ? aspect : AVRational{1, 1}, ColourOf(par)};
    m_pictures.emplace(par.width, par.height, m_video->colour.matrix);
    m_videoTrack.number = m_times.AddStream(kind, stream->time_base);
    RemarkOnRotation();
}

void MediaInput::OpenAudio(int streamIndex)
{
    AVStream* const stream = m_container->streams[streamIndex];
    const AVCodecParameters& par = *stream->codecpar;
    if (par.sample_rate <= 0 || par.ch_layout.nb_channels <= 0) {
        m_messages.Warn(Format("%s: its audio has no sample rate", m_name.c_str()));
        return;
    }
    OpenDecoder(m_audioTrack, streamIndex);
    m_audio = AudioFormat{par.sample_rate, std::min(par.ch_layout.nb_channels, 2)};
    m_samples.emplace(*m_audio);
    m_audioTrack.number = m_times.AddStream({{par.sample_rate, 1}, kAudioTolerance}, stream->time_base);
}

// The rate is that of the grid on which the stamps stand, if they show one.
StampKind MediaInput::KindOfVideo(int streamIndex)
{
    const AVStream& stream = *m_container->streams[streamIndex];
    const AVRational stated = StatedRateOf(stream);
    const Nanoseconds tick = ToNanoseconds(1, stream.time_base);
    const auto stamps = IsPlainFile(m_address) ? StampsOfFile(m_address, streamIndex) : ReadAhead(streamIndex);
    const StampGrid grid = FindGrid(stamps, tick, stated).value_or(StampGrid{stated, 0});
    const AVRational rate = IsOfFields(stream, grid.rate, stated) ? stated : grid.rate;
    const Nanoseconds period = av_rescale(kSecond, rate.den, rate.num);
    if (grid.waver > 0)
        return {rate, std::min(2 * grid.waver, period * 9 / 20), true};
    return {rate, std::clamp<Nanoseconds>(tick, 1000, period / 4 + 1000)};
}

std::vector<Nanoseconds> MediaInput::ReadAhead(int streamIndex)
{
    StampProbe probe(m_container->streams[streamIndex]->time_base);
    for (int64_t bytes = 0; probe.Count() < kPicturesAhead && bytes < kBytesAhead; bytes += m_ahead.back()->size) {
        LibavOwned<AVPacket> packet(av_packet_alloc());
        if (!packet)
            throw std::bad_alloc();
        m_readAhead = av_read_frame(m_container.get(), packet.get());
        if (m_readAhead < 0)
            break;
        if (packet->stream_index == streamIndex)
            probe.Add(*packet);
        m_ahead.push_back(std::move(packet));
    }
    return probe.Take();
}

void MediaInput::RemarkOnRotation()
{
    const double angle = RotationOf(*m_videoTrack.stream);
    if (std::fabs(angle) >= 1.0)
        m_messages.Warn(Format("%s is to be shown turned %s by %.0f degrees; its pictures are taken as they are stored",
                               m_name.c_str(), angle > 0.0 ? "left" : "right", std::fabs(angle)));
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

// Leaves it in m_packet; returns what reading gave.
int MediaInput::NextPacket()
{
    if (m_ahead.empty())
        return m_readAhead < 0 ? std::exchange(m_readAhead, 0) : av_read_frame(m_container.get(), m_packet.get());
    av_packet_move_ref(m_packet.get(), m_ahead.front().get());
    m_ahead.pop_front();
    return 0;
}

void MediaInput::ReadPacket()
{
    const int read = NextPacket();
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
    const int failure = read != AVERROR_EOF ? read : m_container->pb ? m_container->pb->error : 0;
    if (failure < 0 && failure != AVERROR_EOF && !InterruptSignal())
        m_brokenOff = ErrorText(failure);
    for (Track* track : {&m_videoTrack, &m_audioTrack})
        if (track->stream)
            Decode(*track, nullptr);
}

// Takes what the packet gives, or for null what the decoder still holds.
void MediaInput::Decode(Track& track, AVPacket* packet)
{
    const char* const kind = &track == &m_videoTrack ? "video" : "audio";
    if (packet)
        FrameTimes::Tag(*packet, *track.decoder);
    const int sent = avcodec_send_packet(track.decoder.get(), packet);
    if (sent < 0 && sent != AVERROR_EOF)
        NoteDamage(kind, ErrorText(sent));
    for (;;) {
        const int received = avcodec_receive_frame(track.decoder.get(), m_frame.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return;
        if (received < 0) {
            NoteDamage(kind, ErrorText(received));
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
    if (auto picture = m_pictures->Convert(frame))
        m_ready.push_back({Item::Kind::kPicture, time, duration, std::move(picture), {}});
    else
        NoteDamage("video", "a picture that can't be converted");
}

void MediaInput::TakeAudio()
{
    auto samples = m_samples->Convert(*m_frame);
    if (!samples) {
        NoteDamage("audio", "samples that can't be converted");
        return;
    }
    if (samples->empty())
        return;
    const auto count = static_cast<int64_t>(samples->size()) / m_audio->channels;
    m_ready.push_back({Item::Kind::kAudio, Place(m_audioTrack, count), 0, nullptr, std::move(*samples)});
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

void MediaInput::NoteDamage(const char* what, const std::string& reason)
{
    if (m_damaged++ == 0)
        m_messages.Warn(Format("%s: error in its %s: %s", m_name.c_str(), what, reason.c_str()));
}

} // namespace host
