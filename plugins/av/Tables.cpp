#include "plugins/av/Tables.h"

#include "plugins/av/Hardware.h"
#include "plugins/support/FrameRate.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

namespace
{

constexpr int kVideo = ENCODER_TYPE_VIDEO;
constexpr int kAudio = ENCODER_TYPE_AUDIO;

constexpr KXDWORD FourCC(const char (&code)[5])
{
    return KX_FOURCC(code[0], code[1], code[2], code[3]);
}

constexpr EncoderEntry Video(const char (&fourCC)[5], const wchar_t* name, const wchar_t* description,
                             const char* codec, const char* options, EncoderKeys keys, QualityScale quality,
                             unsigned states, VideoLimits limits)
{
    return {FourCC(fourCC), name, description, kVideo, codec, options, keys, quality, states, limits, {}};
}

constexpr EncoderEntry Audio(const char (&fourCC)[5], const wchar_t* name, const wchar_t* description,
                             const char* codec, const char* generic, AudioLimits limits)
{
    return {FourCC(fourCC), name, description, kAudio, codec, "", {.generic = generic}, {}, 0, {}, limits};
}

// What encoders on one kind of device have in common.
struct DeviceTraits {
    Device device;
    const char* generic;
    AVPixelFormat pixelFormat;
    unsigned states;
};
constexpr DeviceTraits s_nvenc = {Device::kNvenc, "g bf refs qmin qmax maxrate bufsize", AV_PIX_FMT_YUV420P,
                                  kRange | kColour};
constexpr DeviceTraits s_quickSync = {Device::kQuickSync, "g bf refs maxrate bufsize", AV_PIX_FMT_NV12,
                                      kRange | kColour};
constexpr DeviceTraits s_vaapi = {Device::kVaapi, "g bf refs qmin qmax maxrate bufsize compression_level",
                                  AV_PIX_FMT_NV12, kRange | kColour};
constexpr DeviceTraits s_v4l2 = {Device::kV4l2, "g", AV_PIX_FMT_YUV420P, 0};

// like: the FourCC of the encoder for the same pictures on the processor. What a device can't do beyond maxSide shows
// when it is opened.
constexpr EncoderEntry Hardware(const char (&fourCC)[5], const char (&like)[5], const wchar_t* name,
                                const wchar_t* description, const char* codec, const DeviceTraits& traits,
                                QualityScale quality, int maxSide)
{
    const VideoLimits limits = {.evenSize = true,
                                .maxSide = maxSide,
                                .maxRateTerm = kMaxRateTerm,
                                .tinySide = 0,
                                .pixelFormat = traits.pixelFormat};
    const unsigned states = traits.states | (FourCC(like) == FourCC("H264") ? kProgressive : 0);
    EncoderEntry entry =
        Video(fourCC, name, description, codec, "", {.generic = traits.generic}, quality, states, limits);
    entry.device = traits.device;
    entry.like = FourCC(like);
    return entry;
}

// NVENC takes a quality to go for where there is no bit rate. Of the others' one value the driver makes a quality or,
// where it has no such mode, a quantiser.
constexpr QualityScale NvencQuality(int usual)
{
    return {.options = "rc=vbr:b=0:cq=%", .least = 1, .most = 51, .usual = usual};
}

constexpr QualityScale DeviceQuality(int usual)
{
    return {.options = "global_quality=%", .least = 1, .most = 51, .usual = usual};
}

// From libvpx's slowest to its fastest that still look well; the step behind each is about twice as fast.
constexpr Preset s_vp8Presets[] = {
    {"veryslow", "deadline=best:cpu-used=0"},
    {"slower", "deadline=good:cpu-used=0"},
    {"slow", "deadline=good:cpu-used=1"},
    {"medium", "deadline=good:cpu-used=2"},
    {"fast", "deadline=good:cpu-used=4"},
    {"faster", "deadline=good:cpu-used=5"},
    {"veryfast", "deadline=realtime:cpu-used=8"},
    {"ultrafast", "deadline=realtime:cpu-used=16"},
    {nullptr, nullptr},
};
constexpr Preset s_vp9Presets[] = {
    {"veryslow", "deadline=best:cpu-used=0"},
    {"slower", "deadline=good:cpu-used=0"},
    {"slow", "deadline=good:cpu-used=1"},
    {"medium", "deadline=good:cpu-used=2"},
    {"fast", "deadline=good:cpu-used=4"},
    {"faster", "deadline=good:cpu-used=5"},
    {"veryfast", "deadline=realtime:cpu-used=6"},
    {"ultrafast", "deadline=realtime:cpu-used=8"},
    {nullptr, nullptr},
};
constexpr Preset s_aomPresets[] = {
    {"veryslow", "usage=good:cpu-used=1"},
    {"slower", "usage=good:cpu-used=2"},
    {"slow", "usage=good:cpu-used=3"},
    {"medium", "usage=good:cpu-used=4"},
    {"fast", "usage=good:cpu-used=5"},
    {"faster", "usage=good:cpu-used=6"},
    {"veryfast", "usage=realtime:cpu-used=7"},
    {"ultrafast", "usage=realtime:cpu-used=8"},
    {nullptr, nullptr},
};

constexpr char s_rateKeys[] = "g keyint_min qmin qmax minrate maxrate bufsize threads";

// MPEG-4 has no passes: where the second finds the bit rate too low, libav 5.1 writes over its memory.
//
// A quantiser is a global_quality of 118 times as much. Speeds are those that keep up with small pictures on one core;
// for VP8 a bit rate is the upper limit of what its quality asks for. FFV1's version 3 cuts pictures into four slices
// or more, and pictures that are too small for that come out damaged. GIF's palette is the fixed one of 3, 3 and 2
// bits.
constexpr EncoderEntry s_encoders[] = {
    Video("H264", L"H.264", L"H.264 (AVC) by x264", "libx264", "",
          {.generic = "g keyint_min bf refs qmin qmax maxrate bufsize threads slices flags", .passes = Passes::kFile},
          {.options = "crf=%", .least = 0, .most = 51, .usual = 23}, kRange | kColour | kFields,
          {.evenSize = true, .maxSide = 16384, .maxRateTerm = kMaxRateTerm, .tinySide = 0}),
    // Smaller pictures make x265 write beyond its memory.
    Video("HEVC", L"HEVC", L"H.265 (HEVC) by x265", "libx265", "preset=fast:x265-params=log-level=error",
          {.generic = "g keyint_min bf refs qmin qmax maxrate bufsize", .passes = Passes::kParams},
          {.options = "crf=%", .least = 0, .most = 51, .usual = 26}, kRange | kColour,
          {.evenSize = true, .maxSide = 8192, .maxRateTerm = kMaxRateTerm, .tinySide = 0, .minSide = 64}),
    Video("MP4V", L"MPEG-4", L"MPEG-4 Visual, simple profile", "mpeg4", "",
          {.generic = "g bf qmin qmax maxrate bufsize trellis mbd threads flags"},
          {.options = "flags=+qscale:global_quality=%", .least = 2, .most = 31, .usual = 3, .factor = FF_QP2LAMBDA},
          kFields, {.evenSize = false, .maxSide = 8191, .maxRateTerm = 65535, .tinySide = 0, .maxAspectTerm = 255}),
    Video("VP8 ", L"VP8", L"VP8 by libvpx", "libvpx", "deadline=good:cpu-used=4",
          {.generic = s_rateKeys, .presets = s_vp8Presets, .passes = Passes::kText},
          {.options = "crf=%:b=20000000", .least = 4, .most = 63, .usual = 10}, 0,
          {.evenSize = false, .maxSide = 16383, .maxRateTerm = kMaxRateTerm, .tinySide = 0}),
    Video("VP9 ", L"VP9", L"VP9 by libvpx", "libvpx-vp9", "deadline=good:cpu-used=5:row-mt=1",
          {.generic = s_rateKeys, .presets = s_vp9Presets, .passes = Passes::kText},
          {.options = "crf=%:b=0", .least = 0, .most = 63, .usual = 32}, kRange,
          {.evenSize = false, .maxSide = 16384, .maxRateTerm = kMaxRateTerm, .tinySide = 0}),
    Video("AV1 ", L"AV1", L"AV1 by libaom", "libaom-av1", "usage=realtime:cpu-used=7:row-mt=1",
          {.generic = s_rateKeys,
           .presets = s_aomPresets,
           .passes = Passes::kText,
           .passOptions = "usage=good:cpu-used=6:row-mt=1"},
          {.options = "crf=%:b=0", .least = 0, .most = 63, .usual = 30}, kRange | kColour,
          {.evenSize = false, .maxSide = 16384, .maxRateTerm = kMaxRateTerm, .tinySide = 0}),
    Video("AV1 ", L"AV1", L"AV1 by SVT-AV1", "libsvtav1", "preset=10", {.generic = "g qmin qmax maxrate bufsize"},
          {.options = "crf=%", .least = 1, .most = 63, .usual = 35}, kRange | kColour,
          {.evenSize = true, .maxSide = 8192, .maxRateTerm = kMaxRateTerm, .tinySide = 0, .minSide = 64}),
    Video("MJPG", L"MJPEG", L"Motion JPEG, each picture by itself", "mjpeg", "",
          {.generic = "qmin qmax threads slices"},
          {.options = "flags=+qscale:global_quality=%", .least = 2, .most = 31, .usual = 3, .factor = FF_QP2LAMBDA},
          kRange, {.evenSize = false, .maxSide = 16384, .maxRateTerm = kMaxRateTerm, .tinySide = 0, .fullRange = true}),
    Video("APCN", L"ProRes", L"ProRes 422, 10 bits, for editing", "prores_ks", "profile=standard",
          {.generic = "threads"}, {}, kColour | kFields,
          {.evenSize = true,
           .maxSide = 16384,
           .maxRateTerm = kMaxRateTerm,
           .tinySide = 0,
           .pixelFormat = AV_PIX_FMT_YUV422P10}),
    Video("FFV1", L"FFV1", L"FFV1 version 3, lossless", "ffv1", "level=3:slicecrc=1", {.generic = "g slices threads"},
          {}, kFields, {.evenSize = false, .maxSide = 32768, .maxRateTerm = kMaxRateTerm, .tinySide = 16}),
    Video("GIF ", L"GIF", L"256 colours, for small moving pictures", "gif", "", {}, {}, kRange | kColour,
          {.evenSize = false,
           .maxSide = 16384,
           .maxRateTerm = kMaxRateTerm,
           .tinySide = 0,
           .pixelFormat = AV_PIX_FMT_RGB8}),
    Video("PNG ", L"PNG", L"PNG, lossless RGB", "png", "", {.generic = "compression_level threads"}, {},
          kRange | kColour,
          {.evenSize = false,
           .maxSide = 16384,
           .maxRateTerm = kMaxRateTerm,
           .tinySide = 0,
           .pixelFormat = AV_PIX_FMT_RGB24}),
    Video("APNG", L"APNG", L"PNG, lossless RGB, only what changes from picture to picture", "apng", "",
          {.generic = "compression_level"}, {}, kRange | kColour,
          {.evenSize = false, .maxSide = 16384, .maxRateTerm = 65535, .tinySide = 0, .pixelFormat = AV_PIX_FMT_RGB24}),

    Hardware("H4NV", "H264", L"H.264 by NVENC", L"H.264 (AVC) on an NVIDIA card", "h264_nvenc", s_nvenc,
             NvencQuality(23), 4096),
    Hardware("H5NV", "HEVC", L"HEVC by NVENC", L"H.265 (HEVC) on an NVIDIA card", "hevc_nvenc", s_nvenc,
             NvencQuality(26), 8192),
    Hardware("A1NV", "AV1 ", L"AV1 by NVENC", L"AV1 on an NVIDIA card", "av1_nvenc", s_nvenc, NvencQuality(30), 8192),
    Hardware("H4QS", "H264", L"H.264 by Quick Sync", L"H.264 (AVC) on Intel graphics", "h264_qsv", s_quickSync,
             DeviceQuality(23), 4096),
    Hardware("H5QS", "HEVC", L"HEVC by Quick Sync", L"H.265 (HEVC) on Intel graphics", "hevc_qsv", s_quickSync,
             DeviceQuality(26), 8192),
    Hardware("A1QS", "AV1 ", L"AV1 by Quick Sync", L"AV1 on Intel graphics", "av1_qsv", s_quickSync, DeviceQuality(30),
             8192),
    Hardware("H4VA", "H264", L"H.264 by VA-API", L"H.264 (AVC) on the graphics device", "h264_vaapi", s_vaapi,
             DeviceQuality(23), 4096),
    Hardware("H5VA", "HEVC", L"HEVC by VA-API", L"H.265 (HEVC) on the graphics device", "hevc_vaapi", s_vaapi,
             DeviceQuality(26), 8192),
    Hardware("A1VA", "AV1 ", L"AV1 by VA-API", L"AV1 on the graphics device", "av1_vaapi", s_vaapi,
             {.options = "rc_mode=CQP:global_quality=%", .least = 1, .most = 63, .usual = 30, .factor = 4}, 8192),
    Hardware("H4VL", "H264", L"H.264 by V4L2", L"H.264 (AVC) on a device of Video4Linux", "h264_v4l2m2m", s_v4l2,
             {.needsBitRate = true}, 4096),
    Hardware("H5VL", "HEVC", L"HEVC by V4L2", L"H.265 (HEVC) on a device of Video4Linux", "hevc_v4l2m2m", s_v4l2,
             {.needsBitRate = true}, 8192),

    Audio("AAC ", L"AAC", L"AAC, low complexity", "aac", "cutoff",
          {.maxSampleRate = 96000, .maxChannels = 8, .channelBitRate = 64000}),
    Audio("MP3 ", L"MP3", L"MP3 by LAME", "libmp3lame", "compression_level cutoff",
          {.maxSampleRate = 48000, .maxChannels = 2, .channelBitRate = 64000}),
    Audio("OPUS", L"Opus", L"Opus by libopus", "libopus", "compression_level cutoff",
          {.maxSampleRate = 48000, .maxChannels = 8, .channelBitRate = 64000}),
    Audio("VORB", L"Vorbis", L"Vorbis by libvorbis", "libvorbis", "minrate maxrate cutoff",
          {.maxSampleRate = 192000, .maxChannels = 8, .channelBitRate = kOwnBitRate}),
    Audio("FLAC", L"FLAC", L"FLAC, lossless, 16 bits", "flac", "compression_level",
          {.maxSampleRate = 655340, .maxChannels = 8, .channelBitRate = kNoBitRate}),
    Audio("PCMS", L"PCM", L"Uncompressed, 16 bits", "pcm_s16le", "",
          {.maxSampleRate = 768000, .maxChannels = 32, .channelBitRate = kNoBitRate}),
};

// A file whose index stands in front plays while it is still being fetched; a fragmented one has an index in each of
// its parts, and plays up to where it was cut off. So do those whose parts are short and leave the program at once.
constexpr char s_indexInFront[] = "movflags=+faststart";
constexpr char s_fragments[] = "movflags=+frag_keyframe+empty_moov+default_base_moof-faststart:frag_duration=500000:"
                               "flush_packets=1";
constexpr char s_shortClusters[] = "cluster_time_limit=500:flush_packets=1";

// The order is the one of the host's menus.
constexpr ContainerEntry s_containers[] = {
    {FourCC("MP4 "), L"MP4", L"MP4", L"For playback nearly everywhere", "mp4", "H264 HEVC MP4V VP9  AV1 ",
     "AAC  MP3  OPUS FLAC", kMarksLeadIn | kTagsHvc1, kRangeOfColour | kColour | kFields | kProgressive | kRotation,
     s_indexInFront, s_fragments},
    {FourCC("MKV "), L"Matroska", L"Matroska", L"For every codec, and for archives", "matroska",
     "H264 HEVC MP4V VP8  VP9  AV1  MJPG APCN FFV1", "AAC  MP3  OPUS VORB FLAC PCMS", kHeaderFirst,
     kRange | kColour | kFields, s_shortClusters},
    {FourCC("AVI "), L"AVI", L"AVI", L"For older editing and playback programs", "avi", "H264 MP4V MJPG FFV1",
     "AAC  MP3  FLAC PCMS", kSequenceOnly, 0, "flush_packets=1"},
    {FourCC("MOV "), L"MOV", L"QuickTime", L"For editing programs", "mov", "H264 HEVC MP4V MJPG APCN", "AAC  MP3  PCMS",
     kMarksLeadIn | kTagsHvc1, kColour | kFields | kProgressive | kRotation, s_indexInFront, s_fragments},
    {FourCC("WEBM"), L"WebM", L"WebM", L"For web pages", "webm", "VP9  VP8  AV1 ", "OPUS VORB", 0, kRange | kColour,
     s_shortClusters},
    {FourCC("TS  "), L"MPEG-TS", L"MPEG transport stream", L"For broadcast, and for streams cut into pieces", "mpegts",
     "H264 HEVC MP4V", "AAC  MP3  OPUS", 0, 0},
    {FourCC("OGG "), L"Ogg", L"Ogg", L"For audio without patents", "ogg", "VP8 ", "VORB OPUS FLAC", kMarksLeadIn, 0},
    {FourCC("FLAC"), L"FLAC", L"FLAC", L"Lossless audio", "flac", "", "FLAC", 0, 0},
    {FourCC("MP3 "), L"MP3", L"MP3", L"Audio for playback nearly everywhere", "mp3", "", "MP3 ", kMarksLeadIn, 0},
    {FourCC("M4A "), L"M4A", L"M4A", L"MP4 with audio alone", "ipod", "", "AAC ", kMarksLeadIn, 0, s_indexInFront,
     s_fragments},
    {FourCC("GIF "), L"GIF", L"Animated GIF", L"Small moving pictures that every browser shows", "gif", "GIF ", "", 0,
     0},
    {FourCC("APNG"), L"APNG", L"Animated PNG", L"Small moving pictures in full colour", "apng", "APNG", "", 0, 0,
     "plays=0"},
    {FourCC("PNG "), L"PNG", L"PNG pictures", L"A lossless file for each picture", "image2", "PNG ", "", kPictureFiles,
     0},
    {FourCC("JPG "), L"JPEG", L"JPEG pictures", L"A file for each picture", "image2", "MJPG", "", kPictureFiles, 0},
};

// The FourCC at the start of a list, and the list behind it.
KXDWORD TakeFourCC(const char*& list)
{
    const KXDWORD fourCC = KX_FOURCC(list[0], list[1], list[2], list[3]);
    list += list[4] ? 5 : 4;
    return fourCC;
}

const char* ListOf(const ContainerEntry& container, int type)
{
    return type == kVideo ? container.video : container.audio;
}

bool IsPresent(const EncoderEntry& entry)
{
    static const auto present = [] {
        std::array<bool, std::size(s_encoders)> all{};
        std::transform(std::begin(s_encoders), std::end(s_encoders), all.begin(),
                       [](const EncoderEntry& each) { return CodecOf(each) && WorksHere(each); });
        return all;
    }();
    return present[static_cast<size_t>(&entry - s_encoders)];
}

} // namespace

