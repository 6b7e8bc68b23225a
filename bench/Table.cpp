#include "bench/Table.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <ostream>

namespace
{

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string Format(const char* format, ...)
{
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    return text;
}

double Value(const benchmark::UserCounters& counters, const std::string& name)
{
    const auto found = counters.find(name);
    return found == counters.end() ? 0.0 : found->second.value;
}

std::string Time(double ns)
{
    return ns < 1e4 ? Format("%7.1f ns", ns) : ns < 1e7 ? Format("%7.1f us", ns / 1e3) : Format("%7.1f ms", ns / 1e6);
}

std::string Ratio(const benchmark::UserCounters& counters, const std::string& name, const std::string& bar)
{
    if (!counters.count(name))
        return Format("%6s %13s %6s", "", "", "");
    std::string text = Format("%6.2f [%5.2f %5.2f] ", Value(counters, name), Value(counters, name + "_low"),
                              Value(counters, name + "_high"));
    return text + (counters.count(bar) ? Format("%6.2f", Value(counters, bar)) : Format("%6s", "-"));
}

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

bool Table::ReportContext(const Context&)
{
    GetOutputStream() << "Ratios are speeds, ours over theirs: median and [quartiles] of the rounds, then the bar.\n"
                      << Format("%-33s %10s  %-13s %6s %15s %6s   %6s %15s %6s\n", "", "ours", "peer", "ratio",
                                "quartiles", "bar", "memcpy", "quartiles", "bar");
    return true;
}

void Table::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration)
            continue;
        const std::string& name = run.run_name.function_name;
        const size_t slash = name.find('/');
        if (name.substr(0, slash) != m_family) {
            m_family = name.substr(0, slash);
            GetOutputStream() << m_family << "\n";
        }
        GetOutputStream() << Format("  %-31s ", name.substr(slash + 1).c_str());
        if (run.error_occurred) {
            GetOutputStream() << "not measured: " << run.error_message << "\n";
            ++m_failures;
        } else if (run.counters.count("value")) {
            PrintFigure(run);
        } else {
            PrintContest(run);
        }
        GetOutputStream().flush();
    }
}

void Table::PrintContest(const Run& run)
{
    std::ostream& out = GetOutputStream();
    const auto& counters = run.counters;
    out << Time(Value(counters, "ours_ns")) << Format("  %-13s ", run.report_label.c_str())
        << Ratio(counters, "ratio", "bar") << "   " << Ratio(counters, "copy", "copy_bar");
    if (counters.count("reached")) {
        const bool reached = Value(counters, "reached") != 0.0;
        ++m_bars;
        m_reached += reached;
        out << (reached ? "  reached    " : "  NOT REACHED");
    } else {
        out << "             ";
    }
    if (counters.count("ns_per_pixel"))
        out << Format(" %6.3f ns/pixel", Value(counters, "ns_per_pixel"));
    for (const auto& [name, counter] : counters)
        if (EndsWith(name, "_ratio") && name != run.report_label + "_ratio")
            out << Format("  %s %.2f", name.substr(0, name.size() - 6).c_str(), counter.value);
    out << "\n";
}

void Table::PrintFigure(const Run& run)
{
    const double value = Value(run.counters, "value");
    GetOutputStream() << Format("%10.*f %s\n", value == std::floor(value) ? 0 : 2, value, run.report_label.c_str());
}

void Table::Finalize()
{
    if (m_bars > 0)
        GetOutputStream() << m_reached << " of " << m_bars << " bars reached.\n";
}
