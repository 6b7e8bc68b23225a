#include "tests/Headers.c" // NOLINT(bugprone-suspicious-include): the same text in both languages

#include <algorithm>
#include <cstdio>
#include <iterator>

extern "C" const size_t* LayoutInC(size_t* count);

int main()
{
    size_t count = 0;
    const size_t* const inC = LayoutInC(&count);
    const bool isSame = std::equal(inC, inC + count, std::begin(s_layout), std::end(s_layout));
    std::printf("%zu fields lie %s in C and C++\n", count / 3, isSame ? "alike" : "apart");
    return count > 100 && isSame ? 0 : 1;
}
