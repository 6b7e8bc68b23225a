// The plug-ins' side of the library: the catalogue of what they offer, one per process, and one running job per
// instance.
#ifndef ENCMGR_PLUGIN_MGR_H
#define ENCMGR_PLUGIN_MGR_H

#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"

#include <atomic>
#include <string>
#include <vector>

// One open output file of one file format, with at most one video and one audio encoder. Chooses the plug-ins from
// the catalogue, hands them the prepared frames, and drains them at the close.
//
// An instance is empty (after construction and Close) or open (after a Create that returned 1). It belongs to one
// thread at a time. It points into the catalogue, so the catalogue must outlive it.
class ENCMGR_API PluginMgr
{
public:
    PluginMgr();
    virtual ~PluginMgr(); // Close(null, null)
    PluginMgr(const PluginMgr&) = delete;
    PluginMgr& operator=(const PluginMgr&) = delete;

    // Empties the catalogue and builds it anew from the folder "PlugIns" beside the application. Returns 1 if the
    // folder could be opened, whatever it held, and 0 if not. REQUIRES: no instance is open.
    static int InitPlugins();
    // Empties the catalogue and unloads all plug-ins. REQUIRES: no instance is open.
    static void UninitPlugins();
    // The public table of formats, ended by dwFourCC 0, or null while there is none. Owned by the catalogue.
    static const FILEFORMAT_INFO* GetFileFormatInfos();

    // Opens the file. pParam is the job's own record: plug-ins change it, and a stream that can't be had becomes
    // bVideoDisabled or bAudioDisabled. It stays in place until Close. Returns 0, with the reason in the log, when
    // the job can't run; nothing is left behind then. An instance that is open refuses.
    int Create(const wchar_t* pszPath, EncodeParam* pParam);

    // Hand one frame of the output format to its encoder, or to the format where that encodes the stream itself.
    // Return the format's result, 0 when nothing was written.
    int WriteAudioData(const MEDIA_FRAME* pFrame);
    int WriteVideoFrame(const MEDIA_FRAME* pFrame);

    // Finishes the job: drains the audio encoder, passes the encoders' extra values to the format, closes the file,
    // destroys the encoders. Does nothing on an empty instance.
    void Close(FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam);

    // ---- one job ----
    void* m_hFile = nullptr; // null: no file is open
    void* m_hVideoEnc = nullptr;
    void* m_hAudioEnc = nullptr; // null: disabled, inline, or its creation failed; so for video
    FILEFORMAT_ITEM* m_pFormatItem = nullptr;
    ENCODER_ITEM* m_pVideoItem = nullptr; // set for an inline stream and after a failed creation too
    ENCODER_ITEM* m_pAudioItem = nullptr;
    KXDWORD m_bAudioInline = 0; // the format encodes the stream itself
    KXDWORD m_bVideoInline = 0;
    int m_bNoPacing = 0;               // non-zero: the job does not follow llStreamTime
    MEDIA_FRAME* m_pSilence = nullptr; // remembers the audio format for the drain; owned, from Create to Close
    int64_t m_llLastAudioTime = 0;     // llStreamTime of the last audio frame
    int32_t m_nLastAudioDuration = 0;  // and its nDuration

    // ---- the catalogue: fixed between InitPlugins and UninitPlugins ----
    static std::vector<void*> m_arModule; // loaded plug-ins that gave at least one record, in load order
    static std::vector<ENCODER_ITEM> m_arEncoder;
    static std::vector<FILEFORMAT_ITEM> m_arFileFormat;
    // Path of the plug-in that is being loaded or unloaded, null while none is: what is to blame if the program ends
    // there. A signal handler may read it.
    static std::atomic<const char*> m_pszInWork;
    // Names of files that InitPlugins passes over: the host's to fill.
    static std::vector<std::string> m_arLeftOut;
    // The folder that InitPlugins reads in the place of the application's "PlugIns", in UTF-8; empty for that one. The
    // host's to set.
    static std::string m_strFolder;
    static ENCODER_INFO* m_pEncInfo; // public tables, each ended by an all-zero entry
    static FILEFORMAT_INFO* m_pFileFormatInfo;

private:
    ENCMGR_LOCAL int OpenVideo(EncodeParam* pParam, const FILEFORMAT_ITEM& format);
    ENCMGR_LOCAL int OpenAudio(EncodeParam* pParam, const FILEFORMAT_ITEM& format);
    ENCMGR_LOCAL void DrainAudio();
};

// The first element with the FourCC, or null. Points into the array.
ENCMGR_API FILEFORMAT_ITEM* FindFileFormat(std::vector<FILEFORMAT_ITEM>& arFileFormat, KXDWORD dwFourCC);
ENCMGR_API ENCODER_ITEM* FindEncoderInfo(std::vector<ENCODER_ITEM>& arEncoder, KXDWORD dwFourCC);

// bInline of the first entry with the FourCC; 0 if the list is null or has none.
ENCMGR_API KXDWORD IsInlineEnc(const ENCODER_MODE* pModes, KXDWORD dwFourCC);

#endif // ENCMGR_PLUGIN_MGR_H
