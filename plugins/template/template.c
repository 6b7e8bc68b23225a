/* wptemplate: a small plug-in with every part that a plug-in can have, to copy from. It needs PluginRecords.h and the
 * standard library of C, and logs where there is a log.
 *
 *   TPLV  video encoder   run lengths of the picture's bytes; the extra values pass a summary to the format
 *   TPLA  audio encoder   gathers blocks of 1024 sample blocks; what it holds back at the end leaves by the delay
 *   TPLR  raw audio       inline: only a name, the format takes the frames as they are
 *   TPL   file format     a log of packets
 *
 * The file, all words little-endian:
 *
 *   offset  bytes
 *        0      4  "TPL1"
 *        4      4  width    )
 *        8      4  height   ) all 0 without video
 *       12      4  pictures per 1000 seconds
 *       16      4  pictures in the file
 *       20      4  bytes of the largest encoded picture
 *       24      4  sample rate  )
 *       28      4  channels     ) all 0 without audio
 *       32      8  bytes of audio that the host handed in; what follows them is padding
 *       40      4  1 if the file was closed in order and every write succeeded
 *       44         packets up to the end of the file: a byte 'V' or 'A', 4 bytes of length, the content
 *
 * A picture is its rows of Y, U and V without gaps, as pairs of a count, 1 to 255, and a byte.
 *
 * To make your own: give it FourCCs of its own, name the file wp*.dylib, and put it into the PlugIns folder.
 */
#include "encmgr/PluginRecords.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#if defined(__GNUC__)
#define EXPORT __attribute__((visibility("default")))
#else
#define EXPORT
#endif

/* The log that EncMgr's hosts have in their process; null elsewhere. Who fails says why. */
#if defined(__GNUC__)
void KXLog(const wchar_t* pszText) __attribute__((weak));
#define TELL(text) (KXLog ? KXLog(L"wptemplate: " text) : (void)0)
#else
#define TELL(text) ((void)0)
#endif

#define FOURCC_VIDEO KX_FOURCC('T', 'P', 'L', 'V')
#define FOURCC_AUDIO KX_FOURCC('T', 'P', 'L', 'A')
#define FOURCC_RAW_AUDIO KX_FOURCC('T', 'P', 'L', 'R')
#define FOURCC_FILE KX_FOURCC('T', 'P', 'L', ' ')

/* What an encoder hands to the format: the library only passes the pointer on, so its meaning is the plug-in's own.
 * A null pointer is a frame that could not be encoded. */
typedef struct Packet {
    const unsigned char* data;
    size_t size; /* 0: the encoder took the frame and has nothing to write yet */
} Packet;

/* ------------------------------------------------------------------------------------------------------------
 * The video encoder
 */

/* Both keep the sizes below far from overflow, with 32-bit words too. */
#define MAX_SIDE 8192
#define MAX_PITCH (16 * MAX_SIDE)

typedef struct VideoEncoder {
    int width, height;
    unsigned int frames;
    size_t largest;
    Packet packet;
    unsigned char buffer[]; /* room for the worst picture: no two equal bytes in a row */
} VideoEncoder;

static size_t PictureBytes(int width, int height)
{
    const size_t chroma = (size_t)((width + 1) / 2) * (size_t)((height + 1) / 2);
    return (size_t)width * (size_t)height + 2 * chroma;
}

/* Settles what the encoder can do. Sizes and rates may be changed here, and the library then delivers what stands in
 * the record; 0 refuses the job. */
static int ReviseVideo(EncodeParam* pParam)
{
    EncodeParamVideo* video = &pParam->video;
    if (video->nWidth <= 0 || video->nHeight <= 0 || !(video->dFrameRate >= 0.001 && video->dFrameRate <= 1000.0)) {
        TELL(L"a picture has 1 to 8192 pixels each way, and there are 0.001 to 1000 in a second.");
        return 0; /* a NaN is refused, too */
    }
    if (video->nWidth > MAX_SIDE)
        video->nWidth = MAX_SIDE;
    if (video->nHeight > MAX_SIDE)
        video->nHeight = MAX_SIDE;
    return 1;
}

