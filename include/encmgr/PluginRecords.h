/* Records and function slots that cross the border between EncMgr, its plug-ins and its hosts.
 *
 * This header stands alone, as C11 and as C++, and is all that a plug-in includes. No record has a version or
 * size field: both sides are built from this layout. On a 32-bit target the records have their wire layout; on
 * a 64-bit target the same fields in the same order lie at natural alignment. The checks at the end hold both.
 *
 * A plug-in is a shared library in the host's PlugIns folder whose file name starts with "wp" and ends in
 * ".dylib", and that exports GetEncoders, GetFileFormats, or both. GetEncoderOptions may stand beside them. One file
 * of plain C becomes a plug-in by
 *   cc -std=c11 -shared -fPIC -fvisibility=hidden -Wl,-z,defs -I include -o wpmine.dylib mine.c
 * with -m32 for a 32-bit host. -z,defs shows a forgotten library here; without it, it would end a host in the middle
 * of a job. Slots never throw, jump out or end the process: the library catches what a C++ slot throws and counts it as
 * a failure, and can't catch the rest. A plug-in explains a refusal by a line of KXLog or KXLogEx (Log.h, libLog.so)
 * before it returns: hosts show the log where a job fails.
 *
 * Units: times and durations count 100 ns (10,000,000 to the second); -1 in a 64-bit time is "no such time yet".
 * Rates are in Hz, sizes in pixels, bit rates in bits per second. Texts are zero-terminated 32-bit wide text.
 */
#ifndef ENCMGR_PLUGIN_RECORDS_H
#define ENCMGR_PLUGIN_RECORDS_H

#include <limits.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The unsigned 32-bit word of all records: FourCCs, flags and byte counts. */
#if ULONG_MAX == 0xFFFFFFFFUL
typedef unsigned long KXDWORD;
#else
typedef uint32_t KXDWORD;
#endif

/* A FourCC: the first character lies in the lowest byte. 0 is no code and ends every array keyed by FourCC. */
#define KX_FOURCC(a, b, c, d)                                                                                          \
    ((KXDWORD)(unsigned char)(a) | (KXDWORD)(unsigned char)(b) << 8 | (KXDWORD)(unsigned char)(c) << 16 |              \
     (KXDWORD)(unsigned char)(d) << 24)

/* ------------------------------------------------------------------------------------------------------------
 * What a host fills in and plug-ins read
 */

/* Settings beyond the common ones, for a stream's encoder and its format: the words dwOptions hold the address of a
 * text "key=value:key=value" in UTF-8, in which a backslash keeps the character behind it from ending a key or a value.
 * Keys are the plug-ins' own. An encoder takes those that it knows, the format the others; what neither knows is
 * logged. The text is the host's and stays valid while the job is set up, so a plug-in that needs it later copies it.
 * Both words 0: no options.
 *
 * These keys mean the same wherever they are known, so that a host needs no encoder's own words for them:
 *   crf         constant quality in the place of a bit rate, on the encoder's own scale; less is better
 *   preset      a word from the slowest, with the best quality for its bits, to the fastest
 *   tune        a word for what the pictures are, or for what the bits are spent
 *   g           pictures from one that stands by itself to the next, at most
 *   pass        1 or 2: the job is that pass over the same pictures. The first writes no file at the job's path, only
 *               the statistics; the second takes the same parameters again
 *   stats       the path of the statistics, which may put further files beside it that begin with the same name
 *   fragmented  1: of a format with its index in one place, the form that plays up to where it was cut off
 */
static inline void KXSetOptions(KXDWORD* pdwOptions, const char* pszOptions)
{
    const uint64_t address = (uint64_t)(uintptr_t)pszOptions;
    pdwOptions[0] = (KXDWORD)(address & 0xFFFFFFFFu);
    pdwOptions[1] = (KXDWORD)(address >> 32);
}

/* The text, or null. */
static inline const char* KXGetOptions(const KXDWORD* pdwOptions)
{
    return (const char*)(uintptr_t)((uint64_t)pdwOptions[1] << 32 | pdwOptions[0]);
}

/* What the pictures are, for files to state and players to obey; the library itself converts none of it. 0 always
 * means "not said": values of limited range then, by the matrix of BT.709 from a width of 1280 or a height of more than
 * 576 on and of BT.601 below, as players take them. A plug-in that can't state something says so in the log. */
