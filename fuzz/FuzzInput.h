// A fuzz target's input as a source of choices. An input that is used up gives zeros and lowest values.
#ifndef ENCMGR_FUZZ_INPUT_H
#define ENCMGR_FUZZ_INPUT_H

#include "tests/Chance.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

// Every target is this function alone; libFuzzer calls it, or ReplayMain.cpp.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Ends the program with the text, if there is one, which is how a fuzzer learns of a fault.
inline void ExpectNone(const std::string& fault)
{
    if (fault.empty())
        return;
    std::fprintf(stderr, "%s\n", fault.c_str());
    std::abort();
}

inline void Expect(bool holds, const char* what)
{
    if (!holds)
        ExpectNone(what);
}

class FuzzInput : public Chance
{
public:
    FuzzInput(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    bool IsUsedUp() const { return m_size == 0; }

    template <class Number> Number Raw()
    {
        Number value = {};
        const size_t taken = std::min(m_size, sizeof(value));
        std::memcpy(&value, m_data, taken);
        Skip(taken);
        return value;
    }

    // From as few bytes as hold the range. REQUIRES: low <= high.
    int Random(int low, int high) override
    {
        const uint64_t range = static_cast<uint64_t>(int64_t{high} - low) + 1;
        const uint64_t value = range <= 256 ? Raw<uint8_t>() : range <= 65536 ? Raw<uint16_t>() : Raw<uint32_t>();
        return static_cast<int>(low + static_cast<int64_t>(value % range));
    }

    // From a style and a seed.
    void Fill(std::span<unsigned char> bytes) override
    {
        const int style = Random(0, kStyles - 1);
        std::minstd_rand random(Raw<uint16_t>());
        FillWith(random, style, bytes);
    }

    // Mostly one of the values at which things break, or next to one that is near.
    int Hostile(int near)
    {
        static constexpr int edges[] = {0,         1,      -1,     2,      INT_MAX, INT_MIN, INT_MAX - 1, -2,
                                        (1 << 19), 0x7FFF, 0x8000, 0xFFFF, 65536,   1 << 30, 46341,       3};
        const int choice = Random(0, 31);
        return choice < 16 ? near : choice < 31 ? edges[choice - 16] : Raw<int32_t>();
    }

    // Up to so many characters, in bytes that end with the input.
    std::string Text(size_t most)
    {
        const size_t length = std::min(std::min<size_t>(Raw<uint16_t>(), most), m_size);
        std::string text(reinterpret_cast<const char*>(m_data), length);
        Skip(length);
        return text;
    }

    std::string Rest() { return Exactly(m_size); }

private:
    std::string Exactly(size_t length)
    {
        std::string text(reinterpret_cast<const char*>(m_data), length);
        Skip(length);
        return text;
    }

    void Skip(size_t count)
    {
        m_data += count;
        m_size -= count;
    }

    const uint8_t* m_data;
    size_t m_size;
};

#endif // ENCMGR_FUZZ_INPUT_H
