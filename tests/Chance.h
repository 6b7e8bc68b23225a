// Where a trial gets its sizes and bytes from: random numbers in a test, the input in a fuzz target.
#ifndef ENCMGR_TESTS_CHANCE_H
#define ENCMGR_TESTS_CHANCE_H

#include <random>
#include <span>
#include <vector>

using Bytes = std::vector<unsigned char>;

class Chance
{
public:
    Chance() = default;
    virtual ~Chance() = default;
    Chance(const Chance&) = delete;
    Chance& operator=(const Chance&) = delete;

    // Both ends can come.
    virtual int Random(int low, int high) = 0;
    virtual void Fill(std::span<unsigned char> bytes) = 0;

    static constexpr int kStyles = 10;

    // With 0 and 255, with the values next to them too, with 0, with 255, mostly with anything, which comes again.
    static void FillWith(std::minstd_rand& random, int style, std::span<unsigned char> bytes)
    {
        static constexpr unsigned char few[] = {0, 255, 1, 254};
        for (size_t i = 0; i < bytes.size(); ++i) {
            const unsigned any = i < 4093 ? random() >> 12 & 255 : bytes[i - 4093];
            bytes[i] = static_cast<unsigned char>(style == 0   ? any % 2 * 255
                                                  : style == 1 ? few[any % 4]
                                                  : style == 2 ? 0
                                                  : style == 3 ? 255
                                                               : any);
        }
    }
};

#endif // ENCMGR_TESTS_CHANCE_H