static void* CreateVideoEncoder(KXDWORD dwFourCC, EncodeParam* pParam)
{
    (void)dwFourCC; /* tells encoders apart that share their slots */
    VideoEncoder* encoder = calloc(1, sizeof *encoder + 2 * PictureBytes(pParam->video.nWidth, pParam->video.nHeight));
    if (!encoder)
        return NULL;
    encoder->width = pParam->video.nWidth;
    encoder->height = pParam->video.nHeight;
    encoder->packet.data = encoder->buffer;
    return encoder;
}

/* A negative pitch is a picture stored upwards: pY is its top row all the same. */
static int IsReadable(const unsigned char* plane, int pitch, int width)
{
    return plane && pitch >= -MAX_PITCH && pitch <= MAX_PITCH && (pitch >= width || -pitch >= width);
}

/* Appends one plane. A run never crosses a row, so rows can be read where the host left them, whatever the pitch. */
static unsigned char* PutPlane(unsigned char* out, const unsigned char* plane, int pitch, int width, int height)
{
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = plane + (ptrdiff_t)y * pitch;
        for (int x = 0; x < width;) {
            int run = 1;
            while (run < 255 && x + run < width && row[x + run] == row[x])
                ++run;
            *out++ = (unsigned char)run;
            *out++ = row[x];
            x += run;
        }
    }
    return out;
}

static int EncodeVideo(void* hEncoder, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD* pnOut)
{
    VideoEncoder* encoder = hEncoder;
    const MEDIA_FRAME_VIDEO* picture = &pFrame->video;
    const int chromaWidth = (encoder->width + 1) / 2, chromaHeight = (encoder->height + 1) / 2;
    (void)pnOut; /* null for video */

    /* Never read what the frame doesn't hold. */
    if (picture->nWidth != encoder->width || picture->nHeight != encoder->height ||
        !IsReadable(picture->pY, picture->nPitchY, encoder->width) ||
        !IsReadable(picture->pU, picture->nPitchU, chromaWidth) ||
        !IsReadable(picture->pV, picture->nPitchV, chromaWidth))
        return 0;

    unsigned char* out = encoder->buffer;
    out = PutPlane(out, picture->pY, picture->nPitchY, encoder->width, encoder->height);
    out = PutPlane(out, picture->pU, picture->nPitchU, chromaWidth, chromaHeight);
    out = PutPlane(out, picture->pV, picture->nPitchV, chromaWidth, chromaHeight);

    encoder->packet.size = (size_t)(out - encoder->buffer);
    if (encoder->largest < encoder->packet.size)
        encoder->largest = encoder->packet.size;
    ++encoder->frames;
    *ppOut = &encoder->packet; /* stays ours, and in place until the format's write slot returns */
    return 1;
}

/* Four words for the format, at the close. An encoder that holds pictures back hands them over here. */
static void GetVideoExtra(void* hEncoder, uintptr_t* pValue1, uintptr_t* pValue2, uintptr_t* pValue3,
                          uintptr_t* pValue4)
{
    const VideoEncoder* encoder = hEncoder;
    *pValue1 = encoder->frames;
    *pValue2 = encoder->largest;
    *pValue3 = 0;
    *pValue4 = 0;
}

static void DestroyVideoEncoder(void* hEncoder)
{
    free(hEncoder);
}

/* ------------------------------------------------------------------------------------------------------------
 * The audio encoder
 */

#define PACKET_SAMPLE_BLOCKS 1024

typedef struct AudioEncoder {
    size_t packetBytes;
    unsigned char* buffer; /* what was handed out last, and behind it the packet that isn't full yet */
    size_t capacity;       /* of buffer, which grows to the largest block that comes */
    size_t handedOut;
    size_t held;
    int64_t bytesIn;
    Packet packet;
} AudioEncoder;

/* The library delivers 16 bits, and makes rate and channels what stands here afterwards. */
static int ReviseAudio(EncodeParamAudio* pAudio)
{
    if (pAudio->nSampleRate <= 0 || pAudio->nChannels <= 0) {
        TELL(L"sound needs a rate and channels.");
        return 0;
    }
    if (pAudio->nChannels > 2)
        pAudio->nChannels = 2;
    pAudio->nBitsPerSample = 16;
    return 1;
}

