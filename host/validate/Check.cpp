#include "host/validate/Check.h"

namespace host
{

const char* OutcomeName(Outcome outcome)
{
    constexpr const char* names[] = {"passed", "skipped", "warning", "failed", "crashed"};
    return names[static_cast<int>(outcome)];
}

void Verdict::Add(Outcome outcome, const std::string& text)
{
    if (outcome > m_worst) {
        m_worst = outcome;
        m_texts.clear();
    }
    if (outcome == m_worst)
        m_texts.push_back(text);
}

const std::vector<Check>& AllChecks()
{
    static const std::vector<Check> all = [] {
        std::vector<Check> checks;
        for (const auto level : {FileChecks, RecordChecks, ListChecks, JobChecks, CloseChecks, ReviseChecks,
                                 ReloadChecks, FrameChecks, WriteChecks, RandomChecks})
            for (const Check& check : level())
                checks.push_back(check);
        return checks;
    }();
    return all;
}

} // namespace host
