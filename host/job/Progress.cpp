#include "host/job/Progress.h"

#include "host/base/Text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace host
{

namespace
{

using namespace std::chrono_literals;

constexpr auto kPauseInPlace = 100ms;
constexpr auto kPauseOfPlainLines = 5s;

bool CanOverwriteLines()
{
    const char* const terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) && (!terminal || std::strcmp(terminal, "dumb") != 0);
}

// The last column stays free: a terminal may break the line there.
size_t TerminalWidth()
{
    winsize size = {};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return (isKnown ? size.ws_col : size_t{80}) - 1;
}

} // namespace

std::string PacingText(const Counts& counts)
{
    return Format("%lld repeated, %lld dropped", static_cast<long long>(counts.repeated),
                  static_cast<long long>(counts.dropped));
}

std::string SpeedText(Nanoseconds position, double seconds)
{
    return Format("%.2fx", InSeconds(position) / std::max(seconds, 0.001));
}

Progress::Progress(Messages& messages, const OutputFile& output, Nanoseconds total, bool hasVideo,
                   const std::string& label)
    : m_messages(messages), m_output(output), m_total(total), m_hasVideo(hasVideo), m_label(label),
      m_isInPlace(CanOverwriteLines()), m_start(Clock::now()), m_last(m_start)
{
}

void Progress::Update(const Counts& counts, Nanoseconds position)
{
    const auto now = Clock::now();
    if (m_messages.GetVolume() == Volume::kQuiet ||
        now - m_last < (m_isInPlace ? Clock::duration(kPauseInPlace) : Clock::duration(kPauseOfPlainLines)))
        return;
    m_last = now;
    if (m_isInPlace)
        m_messages.ShowStatus(Line(counts, position, TerminalWidth()));
    else
        m_messages.Say(Line(counts, position, std::string::npos));
}

void Progress::End()
{
    m_messages.EndStatus();
}

double Progress::Seconds() const
{
    return std::chrono::duration<double>(Clock::now() - m_start).count();
}

// Whole fields, as many as fit; what matters most comes first.
std::string Progress::Line(const Counts& counts, Nanoseconds position, size_t width) const
{
    const double seconds = Seconds();
    const double done = m_total > 0 ? std::clamp(InSeconds(position) / InSeconds(m_total), 0.0, 1.0) : 0.0;
    std::vector<std::string> fields;
    if (!m_label.empty())
        fields.push_back(m_label);
    if (m_total > 0)
        fields.push_back(Format("%3d%%", static_cast<int>(done * 100.0)));
    if (m_hasVideo) {
        fields.push_back(Format("%lld pictures", static_cast<long long>(counts.pictures)));
        fields.push_back(Format("%.1f fps", static_cast<double>(counts.pictures) / std::max(seconds, 0.001)));
    } else {
        fields.push_back(ClockText(InSeconds(position)));
    }
    fields.push_back(SpeedText(position, seconds));
    if (m_output.IsPlainFile())
        fields.push_back(SizeText(m_output.Size()));
    if (done > 0.0)
        fields.push_back("ETA " + ClockText(seconds / done - seconds));
    if (m_hasVideo)
        fields.push_back(PacingText(counts));

    std::string line;
    for (const std::string& field : fields) {
        const std::string longer = line.empty() ? field : line + "  " + field;
        if (longer.size() > width)
            break;
        line = longer;
    }
    return line;
}

} // namespace host
