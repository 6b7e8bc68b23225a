#include "host/base/Messages.h"

#include "encmgr/Log.h"
#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "text/Strings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

extern "C" {
#include <libavutil/log.h>
}

namespace host
{

namespace
{

constexpr size_t kLinesKept = 200;
constexpr size_t kSaidKept = 200;

// libav's log callback has no context of its own.
Messages* s_messages = nullptr;

// Who logs a failure may go on to tell it by errno; and a log that can't be printed is no failure of theirs.
class ErrnoKept
{
public:
    ErrnoKept() = default;
    ~ErrnoKept() { errno = m_errno; }
    ErrnoKept(const ErrnoKept&) = delete;
    ErrnoKept& operator=(const ErrnoKept&) = delete;

private:
    int m_errno = errno;
};

void LibrarySink(void* context, const wchar_t* text)
{
    const ErrnoKept kept;
    static_cast<Messages*>(context)->TakeLibraryLine(text);
}

// "[mp3 @ 0x55d0c8] text" tells people as much without where in memory it happened.
std::string WithoutAddress(std::string text)
{
    const size_t at = text.find(" @ 0x");
    const size_t end = text.find(']');
    if (text.starts_with('[') && at < end && end != std::string::npos)
        text.erase(at, end - at);
    return text;
}

void MediaSink(void* context, int level, const char* format, va_list args)
{
    // libav's own level is lowered where what may be missing is only looked for.
    if (!s_messages || level > s_messages->MostMediaLevel() || av_log_get_level() == AV_LOG_QUIET)
        return;
    const ErrnoKept kept;
    char text[1024];
    static thread_local int prefix = 1; // whether a line begins
    av_log_format_line2(context, level, format, args, text, sizeof(text), &prefix);
    s_messages->TakeMediaText(level, text);
}

// One line of a log that may hold several: line ends become one space each, and none is left at the end.
std::string Cleaned(std::string text)
{
    text.erase(text.find_last_not_of(" \r\n\t") + 1);
    std::string clean;
    for (const char c : text) {
        if (c == '\r' || c == '\n' || c == '\t') {
            if (!clean.empty() && clean.back() != ' ')
                clean += ' ';
        } else {
            clean += c;
        }
    }
    return clean;
}

// "2026-05-01T12:34:56.789Z"
std::string TimeStamp()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts = {};
    gmtime_r(&now.tv_sec, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &parts);
    return Format("%s.%03dZ", text, static_cast<int>(now.tv_nsec / 1'000'000));
}

} // namespace

Messages::Messages()
{
    s_messages = this;
    KXLogSetSink(LibrarySink, this);
    av_log_set_callback(MediaSink);
}

Messages::~Messages()
{
    EndStatus();
    av_log_set_callback(av_log_default_callback);
    KXLogSetSink(nullptr, nullptr);
    s_messages = nullptr;
}

void Messages::OpenLog(const std::string& path)
{
    m_log.reset(std::fopen(path.c_str(), "ae"));
    if (!m_log)
        throw HostError(kExitOutput, Format("can't write the log %s: %s", path.c_str(), std::strerror(errno)));
    // What a crash or a kill ends has its lines in the file.
    std::setvbuf(m_log.get(), nullptr, _IOLBF, BUFSIZ);
}

void Messages::Error(const std::string& text)
{
    Tell(Volume::kQuiet, "error: ", "error", text);
}

void Messages::Cause(const std::string& text)
{
    Tell(Volume::kQuiet, "  cause: ", "cause", text);
}

void Messages::Warn(const std::string& text)
{
    Tell(Volume::kNormal, "warning: ", "warning", text);
}

void Messages::Say(const std::string& text)
{
    Tell(Volume::kNormal, "", "note", text);
}

void Messages::Detail(const std::string& text)
{
    const std::lock_guard lock(m_mutex);
    Log("detail", text);
    if (m_volume == Volume::kVerbose)
        Print("", text);
}

std::vector<Said> Messages::AllSaid() const
{
    const std::lock_guard lock(m_mutex);
    return m_said;
}

void Messages::ShowLine(const std::string& text)
{
    const std::lock_guard lock(m_mutex);
    WipeStatus();
    std::fprintf(stderr, "%s\n", text.c_str());
    std::fflush(stderr);
}

void Messages::ShowStatus(const std::string& text)
{
    const std::lock_guard lock(m_mutex);
    const size_t width = std::max(text.size(), m_statusWidth); // what was longer is blotted out
    std::fprintf(stderr, "\r%-*s", static_cast<int>(width), text.c_str());
    m_statusWidth = text.size();
    std::fflush(stderr);
}

void Messages::EndStatus()
{
    const std::lock_guard lock(m_mutex);
    WipeStatus();
    std::fflush(stderr);
}

uint64_t Messages::Mark() const
{
    const std::lock_guard lock(m_mutex);
    return m_firstLine + m_lines.size();
}

std::vector<std::string> Messages::LinesSince(uint64_t mark) const
{
    const std::lock_guard lock(m_mutex);
    const uint64_t skip = mark > m_firstLine ? mark - m_firstLine : 0;
    if (skip >= m_lines.size())
        return {};
    return {m_lines.begin() + static_cast<std::ptrdiff_t>(skip), m_lines.end()};
}

std::string Messages::MediaError() const
{
    const std::lock_guard lock(m_mutex);
    return m_mediaError;
}

std::string Messages::TakeMediaError()
{
    const std::lock_guard lock(m_mutex);
    std::string error;
    error.swap(m_mediaError);
    return error;
}

void Messages::TakeLibraryLine(const wchar_t* text)
{
    const std::lock_guard lock(m_mutex);
    m_lines.push_back(Cleaned(text::ShownUtf8(text)));
    Log("library", m_lines.back());
    if (m_volume == Volume::kVerbose)
        Print("log: ", m_lines.back());
    if (m_lines.size() > kLinesKept) {
        m_lines.pop_front();
        ++m_firstLine;
    }
}

int Messages::MostMediaLevel() const
{
    return m_log ? AV_LOG_VERBOSE : AV_LOG_WARNING;
}

void Messages::TakeMediaText(int level, const std::string& text)
{
    const std::lock_guard lock(m_mutex);
    m_mediaPart += text;
    if (!m_mediaPart.ends_with('\n') && m_mediaPart.size() < 1000)
        return;
    const std::string line = Cleaned(WithoutAddress(m_mediaPart));
    m_mediaPart.clear();
    if (line.empty())
        return;
    Log("libav", line);
    if (level <= AV_LOG_ERROR)
        m_mediaError = line;
    if (m_volume == Volume::kVerbose && level <= AV_LOG_WARNING)
        Print("libav: ", line);
}

void Messages::Tell(Volume least, std::string_view before, const char* kind, const std::string& text)
{
    const std::lock_guard lock(m_mutex);
    if (m_said.size() < kSaidKept)
        m_said.push_back({kind, text});
    Log(kind, text);
    if (m_volume >= least)
        Print(before, text);
}

void Messages::Print(std::string_view before, const std::string& text)
{
    const std::lock_guard lock(m_mutex);
    WipeStatus();
    std::fprintf(stderr, "encmgr: %.*s%s\n", static_cast<int>(before.size()), before.data(), text.c_str());
    std::fflush(stderr);
}

void Messages::Log(const char* kind, const std::string& text)
{
    if (m_log)
        std::fprintf(m_log.get(), "%s  %-7s  %s\n", TimeStamp().c_str(), kind, text.c_str());
}

void Messages::WipeStatus()
{
    if (!m_statusWidth)
        return;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_statusWidth), "");
    m_statusWidth = 0;
}

} // namespace host
