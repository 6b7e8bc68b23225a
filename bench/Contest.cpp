#include "bench/Contest.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstring>
#include <exception>
#include <stdexcept>

namespace
{

constexpr int kRounds = 15;
constexpr double kSlot = 0.008;   // seconds for which one contender runs in one round
constexpr double kMaxCalls = 1e6; // in a slot

double Seconds(const std::function<void()>& run, int calls)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        run();
        benchmark::ClobberMemory();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / calls;
}

// As many calls as fill a slot, found by doubling.
int CallsInSlot(const std::function<void()>& run)
{
    for (int calls = 1;; calls *= 2) {
        const double time = Seconds(run, calls);
        if (time * calls > kSlot / 8 || calls > kMaxCalls / 2)
            return static_cast<int>(std::clamp(kSlot / std::max(time, 1e-9), 1.0, kMaxCalls));
    }
}

struct Quartiles {
    double low, median, high;

    explicit Quartiles(std::vector<double> values)
    {
        std::sort(values.begin(), values.end());
        const auto at = [&](double part) {
            const double position = part * static_cast<double>(values.size() - 1);
            const auto index = static_cast<size_t>(position);
            const double next = values[std::min(index + 1, values.size() - 1)];
            return values[index] + (next - values[index]) * (position - static_cast<double>(index));
        };
        low = at(0.25);
        median = at(0.5);
        high = at(0.75);
    }
};

// A contender in its rounds.
struct Entry {
    Contender contender;
    int calls = 1;
    std::vector<double> times = {}; // seconds for one run, by round

    double Median() const { return Quartiles(times).median; }
};

class Rounds
{
public:
    explicit Rounds(const Contest& contest) : m_output(contest.output)
    {
        m_entries.push_back({{"ours", contest.ours}});
        for (const Contender& peer : contest.peers)
            m_entries.push_back({peer});
        if (m_output.bytes > 0)
            m_entries.push_back({{"memcpy", [this] { Copy(); }, false}});
    }

    // Runs each once. Returns the name of a contender that writes something else than the first, else nothing. Who is
    // there for information may write elsewhere.
    std::string FindStranger()
    {
        std::vector<double> expected;
        for (Entry& entry : m_entries) {
            const bool isChecked = m_output.describe && entry.contender.isComparable;
            if (isChecked)
                std::memset(m_output.bits, 255, m_output.bytes);
            entry.contender.run();
            if (!isChecked)
                continue;
            const std::vector<double> found = m_output.describe();
            if (expected.empty())
                expected = found;
            for (size_t i = 0; i < expected.size(); ++i)
                if (i >= found.size() || std::abs(found[i] - expected[i]) > m_output.tolerance)
                    return entry.contender.name;
        }
        return {};
    }

    void WarmUp()
    {
        if (m_output.bytes > 0)
            m_copySource.assign(m_output.bytes, 1);
        for (Entry& entry : m_entries)
            entry.calls = CallsInSlot(entry.contender.run);
    }

    // Returns our time.
    double Round()
    {
        for (size_t i = 0; i < m_entries.size(); ++i) {
            Entry& entry = m_entries[(i + m_first) % m_entries.size()];
            entry.times.push_back(Seconds(entry.contender.run, entry.calls));
        }
        m_first = (m_first + 1) % m_entries.size();
        return m_entries[0].times.back();
    }

    const std::vector<Entry>& Entries() const { return m_entries; }

    // Our speed over an entry's.
    Quartiles RatioTo(const Entry& entry) const
    {
        std::vector<double> ratios;
        for (size_t i = 0; i < entry.times.size(); ++i)
            ratios.push_back(entry.times[i] / m_entries[0].times[i]);
        return Quartiles(ratios);
    }

    const Entry* FastestPeer() const
    {
        const Entry* fastest = nullptr;
        for (size_t i = 1; i < m_entries.size(); ++i)
            if (m_entries[i].contender.isComparable && (!fastest || m_entries[i].Median() < fastest->Median()))
                fastest = &m_entries[i];
        return fastest;
    }

private:
    void Copy()
    {
        if (!m_copySource.empty())
            std::memcpy(m_output.bits, m_copySource.data(), m_output.bytes);
    }

    Output m_output;
    std::vector<unsigned char> m_copySource;
    std::vector<Entry> m_entries;
    size_t m_first = 0;
};

void Report(benchmark::State& state, const Rounds& rounds, const Bar& bar, double pixels)
{
    auto& counters = state.counters;
    const auto put = [&](const std::string& name, const Quartiles& q) {
        counters[name] = q.median;
        counters[name + "_low"] = q.low;
        counters[name + "_high"] = q.high;
    };
    bool hasBar = false, reached = true;
    const auto hold = [&](const std::string& name, double value, double least) {
        if (least <= 0.0)
            return;
        counters[name] = least;
        hasBar = true;
        reached = reached && value >= least;
    };
    for (const Entry& entry : rounds.Entries()) {
        const std::string& name = entry.contender.name;
        counters[name + "_ns"] = entry.Median() * 1e9;
        if (name != "ours" && name != "memcpy")
            counters[name + "_ratio"] = rounds.RatioTo(entry).median;
    }
    if (const Entry* fastest = rounds.FastestPeer()) {
        state.SetLabel(fastest->contender.name);
        put("ratio", rounds.RatioTo(*fastest));
        hold("bar", rounds.RatioTo(*fastest).median, bar.peers);
    }
    const Entry& last = rounds.Entries().back();
    if (last.contender.name == "memcpy") {
        put("copy", rounds.RatioTo(last));
        hold("copy_bar", rounds.RatioTo(last).median, bar.copy);
        if (pixels > 0.0)
            counters["copy_ns_per_pixel"] = last.Median() * 1e9 / pixels;
    }
    if (pixels > 0.0)
        counters["ns_per_pixel"] = rounds.Entries()[0].Median() * 1e9 / pixels;
    if (hasBar)
        counters["reached"] = reached;
}

// A work that throws is not measured; the others are.
void Register(const std::string& name, int rounds, const std::function<void(benchmark::State&)>& run)
{
    const auto guarded = [run](benchmark::State& state) {
        try {
            run(state);
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), guarded)->Iterations(rounds)->UseManualTime();
}

} // namespace

Output OutputOf(const Image& image, double tolerance)
{
    return {image.Bits(), image.Bytes(), [image] { return image.Means(); }, tolerance};
}

void RegisterContest(const std::string& name, const Bar& bar, const std::function<Contest()>& prepare)
{
    Register(name, kRounds, [bar, prepare](benchmark::State& state) {
        const Contest contest = prepare();
        Rounds rounds(contest);
        const std::string stranger = rounds.FindStranger();
        if (!stranger.empty())
            throw std::runtime_error(stranger + " doesn't do the same work");
        rounds.WarmUp();
        for (auto _ : state)
            state.SetIterationTime(rounds.Round());
        Report(state, rounds, bar, contest.pixels);
    });
}

void RegisterFigure(const std::string& name, const std::string& unit, const std::function<double()>& measure)
{
    Register(name, 1, [unit, measure](benchmark::State& state) {
        for (auto _ : state) {
            state.counters["value"] = measure();
            state.SetIterationTime(0.0);
        }
        state.SetLabel(unit);
    });
}