enum {
    KX_RANGE_LIMITED = 1, /* luma from 16 to 235 (BT.601) */
    KX_RANGE_FULL = 2     /* luma from 0 to 255 */
};
enum { KX_FIELDS_PROGRESSIVE = 1, KX_FIELDS_TOP_FIRST = 2, KX_FIELDS_BOTTOM_FIRST = 3 };

/* dwColour: the range in the lowest byte, then matrix, primaries and transfer as code points of ISO/IEC 23091-2. */
#define KX_COLOUR(range, matrix, primaries, transfer)                                                                  \
    ((KXDWORD)(unsigned char)(range) | (KXDWORD)(unsigned char)(matrix) << 8 |                                         \
     (KXDWORD)(unsigned char)(primaries) << 16 | (KXDWORD)(unsigned char)(transfer) << 24)
#define KX_COLOUR_RANGE(colour) ((int)((colour)&0xFF))
#define KX_COLOUR_MATRIX(colour) ((int)((colour) >> 8 & 0xFF))
#define KX_COLOUR_PRIMARIES(colour) ((int)((colour) >> 16 & 0xFF))
#define KX_COLOUR_TRANSFER(colour) ((int)((colour) >> 24 & 0xFF))

/* EncodeParam.video: the output picture. A video revise slot may change it. The host sets the encoder and both sides;
 * what else stays 0 has the meaning that is said for it. */
typedef struct EncodeParamVideo {
    KXDWORD dwFourCC;  /* video encoder */
    int nWidth;        /* output picture, pixels; 1 and more, there is no "as the source" */
    int nHeight;       /* pixels */
    double dFrameRate; /* output frames per second; 0 takes the source's rate. 29.97 and 30000.0 / 1001 both stand for
                          30000/1001: a plug-in looks for n * 1000 / 1001 with a whole n before other fractions */
    int nBitRate;      /* bits per second; 0: the encoder's usual quality */
    KXDWORD dwOptions[2]; /* KXSetOptions */
    int nResizeMethod;    /* an IMAGE_RESIZE_METHOD: 0 stretch, 1 keep, 2 16:9, 3 4:3, 5 crop */
    int nInterpolation;   /* an IMAGE_INTERPOLATION: 0 default, 1 nearest, 2 bilinear */
    int nPixelAspectX;    /* width of a pixel to its height, 16 and 15 say; 0 and 0: not said */
    int nPixelAspectY;    /* the other part of nPixelAspectX */
    KXDWORD dwColour;     /* KX_COLOUR; 0: not said */
    int nFieldOrder;      /* a KX_FIELDS value */
    int nRotation;        /* degrees by which a player is to turn the pictures clockwise: 0, 90, 180 or 270 */
    KXDWORD reserved;     /* 0 */
} EncodeParamVideo;

/* EncodeParam.audio: the output audio. An audio revise slot may change it. The host sets the encoder, the rate, the
 * channels and the bits. */
typedef struct EncodeParamAudio {
    KXDWORD dwFourCC;     /* audio encoder */
    int nSampleRate;      /* Hz */
    int nChannels;        /* 1 or 2 wherever the library converts */
    int nBitRate;         /* bits per second; 0: the encoder's usual */
    KXDWORD dwOptions[2]; /* KXSetOptions */
    int nBitsPerSample;   /* 16 wherever the library converts or paces */
} EncodeParamAudio;

/* Parameters of one job. The library works on a copy of its own, which plug-ins see and may change during the
 * set-up; the copy lives as long as the job. The library reads neither options nor aspect, colour, fields and rotation:
 * it carries them along. */
typedef struct EncodeParam {
    EncodeParamVideo video; /* the output picture and its encoder */
    EncodeParamAudio audio; /* the output audio and its encoder */
    int bVideoDisabled;     /* non-zero: the job has no video; the set-up sets it where there can be none */
    int bAudioDisabled;     /* likewise for audio */
    KXDWORD dwFileFourCC;   /* file format; never 0 */
} EncodeParam;

/* The host's description of its source video. */
typedef struct KXVideoInfo {
    int width;            /* pixels */
    int height;           /* pixels */
    double framerate;     /* frames per second; 0 if unknown */
    KXDWORD reserved1;    /* 0 */
    int aspectx;          /* display aspect of the picture, 16 and 9 say; 0 and 0: that of width and height */
    int aspecty;          /* the other part of aspectx */
    KXDWORD reserved2[3]; /* 0 */
} KXVideoInfo;

