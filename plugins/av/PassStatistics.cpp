#include "plugins/av/PassStatistics.h"

#include "plugins/av/CodecOptions.h"

#include <cerrno>
#include <fstream>
#include <iterator>

namespace
{

// A value inside a list of libav's, which a backslash keeps whole.
std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == ':' || c == '=' || c == '\\' || c == '\'' || c == ' ')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

} // namespace

int PassStatistics::Prepare(AVCodecContext& context)
{
    if (m_pass == 0)
        return 0;
    const std::string params = "pass=" + std::to_string(m_pass) + ":stats=" + Escaped(m_path);
    switch (m_kind) {
    case Passes::kFile:
        context.flags |= m_pass == 1 ? AV_CODEC_FLAG_PASS1 : AV_CODEC_FLAG_PASS2;
        return SetKnown(context, {{"passlogfile", m_path}});
    case Passes::kParams:
        return SetKnown(context, {{"x265-params", params}});
    default:
        context.flags |= m_pass == 1 ? AV_CODEC_FLAG_PASS1 : AV_CODEC_FLAG_PASS2;
        if (m_pass == 1)
            return 0;
        if (const int result = m_text.empty() ? Load() : 0; result < 0)
            return result;
        context.stats_in = m_text.data();
        return 0;
    }
}

int PassStatistics::Load()
{
    std::ifstream file(m_path, std::ios::binary);
    m_text.assign(std::istreambuf_iterator<char>(file), {});
    return m_text.empty() ? AVERROR(ENODATA) : 0;
}

void PassStatistics::Take(const AVCodecContext& context, int received)
{
    if (m_pass != 1 || m_kind != Passes::kText || !context.stats_out)
        return;
    // Some encoders leave a line with each packet, and it stays; others have no packets, and leave all at the end.
    if (received >= 0 || (received == AVERROR_EOF && m_text.empty()))
        m_text += context.stats_out;
}

int PassStatistics::Save() const
{
    if (m_pass != 1 || m_kind != Passes::kText)
        return 0;
    std::ofstream file(m_path, std::ios::binary);
    file << m_text << std::flush;
    return file ? 0 : AVERROR(EIO);
}
