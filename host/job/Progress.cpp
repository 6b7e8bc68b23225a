#include "host/job/Progress.h"

#include "host/base/Json.h"
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

// Between two updates.
std::chrono::milliseconds PauseOf(ProgressKind kind)
{
    switch (kind) {
    case ProgressKind::kBar:
        return 100ms;
    case ProgressKind::kJson:
        return 500ms;
    default:
        return 5s;
    }
}

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

Progress::Progress(Messages& messages, ProgressKind kind, const OutputFile& output, Nanoseconds total, bool hasVideo,
                   const std::string& label)
    : m_messages(messages), m_kind(kind), m_output(output), m_total(total), m_hasVideo(hasVideo), m_label(label),
      m_start(Clock::now()), m_last(m_start)
{
    if (m_kind == ProgressKind::kAuto) {
        const bool isShown = messages.GetVolume() != Volume::kQuiet && CanOverwriteLines();
        m_kind = isShown ? ProgressKind::kBar : ProgressKind::kNone;
    }
}

void Progress::Update(const Tally& tally)
{
    const auto now = Clock::now();
    if (m_kind == ProgressKind::kNone || now - m_last < PauseOf(m_kind))
        return;
    m_last = now;
    const State state = StateOf(tally);
    if (m_kind == ProgressKind::kBar)
        m_messages.ShowStatus(Line(state, TerminalWidth()));
    else if (m_kind == ProgressKind::kLines)
        m_messages.ShowLine("encmgr: " + Line(state, std::string::npos));
    else
        m_messages.ShowLine(JsonOf(state, "progress"));
}

void Progress::End(const Tally& tally)
{
    m_messages.EndStatus();
    if (m_kind == ProgressKind::kJson)
        m_messages.ShowLine(JsonOf(StateOf(tally), "end"));
}

double Progress::Seconds() const
{
    return std::chrono::duration<double>(Clock::now() - m_start).count();
}

Progress::State Progress::StateOf(const Tally& tally) const
{
    const Nanoseconds position = tally.Position();
    const double done = m_total > 0 ? std::clamp(InSeconds(position) / InSeconds(m_total), 0.0, 1.0) : 0.0;
    return {tally.Pictures(), position, std::max(Seconds(), 0.001), done};
}

// Whole fields, as many as fit; what matters most comes first.
std::string Progress::Line(const State& state, size_t width) const
{
    const auto& [counts, position, seconds, done] = state;
    std::vector<std::string> fields;
    if (!m_label.empty())
        fields.push_back(m_label);
    if (m_total > 0)
        fields.push_back(Format("%3d%%", static_cast<int>(done * 100.0)));
    if (m_hasVideo) {
        fields.push_back(Format("%lld pictures", static_cast<long long>(counts.pictures)));
        fields.push_back(Format("%.1f fps", static_cast<double>(counts.pictures) / seconds));
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

std::string Progress::JsonOf(const State& state, const char* event) const
{
    const auto& [counts, position, seconds, done] = state;
    Json json = {{"schema", 1}, {"event", event}, {"position_seconds", InSeconds(position)}};
    json["total_seconds"] = m_total > 0 ? Json(InSeconds(m_total)) : Json();
    if (m_hasVideo) {
        json["pictures"] = counts.pictures;
        json["repeated"] = counts.repeated;
        json["dropped"] = counts.dropped;
        json["pictures_per_second"] = static_cast<double>(counts.pictures) / seconds;
    }
    json["bytes"] = m_output.IsPlainFile() ? Json(m_output.Size()) : Json();
    json["elapsed_seconds"] = seconds;
    json["speed"] = InSeconds(position) / seconds;
    json["left_seconds"] = done > 0.0 ? Json(seconds / done - seconds) : Json();
    return JsonLine(json);
}

} // namespace host