/* The host's description of its source audio. */
typedef struct KXAudioInfo {
    int samplerate;    /* Hz */
    int channels;      /* of each sample block */
    int bitspersample; /* 16 wherever the library converts */
} KXAudioInfo;

/* An audio block of a MEDIA_FRAME: raw samples, interleaved, in the format that the three words state. */
typedef struct MEDIA_FRAME_AUDIO {
    int nSampleRate;    /* Hz */
    int nChannels;      /* of each sample block */
    int nBitsPerSample; /* of one sample; 16 wherever the library converts or paces */
    void* pData;        /* whole sample blocks */
    int nDataSize;      /* bytes in pData, 0 for an empty block */
    int nBufferSize;    /* not read by the library */
} MEDIA_FRAME_AUDIO;

/* A picture of a MEDIA_FRAME: planar YUV 4:2:0 of 8 bits. pY has nHeight rows of nWidth bytes; pU and pV have
 * (nHeight + 1) / 2 rows of (nWidth + 1) / 2 bytes each. A pitch is the bytes from row to row, and each of the three
 * is to be set: negative in a picture that is stored upwards, whose plane pointers lead to its top row all the same.
 * Nothing is aligned, and nobody reads what lies between rows or behind the last one. A host sets nWidth and nHeight to
 * the size that its KXVideoInfo states; plug-ins refuse pictures of another one than the job's, in the log. */
typedef struct MEDIA_FRAME_VIDEO {
    KXDWORD reserved1[2]; /* 0 */
    unsigned char* pY;    /* luma, the top row */
    unsigned char* pU;    /* blue difference, the top row */
    unsigned char* pV;    /* red difference, the top row */
    KXDWORD reserved2;    /* 0 */
    int nWidth;           /* pixels */
    int nHeight;          /* pixels */
    int nPitchY;          /* bytes from row to row of pY */
    int nPitchU;          /* of pU */
    int nPitchV;          /* of pV */
} MEDIA_FRAME_VIDEO;

/* One block of audio or one picture. Whoever hands it over owns it and its buffers, and may reuse them when the
 * call returns; plug-ins see it as const and only during the call. A host starts from zeros. */
typedef struct MEDIA_FRAME {
    KXDWORD nFrameType; /* carried along; 3 marks the silence that drains an audio encoder */
    union {
        MEDIA_FRAME_AUDIO audio; /* for FCWriteAudioData and audio slots */
        MEDIA_FRAME_VIDEO video; /* for FCWriteVideoFrame and video slots */
    };
    KXDWORD reserved[2];  /* 0 */
    int64_t llTimeStamp;  /* the frame's own time, compared in a job without pacing */
    int64_t llStreamTime; /* place on the host's clock, from 0 at the start of the file; paced jobs follow it */
    int32_t nDuration;    /* 100 ns; 0: not said */
} MEDIA_FRAME;

/* Handed by the host to FCCloseMediaFile and from there to pfnClose. What it reports is settled between host and
 * format; the library itself never calls it. The formats that come with the library call it once when the file is
 * closed, and a host may count on no more: n1 is 0 if the file is complete and every write succeeded, else 1; n2 counts
 * the pictures in the file, n3 the milliseconds of audio. The result isn't read. */
typedef unsigned int (*FC_CLOSE_CALLBACK)(void* pParam, unsigned int n1, unsigned int n2, unsigned int n3);

/* ------------------------------------------------------------------------------------------------------------
 * What a plug-in exports
 *
 * Brackets say when the library calls a slot. All slots of one job are called on the thread that called the
 * library; two jobs may share a record, so what belongs to a job lives behind its handle. Handles are the
 * plug-in's own: the library stores them, passes them back, and takes null for failure.
 *
 * A FourCC is four printable characters of ASCII, blanks at the end ("MP4 "). Encoders and formats are apart; of two
 * encoders with the same one, or two formats, the first that was found is taken, in the order in which the folder lists
 * its files: so take one that nobody else has.
 */

/* ENCODER_ITEM.nType. */
#define ENCODER_TYPE_AUDIO 0
#define ENCODER_TYPE_VIDEO 1

