#include "plugins/av/Encoder.h"

#include "encmgr/Log.h"
#include "plugins/av/CommonKeys.h"
#include "plugins/av/Surfaces.h"

#include <map>
#include <mutex>
#include <utility>

namespace
{

// Encoders and file formats meet only in the job's parameters, whose address is one job's as long as it lives.
using JobStream = std::pair<const EncodeParam*, int>;

std::mutex s_mutex;
std::map<JobStream, const Encoder*> s_encoders;

} // namespace

Encoder::Encoder(const EncoderEntry& entry, const EncodeParam* pJob) : m_entry(entry), m_job(pJob) {}

Encoder::~Encoder()
{
    const std::lock_guard lock(s_mutex);
    const auto found = s_encoders.find({m_job, m_entry.type});
    if (found != s_encoders.end() && found->second == this)
        s_encoders.erase(found);
}

const Encoder* Encoder::OfJob(const EncodeParam* pJob, int type)
{
    const std::lock_guard lock(s_mutex);
    const auto found = s_encoders.find({pJob, type});
    return found == s_encoders.end() ? nullptr : found->second;
}

int Encoder::TryOpen(const std::vector<Option>& usual, int logLevelOffset)
{
    const AVCodec* codec = CodecOf(m_entry);
    m_context.reset(avcodec_alloc_context3(codec));
    if (!m_context)
        return AVERROR(ENOMEM);
    m_context->log_level_offset = logLevelOffset;
    Prepare(*m_context);
    const ContainerEntry* container = FindContainer(m_job->dwFileFourCC);
    if (container && MuxerOf(*container)->flags & AVFMT_GLOBALHEADER)
        m_context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    m_context->thread_count = 0; // as many as the machine has
    int result = SetKnown(*m_context, usual);
    if (result >= 0)
        result = SetKnown(*m_context, m_options);
    if (result >= 0)
        result = m_statistics.Prepare(*m_context);
    if (result >= 0 && m_entry.device == Device::kVaapi)
        result = AttachSurfaces(*m_context);
    if (result >= 0)
        result = avcodec_open2(m_context.get(), codec, nullptr);
    m_context->log_level_offset = kQuieter;
    return result;
}

// Whether the encoder takes what the library will send and leaves what the file can hold; options may demand else.
bool Encoder::IsAsSettled() const
{
    const ContainerEntry* container = FindContainer(m_job->dwFileFourCC);
    if (m_entry.type == ENCODER_TYPE_AUDIO)
        return m_context->sample_rate == m_job->audio.nSampleRate &&
               m_context->ch_layout.nb_channels == m_job->audio.nChannels;
    return m_context->has_b_frames == 0 || !container || !container->Has(kSequenceOnly);
}

bool Encoder::Open(const std::vector<Option>& usual)
{
    auto options = OptionsOf(*m_job, m_entry.type);
    if (!options || !TranslateCommonKeys(m_entry, *options, m_statistics) ||
        !TakesValues(CodecOf(m_entry), *options, m_entry.name))
        return false;
    m_options = std::move(*options);
    int result = TryOpen(usual, usual.empty() ? kQuieter : kSilent);
    if (result < 0 && result != AVERROR(ENOMEM) && !usual.empty()) {
        result = TryOpen({}, kQuieter);
        if (result >= 0)
            KXLogEx(L"wpav: %ls doesn't take its usual options here and runs without.", m_entry.name);
    }
    if (result >= 0 && !IsAsSettled())
        result = AVERROR(EINVAL);
    if (result < 0) {
        Log(m_options.empty() ? L"can't be opened" : L"can't be opened with the job's options", result);
        return false;
    }
    const std::lock_guard lock(s_mutex);
    s_encoders[{m_job, m_entry.type}] = this;
    return true;
}

bool Encoder::Encode(const AVFrame* frame)
{
    int result = avcodec_send_frame(m_context.get(), frame);
    while (result >= 0) {
        if (m_packets.count == m_packets.pool.size())
            m_packets.pool.emplace_back(av_packet_alloc());
        AVPacket* packet = m_packets.pool[m_packets.count].get();
        if (!packet) {
            m_packets.pool.pop_back();
            result = AVERROR(ENOMEM);
            break;
        }
        result = avcodec_receive_packet(m_context.get(), packet);
        m_statistics.Take(*m_context, result);
        if (result >= 0)
            ++m_packets.count;
    }
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
        return true;
    Log(L"failed", result);
    return false;
}

bool Encoder::SaveStatistics()
{
    const int result = m_statistics.Save();
    if (result < 0)
        Log(L"can't save the statistics of its first pass", result);
    return result >= 0;
}

void Encoder::Log(const wchar_t* what, int error) const
{
    KXLogEx(L"wpav: %ls %ls: %s.", m_entry.name, what, ErrorText(error).c_str());
}
