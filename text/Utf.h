/* Conversions between wide text, one 32-bit unit per character, and UTF-8. No state, no locale, no
 * allocation. */
#ifndef ENCMGR_TEXT_UTF_H
#define ENCMGR_TEXT_UTF_H

#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"

/* How a surrogate (U+D800 to U+DFFF), which is no character of its own, is taken. */
enum ConversionFlags {
    strictConversion,  /* it stops the conversion with sourceIllegal */
    lenientConversion, /* to UTF-8: 3 bytes like any other character; from UTF-8: U+FFFD; no effect on the
                          result */
};

/* How a conversion ended. */
enum ConversionResult {
    conversionOK,    /* all input was converted */
    sourceExhausted, /* the input ends inside a sequence */
    targetExhausted, /* the next character doesn't fit; no part of it was written */
    sourceIllegal,   /* illegal input was met */
};

/* Converts [pSrc, pSrcEnd) into [pDst, pDstEnd). A value above U+10FFFF becomes U+FFFD and the conversion
 * goes on, but ends in sourceIllegal (or in targetExhausted if the room runs out later). What was converted
 * before a stop stays in the target; no terminator is added. */
ENCMGR_API ConversionResult ConvertUTF32toUTF8(const KXDWORD* pSrc, const KXDWORD* pSrcEnd, unsigned char* pDst,
                                               unsigned char* pDstEnd, ConversionFlags flags);

/* The other way. A sequence that isn't well-formed (Unicode, table 3-7; an encoded surrogate is the
 * exception, see ConversionFlags) stops the conversion with sourceIllegal under both flags; one that reaches
 * past the end of the input stops it with sourceExhausted, whatever its bytes are. */
ENCMGR_API ConversionResult ConvertUTF8toUTF32(const unsigned char* pSrc, const unsigned char* pSrcEnd, KXDWORD* pDst,
                                               KXDWORD* pDstEnd, ConversionFlags flags);

/* The same for strings. nSrcLen counts wide characters or bytes; -1 takes the string with its terminator, so
 * that the target is terminated too. No other length adds a terminator. nDstLen is the target's size in its
 * own units: bytes for WtoUTF8, wide characters for UTF8toW. A target that is too small holds the whole
 * characters that fit, without a terminator. A length below -1, or a null source of another length than 0, is
 * refused with sourceIllegal; a null target or a negative size counts as a target without room. */
ENCMGR_API ConversionResult WtoUTF8(const wchar_t* pszSrc, int nSrcLen, char* pszDst, int nDstLen, bool bStrict);
ENCMGR_API ConversionResult UTF8toW(const char* pszSrc, int nSrcLen, wchar_t* pszDst, int nDstLen, bool bStrict);

#endif /* ENCMGR_TEXT_UTF_H */