/* One encoder. GetEncoders returns an array of these that ends with dwFourCC 0.
 *
 * Required unless every format that names the encoder marks it inline: pfnCreate, pfnEncode, pfnDestroy.
 * Optional, null if absent: all other slots. */
typedef struct ENCODER_ITEM {
    KXDWORD dwFourCC;           /* see above */
    wchar_t szName[64];         /* for menus */
    wchar_t szDescription[128]; /* a sentence for people who choose; may be empty */
    int nType;                  /* ENCODER_TYPE_AUDIO or ENCODER_TYPE_VIDEO */

    /* [set-up, once a job, after the revise slot, never for an inline stream] Returns the encoder's handle. Null
     * disables the stream, and the job goes on without it. */
    void* (*pfnCreate)(KXDWORD dwFourCC, EncodeParam* pParam);

    /* [each block or frame] Encodes one frame and leaves at *ppOut (audio: and *pnOut) what the format's write
     * slot is to receive; both are 0 on entry, and 0 goes on to the format too. What they point at stays the
     * encoder's and holds until the write slot returns. pnOut is null for video. The result isn't read.
     *
     * What is handed on has no common form: it is settled between the encoder and the formats that list it, which are
     * those of its own plug-in unless two plug-ins agree. Pictures that are held back, for B-frames say, leave with a
     * later picture; what is left at the close goes to the format by the extra values. Audio held back leaves by
     * pfnGetDelay or by the extra values too. */
    int (*pfnEncode)(void* hEncoder, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD* pnOut);

    /* [close, audio only, once] Bytes of raw audio that are needed to push out what the encoder holds; the
     * library then encodes one frame of that much silence. 0 or less: none. */
    int (*pfnGetDelay)(void* hEncoder);

    /* [close, last of all] */
    void (*pfnDestroy)(void* hEncoder);

    /* [close, audio, after the silence] Two values for the format's pfnSetAudioExtra; 0 on entry. */
    void (*pfnGetAudioExtra)(void* hEncoder, void** ppValue1, KXDWORD* pnValue2);

    /* [close, video, after the audio's extra values] Four values for pfnSetVideoExtra; 0 on entry. */
    void (*pfnGetVideoExtra)(void* hEncoder, uintptr_t* pValue1, uintptr_t* pValue2, uintptr_t* pValue3,
                             uintptr_t* pValue4);

    /* [set-up, before pfnCreate, inline streams too] May change the parameters; 0 refuses them and the job.
     *
     * They are what the host gave, sizes of 0 and absurd rates included; only the frame rate has been settled: a rate
     * of 0 has become the source's, if that is known, and one above 200 has become 30. What the slot leaves is what the
     * library delivers: sides of 1 and more, rates above 0, 16 bits, one or two channels where the source has others.
     * Nobody tells the host what was changed. */
    int (*pfnReviseAudio)(EncodeParamAudio* pAudio);
    int (*pfnReviseVideo)(EncodeParam* pParam); /* the same for video */
} ENCODER_ITEM;

/* One entry of a format's list of encoders; the list ends with dwFourCC 0, and its order is the host's menu. */
typedef struct ENCODER_MODE {
    KXDWORD dwFourCC; /* an encoder of this or any other plug-in */
    KXDWORD bInline;  /* non-zero: the format encodes this stream itself, its write slot takes raw frames */
} ENCODER_MODE;

/* FILEFORMAT_ITEM.dwFlags: the job is not paced against llStreamTime. */
#define FFF_NOPACING 1u

/* FILEFORMAT_ITEM.dwFlags: among a stream's options (KXSetOptions) the format takes these two, and passes over what it
 * has no place for; a host gives them to no other format. The library doesn't read this flag.
 *   metadata  a text in libav's form FFMETADATA1. Its first part, titles say, and its chapters are the file's; the tags
 *             of its section [STREAM], the language say, are those of the stream that the options belong to.
 *   cover     a picture that stands for the file: its kind ("mjpeg" or "png"), a comma, its bytes in base64. */
#define FFF_METADATA 2u

/* FILEFORMAT_ITEM.dwFlags, read by hosts alone: each picture is a file of its own. The file name, behind the last "/"
 * of the path, has the place of a number that counts from 1, as in "out-%05d.png". A name without one is that of a
 * single picture, and further ones are refused. */
#define FFF_SEQUENCE 4u