static void* CreateAudioEncoder(KXDWORD dwFourCC, EncodeParam* pParam)
{
    AudioEncoder* encoder = calloc(1, sizeof *encoder);
    (void)dwFourCC;
    if (encoder)
        encoder->packetBytes = (size_t)PACKET_SAMPLE_BLOCKS * 2 * (size_t)pParam->audio.nChannels;
    return encoder;
}

static int EncodeAudio(void* hEncoder, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD* pnOut)
{
    AudioEncoder* encoder = hEncoder;
    const MEDIA_FRAME_AUDIO* block = &pFrame->audio;
    if (!block->pData || block->nDataSize <= 0)
        return 0;
    const size_t size = (size_t)block->nDataSize;

    /* What was handed out has been written by now; what was held back moves to the front. */
    if (encoder->held)
        memmove(encoder->buffer, encoder->buffer + encoder->handedOut, encoder->held);
    encoder->handedOut = 0;
    if (encoder->capacity < encoder->held + size) {
        unsigned char* larger = realloc(encoder->buffer, encoder->held + size);
        if (!larger)
            return 0;
        encoder->buffer = larger;
        encoder->capacity = encoder->held + size;
    }
    memcpy(encoder->buffer + encoder->held, block->pData, size);
    if (pFrame->nFrameType != 3) /* 3 is the silence that GetDelay asked for */
        encoder->bytesIn += block->nDataSize;

    const size_t total = encoder->held + size;
    encoder->held = total % encoder->packetBytes;
    encoder->handedOut = total - encoder->held;
    encoder->packet.data = encoder->buffer;
    encoder->packet.size = encoder->handedOut;
    *ppOut = &encoder->packet;
    *pnOut = (KXDWORD)encoder->handedOut; /* a second word for the format, whose meaning is free too */
    return 1;
}

/* The bytes of silence that push out what is held back. Asked for once, at the close. */
static int GetDelay(void* hEncoder)
{
    const AudioEncoder* encoder = hEncoder;
    return encoder->held ? (int)(encoder->packetBytes - encoder->held) : 0;
}

static void GetAudioExtra(void* hEncoder, void** ppValue1, KXDWORD* pnValue2)
{
    AudioEncoder* encoder = hEncoder;
    *ppValue1 = &encoder->bytesIn;
    *pnValue2 = sizeof encoder->bytesIn;
}

static void DestroyAudioEncoder(void* hEncoder)
{
    AudioEncoder* encoder = hEncoder;
    free(encoder->buffer);
    free(encoder);
}

/* ------------------------------------------------------------------------------------------------------------
 * The file format
 */

#define HEADER_BYTES 44

typedef struct File {
    FILE* file;
    int failed;     /* the disk refused: nothing more is written, and the header won't say that the file is complete */
    int incomplete; /* a write slot returned 0 */
    int rawAudio;
    unsigned int width, height, milliRate, sampleRate, channels; /* as in the header */
    unsigned int pictures, largest;
    uint64_t audioBytes;
} File;

/* The path as UTF-8, to be freed; null if it isn't Unicode text. */
static char* Utf8(const wchar_t* text)
{
    size_t length = 0;
    while (text[length])
        ++length;
    char* result = malloc(4 * length + 1);
    char* out = result;
    for (; result && *text; ++text) {
        const uint32_t code = (uint32_t)*text;
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
            free(result);
            return NULL;
        }
        const int trailing = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        *out++ = (char)(trailing ? (0xF00u >> (trailing + 1) & 0xFF) | code >> 6 * trailing : code);
        for (int i = trailing - 1; i >= 0; --i)
            *out++ = (char)(0x80 | (code >> 6 * i & 0x3F));
    }
    if (result)
        *out = 0;
    return result;
}

static void PutWord(unsigned char* out, uint64_t word, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out[i] = (unsigned char)(word >> 8 * i);
}

static void Write(File* file, const void* data, size_t size)
{
    if (!file->failed && fwrite(data, 1, size, file->file) != size)
        file->failed = 1;
}

