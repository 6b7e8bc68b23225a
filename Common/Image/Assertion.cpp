#include "Common/Image/Assertion.h"

#include <cstdio>
#include <cstdlib>

void FailAssertion(const char* pszUnit, unsigned line, const char* pszExpression)
{
    std::fprintf(stderr, "%s:%u: failed assertion `%s'\n", pszUnit, line, pszExpression);
    std::fflush(stderr);
    std::abort();
}