/* One file format. GetFileFormats returns an array of these that ends with dwFourCC 0.
 *
 * Required: pfnCreate, pfnClose, and the write slot of each stream that has a list of modes.
 * Optional, null if absent: the two lists (a format without one has no such stream) and the extra slots.
 *
 * A slot that fails because the system refuses to write leaves errno as the system has set it (ENOSPC, EPIPE), at the
 * latest when pfnClose calls back: a host tells by it what may pass, such as a full disk, and gives up at once. */
typedef struct FILEFORMAT_ITEM {
    KXDWORD dwFourCC;                /* see above */
    wchar_t szShortName[10];         /* a few letters, for columns */
    wchar_t szName[64];              /* for menus */
    wchar_t szDescription[128];      /* a sentence for people who choose; may be empty */
    const ENCODER_MODE* pAudioModes; /* stays in place until the plug-in is unloaded */
    const ENCODER_MODE* pVideoModes; /* likewise */

    /* [set-up, once a job, after both encoders] bVideoDisabled and bAudioDisabled are final. Null fails the job. The
     * path is the host's, as it came: in the working folder or a whole one, perhaps of no regular file ("/dev/stdout"),
     * perhaps not Unicode; a file that lies there is written over. The host may name any encoder, listed or not, so a
     * format refuses those that it doesn't know. */
    void* (*pfnCreate)(const wchar_t* pszPath, EncodeParam* pParam);

    /* [each block] Encoded: the two values that pfnEncode left. Inline: a const MEDIA_FRAME* and 0. The result goes
     * up to the host, added up where one call of the host's makes several writes: 1 for a block that was taken, written
     * or held back, and 0 for one that is lost. */
    int (*pfnWriteAudio)(void* hFile, const void* pData, KXDWORD nData);

    /* [each frame written] Encoded: the value that pfnEncode left. Inline: a const MEDIA_FRAME*. Result as above. */
    int (*pfnWriteVideo)(void* hFile, const void* pData);

    /* [close, once, after all writes and extra values, before any encoder is destroyed] */
    void (*pfnClose)(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam);

    /* [close, if the encoder has the matching get slot] */
    void (*pfnSetAudioExtra)(void* hFile, void* pValue1, KXDWORD nValue2);
    /* [close, if the encoder has the matching get slot] */
    void (*pfnSetVideoExtra)(void* hFile, uintptr_t nValue1, uintptr_t nValue2, uintptr_t nValue3, uintptr_t nValue4);

    KXDWORD dwFlags; /* FFF_NOPACING, FFF_METADATA, FFF_SEQUENCE */
} FILEFORMAT_ITEM;

/* A plug-in's exports: GetEncoders first, then GetFileFormats, once each time the plug-in is loaded. Null is an
 * empty array. The records are copied at once; what they point at stays in place until the plug-in is unloaded. */
typedef const ENCODER_ITEM* (*PFN_GetEncoders)(void);
typedef const FILEFORMAT_ITEM* (*PFN_GetFileFormats)(void);

/* ------------------------------------------------------------------------------------------------------------
 * What else a plug-in may export, for hosts to ask
 */

/* How the value of an option is written. */
enum {
    KX_OPTION_INTEGER = 1, /* a whole number, or one of the words */
    KX_OPTION_NUMBER = 2,  /* a number with decimals, or one of the words */
    KX_OPTION_TEXT = 3,    /* one of the words; where there are none, any text */
    KX_OPTION_SWITCH = 4,  /* 0 or 1 */
    KX_OPTION_FLAGS = 5    /* words joined by "+", as in "+a+b"; "-a" takes one away */
};

/* One option that an encoder takes in the text of dwOptions. Texts are UTF-8. */
typedef struct ENCODER_OPTION {
    const char* pszKey;     /* null in the item that ends the array */
    const char* pszHelp;    /* a few words on what it does; may be empty */
    const char* pszDefault; /* the value where the host gives none, as it would write it; empty: the encoder decides */
    const char* pszWords;   /* a space between each two; empty: there are none */
    double dLeast;          /* the range of numbers, ends included; both 0 for texts, switches and flags */
    double dMost;           /* the other end */
    int nKind;              /* a KX_OPTION value */
    int reserved;           /* 0 */
} ENCODER_OPTION;

