/* FourCC codes as text. */
#ifndef ENCMGR_TEXT_FOURCC_H
#define ENCMGR_TEXT_FOURCC_H

#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"

/* Writes the four characters of dwFourCC, lowest byte first, and a terminator to pszBuf, which holds 5 wide
 * characters. A byte above 0x7F prints as "?"; a zero byte ends the text for its reader, so 0 reads as an
 * empty text. The process's locale plays no part. Returns pszBuf; null is returned as it is. */
ENCMGR_API wchar_t* FourCC2StrW(wchar_t* pszBuf, KXDWORD dwFourCC);

#endif /* ENCMGR_TEXT_FOURCC_H */
