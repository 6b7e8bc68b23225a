#include "host/validate/PluginReport.h"

#include "host/base/Text.h"

#include <algorithm>

namespace host
{

namespace
{

constexpr Outcome kOutcomes[] = {Outcome::kPassed, Outcome::kSkipped, Outcome::kWarning, Outcome::kFailed,
                                 Outcome::kCrashed};

bool IsShown(Outcome outcome, Shown shown)
{
    return shown == Shown::kAll || outcome >= (shown == Shown::kFailed ? Outcome::kFailed : Outcome::kSkipped);
}

// Of several findings the first stands for all.
std::string TextOf(const CheckResult& result)
{
    if (result.texts.empty())
        return result.check->sentence;
    const size_t more = result.texts.size() - 1;
    return result.texts.front() + (more ? Format(" (and %zu more)", more) : "");
}

} // namespace

Outcome PluginReport::Worst() const
{
    Outcome worst = Outcome::kPassed;
    for (const CheckResult& result : results)
        worst = std::max(worst, result.outcome);
    return worst;
}

size_t PluginReport::Count(Outcome outcome) const
{
    return static_cast<size_t>(
        std::count_if(results.begin(), results.end(), [outcome](const auto& r) { return r.outcome == outcome; }));
}

std::string ReportText(const PluginReport& report, Shown shown)
{
    int width = 0;
    for (const CheckResult& result : report.results)
        if (IsShown(result.outcome, shown))
            width = std::max(width, static_cast<int>(std::string(result.check->id).size()));
    std::string text = report.file + "\n";
    for (const CheckResult& result : report.results)
        if (IsShown(result.outcome, shown))
            text += Format("  %-7s  %2d  %-*s  %s\n", OutcomeName(result.outcome), result.check->level, width,
                           result.check->id, TextOf(result).c_str());
    std::string counts;
    for (const Outcome outcome : kOutcomes)
        if (const size_t count = report.Count(outcome))
            counts += Format("%s%zu %s", counts.empty() ? "" : ", ", count, OutcomeName(outcome));
    return text + Format("  %s: %zu checks, %s\n", report.Worst() >= Outcome::kFailed ? "not good" : "good",
                         report.results.size(), counts.empty() ? "none run" : counts.c_str());
}

Json ReportJson(const PluginReport& report, Shown shown)
{
    Json checks = Json::array();
    for (const CheckResult& result : report.results)
        if (IsShown(result.outcome, shown))
            checks.push_back({{"id", result.check->id},
                              {"level", result.check->level},
                              {"outcome", OutcomeName(result.outcome)},
                              {"sentence", result.check->sentence},
                              {"texts", result.texts}});
    Json counts = Json::object();
    for (const Outcome outcome : kOutcomes)
        counts[OutcomeName(outcome)] = report.Count(outcome);
    return {
        {"file", report.file}, {"isGood", report.Worst() < Outcome::kFailed}, {"counts", counts}, {"checks", checks}};
}

} // namespace host