/* The optional export GetEncoderOptions: the options of the encoder with this FourCC, first those that hosts may know
 * by name, and behind the last one an item whose pszKey is null. Null: the plug-in has no such encoder. The array and
 * its texts stay in place until the plug-in is unloaded. The library never calls it: a host may, at any time while the
 * plug-in is loaded, on the thread that loaded it. */
typedef const ENCODER_OPTION* (*PFN_GetEncoderOptions)(KXDWORD dwFourCC);

/* ------------------------------------------------------------------------------------------------------------
 * The public catalogue, read by the host
 */

/* An encoder as the catalogue shows it; the texts are those of its ENCODER_ITEM. */
typedef struct ENCODER_INFO {
    KXDWORD dwFourCC;           /* to be named in EncodeParam */
    wchar_t szName[64];         /* for menus */
    wchar_t szDescription[128]; /* a sentence for people who choose; may be empty */
} ENCODER_INFO;

/* One file format and those of its encoders that are present. The arrays have no terminator. */
typedef struct FILEFORMAT_INFO {
    KXDWORD dwFourCC;               /* to be named in EncodeParam; 0 ends the array */
    wchar_t szShortName[10];        /* a few letters, for columns */
    wchar_t szName[64];             /* for menus */
    wchar_t szDescription[128];     /* a sentence for people who choose; may be empty */
    int nAudioEncoders;             /* in ppAudioEncoders */
    int nVideoEncoders;             /* in ppVideoEncoders */
    ENCODER_INFO** ppAudioEncoders; /* may be null when the count is 0 */
    ENCODER_INFO** ppVideoEncoders; /* likewise */
} FILEFORMAT_INFO;

#ifdef __cplusplus
}
#endif

/* ------------------------------------------------------------------------------------------------------------
 * The layout, held by the compiler
 */
#ifdef __cplusplus
#define KX_LAYOUT(condition) static_assert(condition, #condition)
#else
#define KX_LAYOUT(condition) _Static_assert(condition, #condition)
#endif
#define KX_AT(record, field, offset32, offset64)                                                                       \
    KX_LAYOUT(offsetof(record, field) == (sizeof(void*) == 4 ? (offset32) : (offset64)))
#define KX_SIZE(record, size32, size64) KX_LAYOUT(sizeof(record) == (sizeof(void*) == 4 ? (size32) : (size64)))

KX_SIZE(KXDWORD, 4, 4);
KX_SIZE(wchar_t, 4, 4);

KX_SIZE(EncodeParam, 104, 112);
KX_AT(EncodeParam, video.nWidth, 4, 4);
KX_AT(EncodeParam, video.nHeight, 8, 8);
KX_AT(EncodeParam, video.dFrameRate, 12, 16);
KX_AT(EncodeParam, video.nBitRate, 20, 24);
KX_AT(EncodeParam, video.nResizeMethod, 32, 36);
KX_AT(EncodeParam, video.nInterpolation, 36, 40);
KX_AT(EncodeParam, audio, 64, 72);
KX_AT(EncodeParam, audio.nSampleRate, 68, 76);
KX_AT(EncodeParam, audio.nChannels, 72, 80);
KX_AT(EncodeParam, audio.nBitRate, 76, 84);
KX_AT(EncodeParam, audio.nBitsPerSample, 88, 96);
KX_AT(EncodeParam, bVideoDisabled, 92, 100);
KX_AT(EncodeParam, bAudioDisabled, 96, 104);
KX_AT(EncodeParam, dwFileFourCC, 100, 108);

KX_SIZE(KXVideoInfo, 40, 40);
KX_AT(KXVideoInfo, height, 4, 4);
KX_AT(KXVideoInfo, framerate, 8, 8);
KX_AT(KXVideoInfo, aspectx, 20, 20);
KX_AT(KXVideoInfo, aspecty, 24, 24);

KX_SIZE(KXAudioInfo, 12, 12);
KX_AT(KXAudioInfo, channels, 4, 4);
KX_AT(KXAudioInfo, bitspersample, 8, 8);

