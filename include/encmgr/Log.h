/* The log, and where the application lies: what EncMgr needs from its platform. C linkage, C11 and C++.
 *
 * A line is wide text without levels or categories. By default it goes to the standard error stream as UTF-8, with
 * its line ends made one newline; a host can take the lines itself with KXLogSetSink. Any thread may log. Nothing is
 * thrown: a line for which there is no memory is lost, and so is what a sink throws. Nor is anything written to an
 * error stream that was closed when the log was loaded, since its descriptor may be a file of the program's by now. */
#ifndef ENCMGR_LOG_H
#define ENCMGR_LOG_H

#include "encmgr/Export.h"

#include <stddef.h> // IWYU pragma: keep; wchar_t in C

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one line. pszText may be empty and may end with line ends of its own. */
ENCMGR_API void KXLog(const wchar_t* pszText);

/* Writes one line from a format in the manner of the standard wide print functions. %ls takes wide text, %s narrow
 * text in UTF-8, whatever the process's locale; numbers are printed as in the "C" locale. A line has any length, and
 * no character is ever a reason to lose it: one that is not Unicode prints as U+FFFD. */
ENCMGR_API void KXLogEx(const wchar_t* pszFormat, ...);

/* Writes the path of the running application's folder, without a trailing "/", to pszPath: at most nMax characters
 * and a terminator. Empty if it can't be told. */
ENCMGR_API void GetAppPath(wchar_t* pszPath, int nMax);

struct tagBITMAPINFOHEADER; /* the published 40-byte bitmap header */

/* Hands a picture that the library traces to the trace sink, if there is one: a 24-bit bottom-up bitmap. */
ENCMGR_API void KXTraceImage(const struct tagBITMAPINFOHEADER* pHeader, const unsigned char* pBits);

/* ---- for hosts ---- */

/* A sink receives each line as it was logged; the text is valid during the call. */
typedef void (*KXLogSink)(void* pContext, const wchar_t* pszText);

/* Sends all further lines to pfnSink; null goes back to the standard error stream. */
ENCMGR_API void KXLogSetSink(KXLogSink pfnSink, void* pContext);

/* A trace sink receives the pictures of xTraceImage; header and bits are valid during the call. Pictures that it
 * traces itself are dropped. */
typedef void (*KXTraceSink)(void* pContext, const struct tagBITMAPINFOHEADER* pHeader, const unsigned char* pBits);

/* Sends all further traced pictures to pfnSink; null drops them. */
ENCMGR_API void KXTraceSetSink(KXTraceSink pfnSink, void* pContext);

/* Sets what GetAppPath gives, and so where "PlugIns" is looked for; null goes back to the executable's folder.
 * The text is copied. */
ENCMGR_API void KXLogSetAppPath(const wchar_t* pszPath);

#ifdef __cplusplus
}
#endif

#endif /* ENCMGR_LOG_H */