const EncoderEntry* FindEncoder(KXDWORD fourCC, int type)
{
    const auto found = std::find_if(std::begin(s_encoders), std::end(s_encoders), [&](const EncoderEntry& entry) {
        return entry.fourCC == fourCC && entry.type == type && IsPresent(entry);
    });
    return found == std::end(s_encoders) ? nullptr : found;
}

const ContainerEntry* FindContainer(KXDWORD fourCC)
{
    const auto found = std::find_if(std::begin(s_containers), std::end(s_containers), [&](const ContainerEntry& entry) {
        return entry.fourCC == fourCC && MuxerOf(entry);
    });
    return found == std::end(s_containers) ? nullptr : found;
}

const AVCodec* CodecOf(const EncoderEntry& entry)
{
    return avcodec_find_encoder_by_name(entry.codec);
}

const AVOutputFormat* MuxerOf(const ContainerEntry& entry)
{
    return av_guess_format(entry.muxer, nullptr, nullptr);
}

bool Holds(const ContainerEntry& container, const EncoderEntry& entry)
{
    if (container.Has(kHeaderFirst) && !entry.HasHeader())
        return false;
    for (const char* list = ListOf(container, entry.type); *list;) {
        const KXDWORD fourCC = TakeFourCC(list);
        if (fourCC == entry.fourCC || fourCC == entry.like)
            return true;
    }
    return false;
}

std::span<const EncoderEntry> EncoderTable()
{
    return s_encoders;
}

std::span<const ContainerEntry> ContainerTable()
{
    return s_containers;
}

std::vector<KXDWORD> EncodersOf(const ContainerEntry& container, int type)
{
    std::vector<KXDWORD> fourCCs;
    for (const char* list = ListOf(container, type); *list;) {
        const KXDWORD fourCC = TakeFourCC(list);
        if (FindEncoder(fourCC, type))
            fourCCs.push_back(fourCC);
    }
    for (const EncoderEntry& entry : s_encoders)
        if (entry.like && entry.type == type && IsPresent(entry) && Holds(container, entry))
            fourCCs.push_back(entry.fourCC);
    return fourCCs;
}