KX_SIZE(MEDIA_FRAME, 76, 96);
KX_AT(MEDIA_FRAME, audio.nSampleRate, 4, 8);
KX_AT(MEDIA_FRAME, audio.nChannels, 8, 12);
KX_AT(MEDIA_FRAME, audio.nBitsPerSample, 12, 16);
KX_AT(MEDIA_FRAME, audio.pData, 16, 24);
KX_AT(MEDIA_FRAME, audio.nDataSize, 20, 32);
KX_AT(MEDIA_FRAME, audio.nBufferSize, 24, 36);
KX_AT(MEDIA_FRAME, video.pY, 12, 16);
KX_AT(MEDIA_FRAME, video.pU, 16, 24);
KX_AT(MEDIA_FRAME, video.pV, 20, 32);
KX_AT(MEDIA_FRAME, video.nWidth, 28, 44);
KX_AT(MEDIA_FRAME, video.nHeight, 32, 48);
KX_AT(MEDIA_FRAME, video.nPitchY, 36, 52);
KX_AT(MEDIA_FRAME, video.nPitchU, 40, 56);
KX_AT(MEDIA_FRAME, video.nPitchV, 44, 60);
KX_AT(MEDIA_FRAME, llTimeStamp, 56, 72);
KX_AT(MEDIA_FRAME, llStreamTime, 64, 80);
KX_AT(MEDIA_FRAME, nDuration, 72, 88);

KX_SIZE(ENCODER_ITEM, 808, 840);
KX_AT(ENCODER_ITEM, szName, 4, 4);
KX_AT(ENCODER_ITEM, szDescription, 260, 260);
KX_AT(ENCODER_ITEM, nType, 772, 772);
KX_AT(ENCODER_ITEM, pfnCreate, 776, 776);
KX_AT(ENCODER_ITEM, pfnEncode, 780, 784);
KX_AT(ENCODER_ITEM, pfnGetDelay, 784, 792);
KX_AT(ENCODER_ITEM, pfnDestroy, 788, 800);
KX_AT(ENCODER_ITEM, pfnGetAudioExtra, 792, 808);
KX_AT(ENCODER_ITEM, pfnGetVideoExtra, 796, 816);
KX_AT(ENCODER_ITEM, pfnReviseAudio, 800, 824);
KX_AT(ENCODER_ITEM, pfnReviseVideo, 804, 832);

KX_SIZE(ENCODER_MODE, 8, 8);
KX_AT(ENCODER_MODE, bInline, 4, 4);

KX_SIZE(FILEFORMAT_ITEM, 848, 888);
KX_AT(FILEFORMAT_ITEM, szShortName, 4, 4);
KX_AT(FILEFORMAT_ITEM, szName, 44, 44);
KX_AT(FILEFORMAT_ITEM, szDescription, 300, 300);
KX_AT(FILEFORMAT_ITEM, pAudioModes, 812, 816);
KX_AT(FILEFORMAT_ITEM, pVideoModes, 816, 824);
KX_AT(FILEFORMAT_ITEM, pfnCreate, 820, 832);
KX_AT(FILEFORMAT_ITEM, pfnWriteAudio, 824, 840);
KX_AT(FILEFORMAT_ITEM, pfnWriteVideo, 828, 848);
KX_AT(FILEFORMAT_ITEM, pfnClose, 832, 856);
KX_AT(FILEFORMAT_ITEM, pfnSetAudioExtra, 836, 864);
KX_AT(FILEFORMAT_ITEM, pfnSetVideoExtra, 840, 872);
KX_AT(FILEFORMAT_ITEM, dwFlags, 844, 880);

KX_SIZE(ENCODER_OPTION, 40, 56);
KX_AT(ENCODER_OPTION, dLeast, 16, 32);
KX_AT(ENCODER_OPTION, nKind, 32, 48);

KX_SIZE(ENCODER_INFO, 772, 772);
KX_AT(ENCODER_INFO, szDescription, 260, 260);

KX_SIZE(FILEFORMAT_INFO, 828, 840);
KX_AT(FILEFORMAT_INFO, szName, 44, 44);
KX_AT(FILEFORMAT_INFO, szDescription, 300, 300);
KX_AT(FILEFORMAT_INFO, nAudioEncoders, 812, 812);
KX_AT(FILEFORMAT_INFO, nVideoEncoders, 816, 816);
KX_AT(FILEFORMAT_INFO, ppAudioEncoders, 820, 824);
KX_AT(FILEFORMAT_INFO, ppVideoEncoders, 824, 832);

#undef KX_AT
#undef KX_SIZE
#undef KX_LAYOUT

#endif /* ENCMGR_PLUGIN_RECORDS_H */
