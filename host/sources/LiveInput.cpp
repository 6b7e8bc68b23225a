#include "host/sources/LiveInput.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/sources/Container.h"
#include "host/sources/Decoder.h"

#include <algorithm>
#include <chrono>
#include <thread>

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace host
{

namespace
{

using namespace std::chrono_literals;

constexpr auto kPause = 2ms; // before a device that has nothing is asked again

// How late items may be: a device's wait in its buffers, an address's on the network.
constexpr Nanoseconds kDelayOfDevice = kSecond / 2;
constexpr Nanoseconds kDelayOfAddress = 2 * kSecond;

// Packets are decoded up to so long before they are due.
constexpr Nanoseconds kEarliest = 50'000'000;

constexpr int kMostFailures = 16; // of reading, in a row

// Of sound that is asked for in pieces so long, in bytes of 48 kHz stereo: 20 ms. Left alone, a sound server may hand
// over seconds at a time.
constexpr const char* kSoundPiece = "3840";

class Dictionary
{
public:
    Dictionary() = default;
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;
    ~Dictionary() { av_dict_free(&m_values); }
    void Set(const char* key, const std::string& value) { av_dict_set(&m_values, key, value.c_str(), 0); }
    AVDictionary** Values() { return &m_values; }
    const char* FirstKey() const
    {
        const AVDictionaryEntry* const entry = av_dict_get(m_values, "", nullptr, AV_DICT_IGNORE_SUFFIX);
        return entry ? entry->key : nullptr;
    }

private:
    AVDictionary* m_values = nullptr;
};

} // namespace

LiveInput::LiveInput(const std::string& name, const Wanted& wanted, AVRational rate, Messages& messages)
    : m_packet(av_packet_alloc()), m_frame(NewFrame())
{
    if (!m_packet)
        throw std::bad_alloc();
    const LiveName live = ParseLiveName(name);
    m_isDevice = live.IsDevice();
    if (m_isDevice) {
        OpenDevice(live, name, rate, messages);
        m_clock.emplace(true, 0);
        m_delay = kDelayOfDevice;
    } else {
        const std::string address = AddressOf(name);
        Dictionary options;
        if (IsPlainFile(address)) // a description of a session (SDP) names where to listen
            options.Set("protocol_whitelist", "file,crypto,data,rtp,udp");
        m_container = OpenAddress(address, ShownName(name), {nullptr, options.Values(), {StopsNow, this}}, messages);
        const Nanoseconds opened = Moment::Now().steady;
        FindStreams(*m_container, ShownName(name));
        m_clock.emplace(false, opened);
        // What came meanwhile is as late as that took.
        m_delay = kDelayOfAddress + Moment::Now().steady - opened;
    }
    OpenTracks(wanted, ShownName(name));
}

int LiveInput::StopsNow(void* input)
{
    return static_cast<const LiveInput*>(input)->m_isStopped || InterruptSignal();
}

void LiveInput::OpenDevice(const LiveName& live, const std::string& name, AVRational rate, Messages& messages)
{
    avdevice_register_all();
    const AVInputFormat* const format = av_find_input_format(live.device.c_str());
    if (!format)
        throw HostError(kExitInput, Format("can't open %s: the installed libavdevice has no %s", name.c_str(),
                                           live.device.c_str()));
    Dictionary options;
    if (live.device == "pulse") {
        options.Set("fragment_size", kSoundPiece);
        options.Set("name", "encmgr");
    } else if (live.device == "x11grab") {
        options.Set("framerate", Format("%d/%d", rate.num, rate.den));
    }
    for (const auto& [key, value] : live.options)
        options.Set(key.c_str(), value);
    try {
        m_container = OpenAddress(live.address, name, {format, options.Values(), {StopsNow, this}}, messages);
    } catch (const HostError& error) {
        throw HostError(error.Code(), Format("%s (encmgr record --list shows what there is)", error.what()));
    }
    if (const char* const key = options.FirstKey())
        throw HostError(kExitUsage, Format("%s: the device has no option %s", name.c_str(), key));
    m_container->flags |= AVFMT_FLAG_NONBLOCK;
}

void LiveInput::OpenTracks(const Wanted& wanted, const std::string& name)
{
    const int video = BestVideo(*m_container);
    const int audio = BestAudio(*m_container, video);
    m_present = {video >= 0, audio >= 0};
    for (unsigned i = 0; i < m_container->nb_streams; ++i)
        m_container->streams[i]->discard = AVDISCARD_ALL;
    if (wanted.video && video >= 0)
        OpenVideo(video, name);
    if (wanted.audio && audio >= 0)
        OpenAudio(audio, wanted.audioFormat, name);
}

void LiveInput::OpenTrack(Track& track, int streamIndex, const std::string& name)
{
    track.stream = m_container->streams[streamIndex];
    track.decoder = OpenDecoder(*track.stream, name, &track == &m_videoTrack ? "--vn" : "--an");
    track.stream->discard = AVDISCARD_DEFAULT;
}

void LiveInput::OpenVideo(int streamIndex, const std::string& name)
{
    AVStream* const stream = m_container->streams[streamIndex];
    const AVCodecParameters& par = *stream->codecpar;
    if (par.width <= 0 || par.height <= 0)
        throw HostError(kExitInput, Format("%s: its video has no picture size", name.c_str()));
    OpenTrack(m_videoTrack, streamIndex, name);
    const AVRational rate = StatedRateOf(*stream);
    const AVRational aspect = av_guess_sample_aspect_ratio(m_container.get(), stream, nullptr);
    m_video = VideoFormat{par.width,     par.height,       rate, IsUsable(aspect) ? aspect : AVRational{1, 1},
                          ColourOf(par), FieldsOf(*stream)};
    m_pictures.emplace(par.width, par.height, m_video->colour.matrix);
    // Stamps waver with the load of the machine.
    const Nanoseconds period = av_rescale(kSecond, rate.den, rate.num);
    m_pictureClock.emplace(StampKind{rate, period * 9 / 20, true});
    m_turn = TurnOf(*stream);
    FilterPictures(Deinterlacing::kNone);
    if (m_turn.isSideways) {
        std::swap(m_video->width, m_video->height);
        std::swap(m_video->pixelAspect.num, m_video->pixelAspect.den);
    }
}

void LiveInput::OpenAudio(int streamIndex, const AudioFormat& wanted, const std::string& name)
{
    const AVCodecParameters& par = *m_container->streams[streamIndex]->codecpar;
    if (par.sample_rate <= 0 || par.ch_layout.nb_channels <= 0)
        throw HostError(kExitInput, Format("%s: its audio has no sample rate", name.c_str()));
    OpenTrack(m_audioTrack, streamIndex, name);
    m_audio = wanted.Or({par.sample_rate, std::min(par.ch_layout.nb_channels, 2)});
    m_samples.emplace(*m_audio);
    m_sampleClock.emplace(m_audio->sampleRate, m_isDevice);
}

void LiveInput::Deinterlace(bool isEveryPicture)
{
    FilterPictures(isEveryPicture ? Deinterlacing::kAll : Deinterlacing::kMarked);
}

void LiveInput::FilterPictures(Deinterlacing deinterlacing)
{
    const AVCodecParameters& par = *m_videoTrack.stream->codecpar;
    m_filter = FilterFor(deinterlacing, m_turn.filter, par.width, par.height);
}

Item LiveInput::Next()
{
    while (m_ready.empty() && !m_isAtEnd)
        ReadPacket();
    if (m_ready.empty())
        return {};
    Item item = std::move(m_ready.front());
    m_ready.pop_front();
    return item;
}

void LiveInput::ReadPacket()
{
    int result = AVERROR_INVALIDDATA;
    for (int failures = 0; result == AVERROR_INVALIDDATA && failures < kMostFailures; ++failures) {
        if (failures > 0)
            NoteDamage();
        result = m_isStopped ? AVERROR_EXIT : av_read_frame(m_container.get(), m_packet.get());
    }
    if (result == AVERROR(EAGAIN)) {
        std::this_thread::sleep_for(kPause);
        return;
    }
    if (result < 0) {
        End(result);
        return;
    }
    NoteArrival();
    for (Track* track : {&m_videoTrack, &m_audioTrack})
        if (track->stream && track->stream->index == m_packet->stream_index)
            Decode(*track, m_packet.get());
    av_packet_unref(m_packet.get());
}

// Waits with what comes before its time.
void LiveInput::NoteArrival()
{
    const int64_t stamp = m_packet->dts != AV_NOPTS_VALUE ? m_packet->dts : m_packet->pts;
    if (stamp == AV_NOPTS_VALUE)
        return;
    const AVStream& stream = *m_container->streams[m_packet->stream_index];
    const Nanoseconds time = ToNanoseconds(stamp, stream.time_base);
    m_clock->Note(m_packet->stream_index, time, Moment::Now());
    while (!StopsNow(this) && time + m_clock->Offset() > Moment::Now().steady + kEarliest)
        std::this_thread::sleep_for(kPause);
}

// A device has no end of its own.
void LiveInput::End(int failure)
{
    m_isAtEnd = true;
    if (failure == AVERROR_EOF && !m_isDevice)
        failure = m_container->pb ? m_container->pb->error : 0;
    if (failure < 0 && (failure != AVERROR_EOF || m_isDevice) && !StopsNow(this))
        m_brokenOff = ErrorText(failure);
    for (Track* track : {&m_videoTrack, &m_audioTrack})
        if (track->stream)
            Decode(*track, nullptr);
    if (m_filter && m_filter->Put({}))
        TakeFiltered();
    if (m_samples)
        AddSamples(m_samples->Flush());
}

// Takes what the packet gives, or for null what the decoder still holds.
void LiveInput::Decode(Track& track, AVPacket* packet)
{
    const int sent = avcodec_send_packet(track.decoder.get(), packet);
    if (sent < 0 && sent != AVERROR_EOF)
        NoteDamage();
    for (;;) {
        const int received = avcodec_receive_frame(track.decoder.get(), m_frame.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return;
        if (received < 0) {
            NoteDamage();
            return;
        }
        if (&track == &m_videoTrack)
            TakePicture();
        else
            AddSamples(m_samples->Convert(*m_frame));
        av_frame_unref(m_frame.get());
    }
}

// What is cut off when reading is ended isn't damaged.
void LiveInput::NoteDamage()
{
    m_damaged += !StopsNow(this);
}

Nanoseconds LiveInput::TimeOf(const Track& track) const
{
    const int64_t stamp = m_frame->best_effort_timestamp;
    return stamp == AV_NOPTS_VALUE ? Moment::Now().steady
                                   : ToNanoseconds(stamp, track.stream->time_base) + m_clock->Offset();
}

void LiveInput::TakePicture()
{
    const Nanoseconds time = m_pictureClock->Place(TimeOf(m_videoTrack), 1);
    const auto frame = NewFrame();
    av_frame_move_ref(frame.get(), m_frame.get());
    Item picture = {Item::Kind::kPicture, time, 0, m_pictures->Convert(frame), {}};
    if (!picture.frame || (m_filter && !m_filter->Put(picture)))
        NoteDamage();
    else if (m_filter)
        TakeFiltered();
    else
        m_ready.push_back(std::move(picture));
}

void LiveInput::TakeFiltered()
{
    while (auto picture = m_filter->Take())
        m_ready.push_back(std::move(*picture));
}

void LiveInput::AddSamples(std::optional<std::vector<int16_t>> samples)
{
    if (!samples)
        NoteDamage();
    if (!samples || samples->empty())
        return;
    const auto count = static_cast<int64_t>(samples->size()) / m_audio->channels;
    if (const auto time = m_sampleClock->Place(TimeOf(m_audioTrack), count))
        m_ready.push_back({Item::Kind::kAudio, *time, 0, nullptr, std::move(*samples)});
}

} // namespace host
