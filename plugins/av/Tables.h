// What wpav offers. A new encoder or file format is a new line in Tables.cpp.
#ifndef ENCMGR_PLUGINS_AV_TABLES_H
#define ENCMGR_PLUGINS_AV_TABLES_H

#include "encmgr/PluginRecords.h"
#include "plugins/av/Av.h"
#include "plugins/av/Devices.h"

#include <span>
#include <vector>

struct VideoLimits {
    bool evenSize; // takes no odd widths and heights
    int maxSide;
    int maxRateTerm; // of numerator and denominator of the frame rate
    int tinySide;    // pictures with a shorter side are encoded without the options
    int minSide = 2; // of an encoder with evenSize
    int maxAspectTerm = 65535;
    AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P; // to which pictures are converted
    bool fullRange = false;                         // luma is from 0 to 255 whatever the source's is
};

struct AudioLimits {
    int maxSampleRate; // where libavcodec has no list of rates
    int maxChannels;
    int channelBitRate; // of each channel, where the job gives no bit rate; or one of the two below
};
constexpr int kNoBitRate = 0;   // the encoder takes none
constexpr int kOwnBitRate = -1; // without one from the job, the encoder goes by its own measure of quality

// Encoders take bit rates below for a mistake, in the unit say; jobs get this one.
constexpr int kLowestBitRate = 1000;

// Constant quality, the common key "crf".
struct QualityScale {
    const char* options = nullptr; // of libavcodec, with % for the value; null: the encoder has no such thing
    int least = 0, most = 0;
    int usual = 0;  // where the job gives neither a bit rate nor a measure of its own
    int factor = 1; // of the value in the options
    // Of an encoder without: it takes a bit rate all the same, and where the job gives none, one by the size of the
    // pictures.
    bool needsBitRate = false;
};

// The common key "preset" where libavcodec has no option of this name for the encoder: a word and what it stands for.
struct Preset {
    const char* word; // null: the end of the list
    const char* options;
};

// How the statistics of a first pass, the common keys "pass" and "stats", get into the second.
enum class Passes {
    kNone,
    kText,   // libavcodec hands them over
    kFile,   // the encoder writes and reads a file, by its option passlogfile
    kParams, // the same by its option x265-params
};

struct EncoderKeys {
    const char* generic =
        ""; // options that libavcodec has for all encoders and this one heeds, a space between each two
    const Preset* presets = nullptr;
    Passes passes = Passes::kNone;
    const char* passOptions = ""; // of libavcodec, in the place of the usual ones that allow no passes
};

// What an encoder's packets or a file format's header tell players of the pictures. All tell the pixel aspect.
constexpr unsigned kRange = 1;
constexpr unsigned kColour = 2; // matrix, primaries and transfer
constexpr unsigned kFields = 4; // of an encoder: it encodes the two fields of a picture apart
constexpr unsigned kRotation = 8;
constexpr unsigned kRangeOfColour = 16; // the range together with kColour, but not alone
constexpr unsigned kProgressive = 32;   // of an encoder: that there are no fields; of a format: that this counts first

// One encoder. Two lines may share a FourCC: the first whose encoder is present is taken. It is if libavcodec has it
// and, where it is one on a device, it has worked when it was first asked for.
struct EncoderEntry {
    KXDWORD fourCC;
    const wchar_t* name;
    const wchar_t* description;
    int type;            // ENCODER_TYPE_VIDEO or ENCODER_TYPE_AUDIO
    const char* codec;   // its name in libavcodec
    const char* options; // of libavcodec, always set
    EncoderKeys keys;
    QualityScale quality; // video; most encoders without one take no bit rate either
    unsigned states;      // video
    VideoLimits video;
    AudioLimits audio;
    Device device = Device::kNone;
    KXDWORD like = 0; // of an encoder on a device: the one whose formats hold its packets, too

    bool TakesBitRate() const { return quality.options || quality.needsBitRate; }

    // Whether it tells what players need in front of all packets, and not in the first of them.
    bool HasHeader() const { return device != Device::kV4l2; }
};

// Traits of file formats.
//
// kSequenceOnly: packets have no time of their own in the file, only a place in the sequence. So pictures must come in
// the order in which they show, and nothing may come that isn't one frame.
//
// kMarksLeadIn: the file tells players to skip what an audio encoder puts before the first sample. Where it can't, the
// packets that hold more of it than samples are left out: a fade-in of their length is less than all the audio late.
//
// kTagsHvc1: HEVC goes by the name hvc1, without which some players don't show it.
//
// kPictureFiles: each picture is a file of its own.
//
// kHeaderFirst: what players need of an encoder is written before there is a packet.
constexpr unsigned kSequenceOnly = 1;
constexpr unsigned kMarksLeadIn = 2;
constexpr unsigned kTagsHvc1 = 4;
constexpr unsigned kPictureFiles = 8;
constexpr unsigned kHeaderFirst = 16;

// One file format.
struct ContainerEntry {
    KXDWORD fourCC;
    const wchar_t* shortName;
    const wchar_t* name;
    const wchar_t* description;
    const char* muxer; // its name in libavformat
    const char* video; // the FourCCs of its encoders, a space between each two; the first is the default
    const char* audio;
    unsigned traits;
    unsigned states;
    const char* options = "";    // of libavformat, unless the job says else
    const char* fragmented = ""; // the same for the common key "fragmented"; empty: there is no such form

    bool Has(unsigned trait) const { return (traits & trait) != 0; }
};

// The line of a FourCC whose encoder or muxer is present, or null.
const EncoderEntry* FindEncoder(KXDWORD fourCC, int type);
const ContainerEntry* FindContainer(KXDWORD fourCC);

// libav's side of a line. Not null for what the two functions above return.
const AVCodec* CodecOf(const EncoderEntry& entry);
const AVOutputFormat* MuxerOf(const ContainerEntry& entry);

// Whether the file format takes what the encoder makes.
bool Holds(const ContainerEntry& container, const EncoderEntry& entry);

// All lines, whether they are present or not.
std::span<const EncoderEntry> EncoderTable();
std::span<const ContainerEntry> ContainerTable();

// The encoders that are present and whose packets the file format takes: the default first, those on devices last.
std::vector<KXDWORD> EncodersOf(const ContainerEntry& container, int type);

#endif // ENCMGR_PLUGINS_AV_TABLES_H
