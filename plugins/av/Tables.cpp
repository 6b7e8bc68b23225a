#include "plugins/av/Tables.h"

#include "plugins/av/Slots.h"
#include "plugins/support/FrameRate.h"
#include "plugins/support/Text.h"

#include <algorithm>
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
                             const char* codec, const char* options, const char* quality, VideoLimits limits)
{
    return {FourCC(fourCC), name, description, kVideo, codec, options, quality, limits, {}};
}

constexpr EncoderEntry Audio(const char (&fourCC)[5], const wchar_t* name, const wchar_t* description,
                             const char* codec, const char* options, AudioLimits limits)
{
    return {FourCC(fourCC), name, description, kAudio, codec, options, nullptr, {}, limits};
}

// The order is the one of the host's menus. A quantiser of 3 is a global_quality of 3 * 118. FFV1's version 3 cuts
// pictures into slices, and pictures that are too small for that come out damaged.
constexpr EncoderEntry s_encoders[] = {
    Video("H264", L"H.264", L"H.264 (AVC) by x264", "libx264", "", "crf=23",
          {.evenSize = true, .maxSide = 16384, .maxRateTerm = kMaxRateTerm, .tinySide = 0}),
    Video("MP4V", L"MPEG-4", L"MPEG-4 Visual, simple profile", "mpeg4", "", "flags=+qscale:global_quality=354",
          {.evenSize = false, .maxSide = 8191, .maxRateTerm = 65535, .tinySide = 0}),
    Video("FFV1", L"FFV1", L"FFV1 version 3, lossless", "ffv1", "level=3:slicecrc=1", nullptr,
          {.evenSize = false, .maxSide = 32768, .maxRateTerm = kMaxRateTerm, .tinySide = 16}),

    Audio("AAC ", L"AAC", L"AAC, low complexity", "aac", "",
          {.maxSampleRate = 96000, .maxChannels = 8, .channelBitRate = 64000}),
    Audio("FLAC", L"FLAC", L"FLAC, lossless, 16 bits", "flac", "",
          {.maxSampleRate = 655340, .maxChannels = 8, .channelBitRate = 0}),
    Audio("PCMS", L"PCM", L"Uncompressed, 16 bits", "pcm_s16le", "",
          {.maxSampleRate = 768000, .maxChannels = 32, .channelBitRate = 0}),
};

constexpr ContainerEntry s_containers[] = {
    {FourCC("MP4 "), L"MP4", L"MP4", L"For playback nearly everywhere", "mp4", kMarksLeadIn},
    {FourCC("MKV "), L"Matroska", L"Matroska", L"For every codec, and for archives", "matroska", 0},
    {FourCC("AVI "), L"AVI", L"AVI", L"For older editing and playback programs", "avi", kSequenceOnly},
};

template <class Item, class Entry> Item ItemOf(const Entry& entry)
{
    Item item{};
    item.dwFourCC = entry.fourCC;
    SetText(item.szName, entry.name);
    SetText(item.szDescription, entry.description);
    return item;
}

std::vector<ENCODER_ITEM> BuildEncoderItems()
{
    std::vector<ENCODER_ITEM> items;
    for (const EncoderEntry& entry : s_encoders) {
        if (FindEncoder(entry.fourCC, entry.type) != &entry)
            continue;
        ENCODER_ITEM& item = items.emplace_back(ItemOf<ENCODER_ITEM>(entry));
        item.nType = entry.type;
        entry.type == kVideo ? FillVideoSlots(item) : FillAudioSlots(item);
    }
    items.emplace_back();
    return items;
}

std::vector<ENCODER_MODE> BuildModes(const ContainerEntry& container, int type)
{
    std::vector<ENCODER_MODE> modes;
    for (const EncoderEntry& entry : s_encoders) {
        if (FindEncoder(entry.fourCC, type) == &entry && Holds(container, CodecOf(entry)->id))
            modes.push_back({entry.fourCC, 0});
    }
    if (!modes.empty())
        modes.push_back({0, 0});
    return modes;
}

const ENCODER_MODE* ListOrNull(const std::vector<ENCODER_MODE>& modes)
{
    return modes.empty() ? nullptr : modes.data();
}

struct Formats {
    std::vector<ENCODER_MODE> videoModes[std::size(s_containers)];
    std::vector<ENCODER_MODE> audioModes[std::size(s_containers)];
    std::vector<FILEFORMAT_ITEM> items;

    Formats()
    {
        for (size_t i = 0; i < std::size(s_containers); ++i) {
            const ContainerEntry& container = s_containers[i];
            if (!MuxerOf(container))
                continue;
            videoModes[i] = BuildModes(container, kVideo);
            audioModes[i] = BuildModes(container, kAudio);
            FILEFORMAT_ITEM& item = items.emplace_back(ItemOf<FILEFORMAT_ITEM>(container));
            SetText(item.szShortName, container.shortName);
            item.pVideoModes = ListOrNull(videoModes[i]);
            item.pAudioModes = ListOrNull(audioModes[i]);
            FillFormatSlots(item);
        }
        items.emplace_back();
    }
};

} // namespace

const EncoderEntry* FindEncoder(KXDWORD fourCC, int type)
{
    const auto found = std::find_if(std::begin(s_encoders), std::end(s_encoders), [&](const EncoderEntry& entry) {
        return entry.fourCC == fourCC && entry.type == type && CodecOf(entry);
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

bool Holds(const ContainerEntry& container, AVCodecID codec)
{
    return avformat_query_codec(MuxerOf(container), codec, FF_COMPLIANCE_NORMAL) == 1;
}

const ENCODER_ITEM* EncoderItems()
{
    static const std::vector<ENCODER_ITEM> items = BuildEncoderItems();
    return items.data();
}

const FILEFORMAT_ITEM* FormatItems()
{
    static const Formats formats;
    return formats.items.data();
}
