// One output file as the host sees it.
#ifndef ENCMGR_MEDIA_FILE_H
#define ENCMGR_MEDIA_FILE_H

#include "Common/Audio/AudioConverter.h"
#include "Common/Image/ImageParam.h"
#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"
#include "plugin_host/PluginMgr.h"

#include <cstdint>

struct AudioRate;

constexpr int kResampleBufSamples = 0x40000;

// Owns the job on the plug-ins' side and all that turns the host's frames into the frames that the job was set up for.
// Create settles once what every frame goes through; the write paths only read that plan.
//
// One thread at a time per object, audio and video together: both paths prepare their frames in m_OutFrame.
class ENCMGR_API MediaFile
{
public:
    MediaFile();
    virtual ~MediaFile(); // Close(null, null)
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    // Opens the job and plans audio and picture. Keeps no pointer to any argument; pVidInfo and pAudInfo may be null
    // and leave out the plan that depends on them. Returns 0, with the reason in the log, when the job can't run. An
    // object whose job is open refuses.
    int Create(const wchar_t* pszPath, const EncodeParam* pParam, const KXVideoInfo* pVidInfo,
               const KXAudioInfo* pAudInfo);
    // Finishes the job and gives back all that Create and the frames have made.
    void Close(FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam);

    // Scale or convert one frame of the host's, hold it to the clock, and hand it to the job: several times, once, or
    // not at all. Return the sum of the format's results, 0 if nothing was written.
    int WriteVideoFrame(const MEDIA_FRAME* pFrame);
    int WriteAudioData(const MEDIA_FRAME* pFrame);

    // The inner steps. The prepared frames hold until the next write of either stream.
    const MEDIA_FRAME* GetResizeFrame(const MEDIA_FRAME* pFrame);   // REQUIRES: m_pResizeBuf
    const MEDIA_FRAME* GetResampleFrame(const MEDIA_FRAME* pFrame); // pFrame itself where nothing is to convert
    int _WriteVideoFrame(const MEDIA_FRAME* pFrame);
    int _WriteAudioData(const MEDIA_FRAME* pFrame);

    PluginMgr m_PluginMgr;
    CAudioConverter* m_pAudioConverter = nullptr; // present if source and output differ in channels or rate
    short* m_pResampleBuf = nullptr;              // 0x40000 samples: each converted block lands here
    MEDIA_FRAME m_OutFrame = {};                  // the prepared copy of the frame in work
    // The scaled picture: a tagBITMAPINFOHEADER of 40 bytes, the planes Y, V, U with pitches of width and
    // (width + 1) / 2, and width spare bytes. Null: pictures need no scaling.
    unsigned char* m_pResizeBuf = nullptr;
    EncodeParam m_EncParam = {}; // the job's own record, as the set-up left it
    KXVideoInfo m_VideoInfo = {};
    IMG_PARAM m_SrcY = {};
    IMG_PARAM m_DstY = {};
    IMG_PARAM m_SrcUV = {}; // in luma pixels, but for pBits and nPitch
    IMG_PARAM m_DstUV = {};
    int32_t m_nFramesOut = 0;       // pictures handed to the job, every repeat counted
    int64_t m_llLastVideoTime = -1; // llTimeStamp of the last of them; -1: none yet
    int64_t m_llAudioBytes = 0;     // bytes of output audio handed to the job
    unsigned char* m_pBlankBuf = nullptr;
    unsigned char m_LastBlock[64] = {}; // the last sample block written: what gaps are filled with
    int32_t m_nBlockAlign = 0;          // bytes in one sample of all channels; 0: no audio plan

private:
    ENCMGR_LOCAL int Fail(const wchar_t* pszMessage);
    ENCMGR_LOCAL int PlanAudio(const KXAudioInfo& info);
    ENCMGR_LOCAL int PlanVideo(const KXVideoInfo& info);
    ENCMGR_LOCAL void CountFrameOut();
    ENCMGR_LOCAL int WriteInPieces(const MEDIA_FRAME& block);
    ENCMGR_LOCAL const MEDIA_FRAME* OutputFrame(const MEDIA_FRAME& frame, int nSamples);
    ENCMGR_LOCAL int PaceAudio(const MEDIA_FRAME* pFrame);
    ENCMGR_LOCAL int FillGap(const MEDIA_FRAME& frame, const AudioRate& rate, int64_t nGapBytes);
    ENCMGR_LOCAL int WriteLateBlock(const MEDIA_FRAME& frame, const AudioRate& rate, int64_t nLate);
};

#endif // ENCMGR_MEDIA_FILE_H
