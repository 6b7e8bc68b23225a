// The processor's modes for doubles.
#ifndef ENCMGR_FLOATING_POINT_MODE_H
#define ENCMGR_FLOATING_POINT_MODE_H

#if defined(__SSE2__)
#include <xmmintrin.h>
#else
#include <cfenv>
#endif

// While one lives, doubles round to nearest, tiny ones keep their value, and no operation traps, whatever the program
// has set; then the program's own modes and flags are back.
#if defined(__SSE2__)
class DefaultFloatingPointMode
{
public:
    DefaultFloatingPointMode() : m_nSse(_mm_getcsr())
    {
        // The x87 has a say in printing numbers, and in 32-bit code in conversions of 64-bit integers.
        __asm__ volatile("fnstcw %0" : "=m"(m_nX87));
        if ((m_nSse & ~kSseFlags) != kSseDefault)
            _mm_setcsr(kSseDefault);
        if (m_nX87 != kX87Default)
            LoadX87(kX87Default);
    }
    ~DefaultFloatingPointMode()
    {
        if ((m_nSse & ~kSseFlags) != kSseDefault)
            _mm_setcsr(m_nSse);
        if (m_nX87 != kX87Default)
            LoadX87(m_nX87);
    }
    DefaultFloatingPointMode(const DefaultFloatingPointMode&) = delete;
    DefaultFloatingPointMode& operator=(const DefaultFloatingPointMode&) = delete;

private:
    static constexpr unsigned kSseFlags = 0x3F, kSseDefault = 0x1F80;
    static constexpr unsigned short kX87Default = 0x037F;

    static void LoadX87(unsigned short nControl) { __asm__ volatile("fldcw %0" : : "m"(nControl)); }

    unsigned m_nSse;
    unsigned short m_nX87 = 0;
};
#else
class DefaultFloatingPointMode
{
public:
    DefaultFloatingPointMode()
    {
        std::fegetenv(&m_environment);
        std::fesetenv(FE_DFL_ENV);
    }
    ~DefaultFloatingPointMode() { std::fesetenv(&m_environment); }
    DefaultFloatingPointMode(const DefaultFloatingPointMode&) = delete;
    DefaultFloatingPointMode& operator=(const DefaultFloatingPointMode&) = delete;

private:
    std::fenv_t m_environment;
};
#endif

#endif // ENCMGR_FLOATING_POINT_MODE_H
