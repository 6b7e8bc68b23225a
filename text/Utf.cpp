#include "text/Utf.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <cwchar>

namespace
{

constexpr uint32_t kLastCodePoint = 0x10FFFF;
constexpr uint32_t kReplacement = 0xFFFD;

constexpr bool IsSurrogate(uint32_t code)
{
    return code >= 0xD800 && code <= 0xDFFF;
}

// The length that a first byte announces, 1 to 6. A stray trailing byte counts as 1; IsWellFormed refuses it.
constexpr int SequenceLength(unsigned char first)
{
    return first < 0xC0 ? 1 : std::min(std::countl_one(first), 6);
}

bool IsWellFormed(const unsigned char* p, int length)
{
    if (length == 1)
        return p[0] < 0x80;
    if (p[0] < 0xC2 || p[0] > 0xF4)
        return false;
    // The second byte's range keeps out overlong forms and values above U+10FFFF.
    const int low = p[0] == 0xE0 ? 0xA0 : p[0] == 0xF0 ? 0x90 : 0x80;
    const int high = p[0] == 0xF4 ? 0x8F : 0xBF;
    return p[1] >= low && p[1] <= high &&
           std::all_of(p + 2, p + length, [](unsigned char byte) { return (byte & 0xC0) == 0x80; });
}

uint32_t Decode(const unsigned char* p, int length)
{
    uint32_t code = length == 1 ? p[0] : p[0] & (0x7Fu >> length);
    for (int i = 1; i < length; ++i)
        code = code << 6 | (p[i] & 0x3Fu);
    return code;
}

constexpr int EncodedLength(uint32_t code)
{
    return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
}

void Encode(uint32_t code, unsigned char* p, int length)
{
    for (int i = length - 1; i > 0; --i, code >>= 6)
        p[i] = static_cast<unsigned char>(0x80 | (code & 0x3F));
    p[0] = static_cast<unsigned char>(length == 1 ? code : (0xF00u >> length & 0xFF) | code);
}

// Unit is KXDWORD or wchar_t: of one size, but two types.
template <class Unit>
ConversionResult ToUTF8(const Unit* pSrc, const Unit* pSrcEnd, unsigned char* pDst, unsigned char* pDstEnd,
                        ConversionFlags flags)
{
    ConversionResult result = conversionOK;
    for (; pSrc < pSrcEnd; ++pSrc) {
        uint32_t code = static_cast<uint32_t>(*pSrc); // NOLINT(bugprone-signed-char-misuse): wchar_t isn't a char
        if (flags == strictConversion && IsSurrogate(code))
            return sourceIllegal;
        if (code > kLastCodePoint) {
            code = kReplacement;
            result = sourceIllegal;
        }
        const int length = EncodedLength(code);
        if (pDstEnd - pDst < length)
            return targetExhausted;
        Encode(code, pDst, length);
        pDst += length;
    }
    return result;
}

template <class Unit>
ConversionResult FromUTF8(const unsigned char* pSrc, const unsigned char* pSrcEnd, Unit* pDst, Unit* pDstEnd,
                          ConversionFlags flags)
{
    while (pSrc < pSrcEnd) {
        const int length = SequenceLength(*pSrc);
        if (pSrcEnd - pSrc < length)
            return sourceExhausted;
        if (!IsWellFormed(pSrc, length))
            return sourceIllegal;
        uint32_t code = Decode(pSrc, length);
        if (pDst >= pDstEnd)
            return targetExhausted;
        if (IsSurrogate(code)) {
            if (flags == strictConversion)
                return sourceIllegal;
            code = kReplacement;
        }
        *pDst++ = static_cast<Unit>(code);
        pSrc += length;
    }
    return conversionOK;
}

template <class Unit> Unit* TargetEnd(Unit* pszDst, int nDstLen)
{
    return pszDst ? pszDst + std::max(nDstLen, 0) : pszDst;
}

ConversionFlags FlagsOf(bool bStrict)
{
    return bStrict ? strictConversion : lenientConversion;
}

} // namespace

ConversionResult ConvertUTF32toUTF8(const KXDWORD* pSrc, const KXDWORD* pSrcEnd, unsigned char* pDst,
                                    unsigned char* pDstEnd, ConversionFlags flags)
{
    return ToUTF8(pSrc, pSrcEnd, pDst, pDstEnd, flags);
}

ConversionResult ConvertUTF8toUTF32(const unsigned char* pSrc, const unsigned char* pSrcEnd, KXDWORD* pDst,
                                    KXDWORD* pDstEnd, ConversionFlags flags)
{
    return FromUTF8(pSrc, pSrcEnd, pDst, pDstEnd, flags);
}

ConversionResult WtoUTF8(const wchar_t* pszSrc, int nSrcLen, char* pszDst, int nDstLen, bool bStrict)
{
    if (nSrcLen < -1 || (!pszSrc && nSrcLen != 0))
        return sourceIllegal;
    const size_t length = nSrcLen == -1 ? std::wcslen(pszSrc) + 1 : static_cast<size_t>(nSrcLen);
    unsigned char* const pDst = reinterpret_cast<unsigned char*>(pszDst);
    return ToUTF8(pszSrc, pszSrc + length, pDst, TargetEnd(pDst, nDstLen), FlagsOf(bStrict));
}

ConversionResult UTF8toW(const char* pszSrc, int nSrcLen, wchar_t* pszDst, int nDstLen, bool bStrict)
{
    if (nSrcLen < -1 || (!pszSrc && nSrcLen != 0))
        return sourceIllegal;
    const size_t length = nSrcLen == -1 ? std::strlen(pszSrc) + 1 : static_cast<size_t>(nSrcLen);
    const unsigned char* const pSrc = reinterpret_cast<const unsigned char*>(pszSrc);
    return FromUTF8(pSrc, pSrc + length, pszDst, TargetEnd(pszDst, nDstLen), FlagsOf(bStrict));
}
