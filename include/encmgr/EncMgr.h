/* EncMgr's front door: the seven functions with which a host turns raw pictures and raw audio into a finished
 * file. Compiles as C11 and as C++. All functions have C linkage.
 *
 * Order of calls:
 *   FCInitPlugins
 *   FCGetFileFormatInfos                     choose a format and its encoders by FourCC
 *   FCCreateMediaFile                        once per output file; several jobs may stand side by side
 *   FCWriteVideoFrame, FCWriteAudioData      in any mix, as the frames arrive
 *   FCCloseMediaFile                         exactly once per handle
 *   FCUninitPlugins                          when no job is left
 *
 * Threads: the library starts none and takes no lock. FCInitPlugins and FCUninitPlugins run alone. One job is used
 * by one thread at a time. Jobs on different threads are fine where their plug-ins allow it, except that two jobs
 * that convert audio at the same moment share one running balance and may each gain or lose a sample.
 *
 * Failures are results of 0 or null; the cause is in the log (log/Log.h), which goes to the standard error stream or
 * to a host's KXLogSetSink: what the library and the plug-ins refuse is a line there before the result, but for null
 * pointers and a format of 0. Nothing is thrown: a plug-in's slot that throws has failed, and the log names it; so has
 * a call for which memory runs out.
 *
 * Doubles: the four functions of a job work, plug-ins included, in the processor's default modes (round to nearest, no
 * flush to zero, no traps), and leave the host's as they were.
 */
#ifndef ENCMGR_ENCMGR_H
#define ENCMGR_ENCMGR_H

#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the plug-ins of the folder "PlugIns" beside the application and builds the catalogue; an earlier catalogue
 * goes first. KXLogSetAppPath (log/Log.h), called before, has "PlugIns" looked for in another folder. Returns 1 if
 * the folder could be read, whatever it held, and 0 if not.
 * REQUIRES: no job exists. */
ENCMGR_API int FCInitPlugins(void);

/* Empties the catalogue and unloads all plug-ins. REQUIRES: no job exists. */
ENCMGR_API void FCUninitPlugins(void);

/* The formats that can be had, with their encoders, as an array that ends with dwFourCC 0; null before
 * FCInitPlugins and when no plug-in gave a format. It belongs to the library and holds until the next FCInitPlugins
 * or FCUninitPlugins. */
ENCMGR_API const FILEFORMAT_INFO* FCGetFileFormatInfos(void);

/* Opens an output file. pszPath and the records stay the host's and are not used after the call. pParam starts from
 * zeros and names the format, the encoder of each stream that isn't disabled, and what that stream is to be.
 * pVidInfo and pAudInfo describe the source; null leaves out the scaling or conversion that depends on them.
 * Returns the job's handle, or null with nothing left behind. */
ENCMGR_API void* FCCreateMediaFile(const wchar_t* pszPath, const EncodeParam* pParam, const KXVideoInfo* pVidInfo,
                                   const KXAudioInfo* pAudInfo);

/* Takes one block of audio in the source format: 16-bit interleaved PCM, whole sample blocks, with a true
 * llStreamTime. Returns the sum of the format's results for all the writes that the block gave rise to. */
ENCMGR_API int FCWriteAudioData(void* hMediaFile, const MEDIA_FRAME* pFrame);

/* Takes one picture of the source size: planar YUV 4:2:0 with true llStreamTime and llTimeStamp. Returns the sum of
 * the format's results for all copies written; 0 if the picture was dropped. */
ENCMGR_API int FCWriteVideoFrame(void* hMediaFile, const MEDIA_FRAME* pFrame);

/* Drains the encoders, closes the file, and ends the handle. The callback and its parameter go to the format's
 * pfnClose as they are; both may be null. */
ENCMGR_API void FCCloseMediaFile(void* hMediaFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam);

#ifdef __cplusplus
}
#endif

#endif /* ENCMGR_ENCMGR_H */
