// The results as a table, a line as each work ends.
#ifndef ENCMGR_BENCH_TABLE_H
#define ENCMGR_BENCH_TABLE_H

#include <benchmark/benchmark.h>
#include <string>
#include <vector>

class Table : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    int Failures() const { return m_failures; } // works that could not be measured

private:
    void PrintContest(const Run& run);
    void PrintFigure(const Run& run);

    std::string m_family;
    int m_bars = 0;
    int m_reached = 0;
    int m_failures = 0;
};

#endif // ENCMGR_BENCH_TABLE_H