static void WriteHeader(File* file, int complete)
{
    const unsigned int words[] = {file->width,   file->height,     file->milliRate, file->pictures,
                                  file->largest, file->sampleRate, file->channels};
    unsigned char header[HEADER_BYTES] = "TPL1";
    for (size_t i = 0; i < 7; ++i)
        PutWord(header + 4 + 4 * i, words[i], 4);
    PutWord(header + 32, file->audioBytes, 8);
    PutWord(header + 40, complete ? 1 : 0, 4);
    Write(file, header, sizeof header);
}

static int Lost(File* file)
{
    file->incomplete = 1;
    return 0;
}

static int WritePacket(File* file, char type, const void* data, size_t size)
{
    unsigned char head[5];
    head[0] = (unsigned char)type;
    PutWord(head + 1, size, 4);
    Write(file, head, sizeof head);
    Write(file, data, size);
    return file->failed ? Lost(file) : 1;
}

/* Called after the encoders were made: which streams there are is final. The library lets a host name any encoder,
 * so a format refuses those whose output it doesn't know. And a job without any stream, which would only empty a file
 * that lies there. */
static void* CreateFile(const wchar_t* pszPath, EncodeParam* pParam)
{
    const KXDWORD audio = pParam->audio.dwFourCC;
    if ((pParam->bVideoDisabled && pParam->bAudioDisabled) ||
        (!pParam->bVideoDisabled && pParam->video.dwFourCC != FOURCC_VIDEO) ||
        (!pParam->bAudioDisabled && audio != FOURCC_AUDIO && audio != FOURCC_RAW_AUDIO)) {
        TELL(L"a file needs streams of its own encoders.");
        return NULL;
    }

    File* file = calloc(1, sizeof *file);
    char* path = Utf8(pszPath);
    if (file && path)
        file->file = fopen(path, "wb");
    free(path);
    if (!file || !file->file) {
        TELL(L"the file can't be made.");
        free(file);
        return NULL;
    }
    if (!pParam->bVideoDisabled) {
        file->width = (unsigned int)pParam->video.nWidth;
        file->height = (unsigned int)pParam->video.nHeight;
        file->milliRate = (unsigned int)(pParam->video.dFrameRate * 1000 + 0.5);
    }
    if (!pParam->bAudioDisabled) {
        file->sampleRate = (unsigned int)pParam->audio.nSampleRate;
        file->channels = (unsigned int)pParam->audio.nChannels;
        file->rawAudio = audio == FOURCC_RAW_AUDIO;
    }
    WriteHeader(file, 0);
    return file;
}

/* What a write slot returns is added up by the library and goes back to the host: here 1 for each frame taken. */
static int WriteVideo(void* hFile, const void* pData)
{
    File* file = hFile;
    const Packet* packet = pData;
    if (!packet)
        return Lost(file);
    if (!WritePacket(file, 'V', packet->data, packet->size))
        return 0;
    ++file->pictures;
    return 1;
}

/* Receives frames where the list of modes says inline, else what the encoder left. */
static int WriteAudio(void* hFile, const void* pData, KXDWORD nData)
{
    File* file = hFile;
    (void)nData;
    if (!pData)
        return Lost(file);
    if (file->rawAudio) {
        const MEDIA_FRAME_AUDIO* block = &((const MEDIA_FRAME*)pData)->audio;
        if (!block->pData || block->nDataSize <= 0)
            return Lost(file);
        if (!WritePacket(file, 'A', block->pData, (size_t)block->nDataSize))
            return 0;
        file->audioBytes += (uint64_t)block->nDataSize;
        return 1;
    }
    const Packet* packet = pData;
    return packet->size == 0 || WritePacket(file, 'A', packet->data, packet->size);
}

static void SetAudioExtra(void* hFile, void* pValue1, KXDWORD nValue2)
{
    File* file = hFile;
    if (pValue1 && nValue2 == sizeof(int64_t))
        file->audioBytes = (uint64_t) * (const int64_t*)pValue1;
}

