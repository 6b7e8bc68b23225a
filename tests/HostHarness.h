// Parts of the host without files: a source that plays a script, and deterministic chance.
#ifndef ENCMGR_TESTS_HOST_HARNESS_H
#define ENCMGR_TESTS_HOST_HARNESS_H

#include "host/sources/Source.h"

#include <cstdint>
#include <utility>
#include <vector>

// The same numbers in every run.
class Random
{
public:
    // 0 to below end.
    int Next(int end)
    {
        m_state = m_state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<int>((m_state >> 33) % static_cast<uint64_t>(end));
    }

private:
    uint64_t m_state = 20;
};

inline host::Item Picture(host::Nanoseconds time, host::Nanoseconds duration = 0)
{
    return {host::Item::Kind::kPicture, time, duration, nullptr, {}};
}

inline host::Item Block(host::Nanoseconds time, size_t samples)
{
    return {host::Item::Kind::kAudio, time, 0, nullptr, std::vector<int16_t>(samples)};
}

class ScriptedSource : public host::Source
{
public:
    explicit ScriptedSource(std::vector<host::Item> items) : m_items(std::move(items)) {}

    host::Item Next() override { return m_given < m_items.size() ? m_items[m_given++] : host::Item{}; }
    size_t Given() const { return m_given; }

private:
    std::vector<host::Item> m_items;
    size_t m_given = 0;
};

#endif // ENCMGR_TESTS_HOST_HARNESS_H
