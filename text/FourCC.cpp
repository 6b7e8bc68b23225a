#include "text/FourCC.h"

wchar_t* FourCC2StrW(wchar_t* pszBuf, KXDWORD dwFourCC)
{
    if (!pszBuf)
        return pszBuf;
    for (int i = 0; i < 4; ++i) {
        const KXDWORD byte = dwFourCC >> 8 * i & 0xFF;
        pszBuf[i] = byte < 0x80 ? static_cast<wchar_t>(byte) : L'?';
    }
    pszBuf[4] = 0;
    return pszBuf;
}