static void SetVideoExtra(void* hFile, uintptr_t nValue1, uintptr_t nValue2, uintptr_t nValue3, uintptr_t nValue4)
{
    File* file = hFile;
    (void)nValue1; /* pictures encoded; the header counts those that were written */
    (void)nValue3;
    (void)nValue4;
    file->largest = (unsigned int)nValue2;
}

/* Ends the file in every case. The callback may be null; what it is told is the format's to document: here n1 is 0 if
 * the file is complete and every write succeeded, otherwise 1; n2 counts the pictures, n3 the milliseconds of
 * audio. */
static void CloseFile(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    File* file = hFile;
    const uint64_t bytesPerSecond = (uint64_t)file->sampleRate * file->channels * 2;
    const unsigned int pictures = file->pictures;
    const unsigned int milliseconds = bytesPerSecond ? (unsigned int)(file->audioBytes * 1000 / bytesPerSecond) : 0;

    /* The header says that the file is complete only after all the rest is on the disk. */
    if (fflush(file->file) != 0 || fseek(file->file, 0, SEEK_SET) != 0)
        file->failed = 1;
    WriteHeader(file, !file->incomplete);
    if (fclose(file->file) != 0 || file->failed)
        file->incomplete = 1;
    if (pfnCallback)
        pfnCallback(pCallbackParam, file->incomplete ? 1 : 0, pictures, milliseconds);
    free(file);
}

/* ------------------------------------------------------------------------------------------------------------
 * The records
 *
 * A record with dwFourCC 0 ends each array and each list.
 */

static const ENCODER_ITEM s_encoders[] = {
    {
        .dwFourCC = FOURCC_VIDEO,
        .szName = L"Template video",
        .szDescription = L"Run lengths",
        .nType = ENCODER_TYPE_VIDEO,
        .pfnCreate = CreateVideoEncoder,
        .pfnEncode = EncodeVideo,
        .pfnDestroy = DestroyVideoEncoder,
        .pfnGetVideoExtra = GetVideoExtra,
        .pfnReviseVideo = ReviseVideo,
    },
    {
        .dwFourCC = FOURCC_AUDIO,
        .szName = L"Template audio",
        .szDescription = L"PCM in packets of 1024 sample blocks",
        .nType = ENCODER_TYPE_AUDIO,
        .pfnCreate = CreateAudioEncoder,
        .pfnEncode = EncodeAudio,
        .pfnGetDelay = GetDelay,
        .pfnDestroy = DestroyAudioEncoder,
        .pfnGetAudioExtra = GetAudioExtra,
        .pfnReviseAudio = ReviseAudio,
    },
    {
        /* Only ever inline, so it needs no slots; the revise slot is called all the same. */
        .dwFourCC = FOURCC_RAW_AUDIO,
        .szName = L"Template raw audio",
        .szDescription = L"PCM as it comes",
        .nType = ENCODER_TYPE_AUDIO,
        .pfnReviseAudio = ReviseAudio,
    },
    {.dwFourCC = 0},
};

static const ENCODER_MODE s_videoModes[] = {{FOURCC_VIDEO, 0}, {0, 0}};
static const ENCODER_MODE s_audioModes[] = {{FOURCC_AUDIO, 0}, {FOURCC_RAW_AUDIO, 1}, {0, 0}};

static const FILEFORMAT_ITEM s_formats[] = {
    {
        .dwFourCC = FOURCC_FILE,
        .szShortName = L"TPL",
        .szName = L"Template packets",
        .szDescription = L"The plug-in template's log of packets",
        .pAudioModes = s_audioModes,
        .pVideoModes = s_videoModes,
        .pfnCreate = CreateFile,
        .pfnWriteAudio = WriteAudio,
        .pfnWriteVideo = WriteVideo,
        .pfnClose = CloseFile,
        .pfnSetAudioExtra = SetAudioExtra,
        .pfnSetVideoExtra = SetVideoExtra,
        .dwFlags = 0, /* paced against the host's clock; FFF_NOPACING takes the frames as they come */
    },
    {.dwFourCC = 0},
};

EXPORT const ENCODER_ITEM* GetEncoders(void)
{
    return s_encoders;
}

EXPORT const FILEFORMAT_ITEM* GetFileFormats(void)
{
    return s_formats;
}
