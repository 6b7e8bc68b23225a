// Files as strings of bytes, little-endian.
#ifndef ENCMGR_TESTS_BYTES_H
#define ENCMGR_TESTS_BYTES_H

#include <cstdint>
#include <string>
#include <vector>

inline std::string Word(uint64_t value, int bytes)
{
    std::string word;
    for (int i = 0; i < bytes; ++i)
        word += static_cast<char>(value >> 8 * i);
    return word;
}

inline std::string BytesOf(const std::vector<int16_t>& samples)
{
    return {reinterpret_cast<const char*>(samples.data()), samples.size() * 2};
}

#endif // ENCMGR_TESTS_BYTES_H
