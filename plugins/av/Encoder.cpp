#include "plugins/av/Encoder.h"

#include "log/Log.h"

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

int Encoder::TryOpen(const std::string& options, int logLevelOffset)
{
    const AVCodec* codec = CodecOf(m_entry);
    m_context.reset(avcodec_alloc_context3(codec));
    if (!m_context)
        return AVERROR(ENOMEM);
    Prepare(*m_context);
    const ContainerEntry* container = FindContainer(m_job->dwFileFourCC);
    if (container && MuxerOf(*container)->flags & AVFMT_GLOBALHEADER)
        m_context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    m_context->thread_count = 0; // as many as the machine has
    m_context->log_level_offset = logLevelOffset;
    Options dictionary(options.c_str());
    const int result = avcodec_open2(m_context.get(), codec, dictionary.Address());
    m_context->log_level_offset = kQuieter;
    return result;
}

bool Encoder::Open(const std::string& options)
{
    int result = TryOpen(options, options.empty() ? kQuieter : kSilent);
    if (result < 0 && !options.empty()) {
        result = TryOpen("", kQuieter);
        if (result >= 0)
            KXLogEx(L"wpav: %ls doesn't take the options [%s] here and runs without.", m_entry.name, options.c_str());
    }
    if (result < 0) {
        Log(L"can't be opened", result);
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
        if (result >= 0)
            ++m_packets.count;
    }
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
        return true;
    Log(L"failed", result);
    return false;
}

void Encoder::Log(const wchar_t* what, int error) const
{
    KXLogEx(L"wpav: %ls %ls: %s.", m_entry.name, what, ErrorText(error).c_str());
}
