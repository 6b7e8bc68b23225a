#include "host/job/Catalogue.h"

#include "host/base/ExitCode.h"
#include "host/base/Suggestion.h"
#include "host/base/Text.h"
#include "text/Strings.h"

#include <algorithm>

namespace host
{

namespace
{

// Endings that aren't their format's FourCC.
struct Ending {
    const char* ending;
    const char* fourCC;
    bool isAudioOnly;
};

constexpr Ending kEndings[] = {
    {"m4v", "MP4", false},      {"mka", "MKV", true},  {"wave", "WAV", true},
    {"yuv4mpeg", "Y4M", false}, {"ogv", "OGG", false}, {"oga", "OGG", true},
    {"mts", "TS", false},       {"m2ts", "TS", false}, {"jpeg", "JPG", false},
};

// What people call formats and encoders elsewhere.
constexpr struct {
    const char* name;
    const char* fourCC;
} kOtherNames[] = {
    {"avc", "H264"},       {"avc1", "H264"},      {"x264", "H264"},     {"libx264", "H264"},   {"h265", "HEVC"},
    {"x265", "HEVC"},      {"libx265", "HEVC"},   {"hvc1", "HEVC"},     {"mpeg4", "MP4V"},     {"xvid", "MP4V"},
    {"divx", "MP4V"},      {"libvpx", "VP8"},     {"libvpxvp9", "VP9"}, {"vp90", "VP9"},       {"av01", "AV1"},
    {"aom", "AV1"},        {"libaom", "AV1"},     {"svtav1", "AV1"},    {"jpeg", "MJPG"},      {"jpg", "MJPG"},
    {"prores422", "APCN"}, {"apch", "APCN"},      {"rawvideo", "I420"}, {"yuv420p", "I420"},   {"mp4a", "AAC"},
    {"lame", "MP3"},       {"libmp3lame", "MP3"}, {"libopus", "OPUS"},  {"libvorbis", "VORB"}, {"ogg", "VORB"},
    {"wav", "PCM"},        {"wav", "PCMS"},       {"lpcm", "PCM"},      {"lpcm", "PCMS"},      {"pcms16le", "PCM"},
    {"pcms16le", "PCMS"},  {"mpeg4", "MP4"},      {"mpegts", "TS"},     {"mpeg", "TS"},        {"mpg", "TS"},
    {"qt", "MOV"},         {"opus", "OGG"},       {"aac", "M4A"},       {"yuv", "Y4M"},
};

struct Names {
    std::string fourCC, shortName, name;
};

Names NamesOf(const FILEFORMAT_INFO& format)
{
    return {FourCCText(format.dwFourCC), text::ShownUtf8(format.szShortName), text::ShownUtf8(format.szName)};
}

Names NamesOf(const ENCODER_INFO& encoder)
{
    const std::string name = text::ShownUtf8(encoder.szName);
    return {FourCCText(encoder.dwFourCC), name, name};
}

enum Match { kNoMatch, kPrefix, kName, kFourCC };

Match MatchOf(const Names& names, const std::string& wanted)
{
    const std::string folded = Folded(wanted);
    const std::string fourCC = Lower(wanted.substr(0, wanted.find_last_not_of(' ') + 1));
    if (fourCC == Lower(names.fourCC))
        return kFourCC;
    if (folded.empty())
        return kNoMatch;
    if (folded == Folded(names.name) || folded == Folded(names.shortName))
        return kName;
    const bool isPrefix = Folded(names.name).starts_with(folded) || Folded(names.shortName).starts_with(folded);
    return isPrefix ? kPrefix : kNoMatch;
}

std::string NameWithFourCC(const Names& names)
{
    return names.shortName == names.fourCC ? names.fourCC : names.fourCC + " (" + names.shortName + ")";
}

template <class Info> std::string Listed(std::span<const Info* const> infos)
{
    std::string list;
    for (const Info* info : infos)
        list += (list.empty() ? "" : ", ") + NameWithFourCC(NamesOf(*info));
    return list.empty() ? "none" : list;
}

// "did you mean HEVC?", empty if nothing is like it.
template <class Info> std::string Suggested(std::span<const Info* const> infos, const std::string& wanted)
{
    std::vector<Known> known;
    for (const Info* info : infos) {
        const Names names = NamesOf(*info);
        for (const std::string& name : {names.fourCC, names.shortName, names.name})
            known.push_back({name, names.fourCC});
        for (const auto& [name, fourCC] : kOtherNames)
            if (names.fourCC == fourCC)
                known.push_back({name, fourCC});
    }
    return DidYouMean(wanted, known);
}

// Behind a refusal: what helps, and all that there is.
template <class Info>
std::string WithHints(const std::string& text, std::span<const Info* const> infos, const std::string& wanted)
{
    const std::string suggested = Suggested(infos, wanted);
    return text + "; " + (suggested.empty() ? "there are: " : suggested + " There are: ") + Listed(infos);
}

// The one that matches best. Throws HostError if none does, or several do as prefixes; elsewhere is said then, too.
template <class Info>
const Info& Find(std::span<const Info* const> infos, const std::string& wanted, const std::string& kind,
                 const std::string& elsewhere = "")
{
    const Info* found = nullptr;
    Match best = kNoMatch;
    bool isUnique = true;
    for (const Info* info : infos) {
        const Match match = MatchOf(NamesOf(*info), wanted);
        if (match > best) {
            found = info;
            best = match;
            isUnique = true;
        } else if (match == kPrefix && best == kPrefix) {
            isUnique = false;
        }
    }
    if (!found || !isUnique)
        throw HostError(kExitUsage, WithHints(Format("%s %s \"%s\"%s", found ? "more than one" : "no", kind.c_str(),
                                                     wanted.c_str(), elsewhere.c_str()),
                                              infos, wanted));
    return *found;
}

Encoders EncodersOf(ENCODER_INFO* const* encoders, int count)
{
    return {encoders, encoders && count > 0 ? static_cast<size_t>(count) : 0};
}

using GetEncoders = Encoders (*)(const FILEFORMAT_INFO&);

// ", but one of MKV, MP4 is": the formats with an encoder of that very name.
std::string FormatsWith(std::span<const FILEFORMAT_INFO* const> formats, GetEncoders encodersOf,
                        const std::string& name)
{
    std::string list;
    for (const FILEFORMAT_INFO* format : formats) {
        const Encoders encoders = encodersOf(*format);
        if (std::any_of(encoders.begin(), encoders.end(),
                        [&name](const ENCODER_INFO* encoder) { return MatchOf(NamesOf(*encoder), name) >= kName; }))
            list += (list.empty() ? ", but one of " : ", ") + FourCCText(format->dwFourCC);
    }
    return list.empty() ? list : list + " is";
}

// The encoder named, or the format's first; null if the format has none.
const ENCODER_INFO* EncoderNamed(std::span<const FILEFORMAT_INFO* const> formats, const FILEFORMAT_INFO& format,
                                 GetEncoders encodersOf, const std::string& name, const char* kind)
{
    const Encoders encoders = encodersOf(format);
    if (!name.empty())
        return &Find(encoders, name, Format("%s encoder of %s is called", kind, FourCCText(format.dwFourCC).c_str()),
                     FormatsWith(formats, encodersOf, name));
    return encoders.empty() ? nullptr : encoders.front();
}

std::string EndingOf(const std::string& path)
{
    const std::string name = path.substr(path.find_last_of('/') + 1);
    const size_t dot = name.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? "" : Lower(name.substr(dot + 1));
}

const Ending* FindEnding(const std::string& ending)
{
    const auto found = std::find_if(std::begin(kEndings), std::end(kEndings),
                                    [&](const Ending& entry) { return ending == entry.ending; });
    return found == std::end(kEndings) ? nullptr : found;
}

} // namespace

Encoders VideoEncodersOf(const FILEFORMAT_INFO& format)
{
    return EncodersOf(format.ppVideoEncoders, format.nVideoEncoders);
}

Encoders AudioEncodersOf(const FILEFORMAT_INFO& format)
{
    return EncodersOf(format.ppAudioEncoders, format.nAudioEncoders);
}

Catalogue::Catalogue(const FILEFORMAT_INFO* formats)
{
    for (; formats && formats->dwFourCC; ++formats)
        m_formats.push_back(formats);
}

Choice Catalogue::Choose(const EncodeOptions& options) const
{
    const std::string ending = EndingOf(options.output);
    const Ending* const known = FindEnding(ending);
    const FILEFORMAT_INFO* format = nullptr;
    if (!options.format.empty())
        format = &FormatNamed(options.format);
    else
        format = FormatOfFourCC(known ? known->fourCC : ending);
    if (!format)
        throw HostError(kExitUsage,
                        WithHints<FILEFORMAT_INFO>(Format("no file format goes by the ending of \"%s\", and "
                                                          "none is chosen with -f",
                                                          options.output.c_str()),
                                                   m_formats, ending));

    const bool isAudioOnly = options.format.empty() && known && known->isAudioOnly && options.videoEncoder.empty();
    Choice choice = {format, nullptr, nullptr};
    if (!options.noVideo && !isAudioOnly)
        choice.video = EncoderNamed(m_formats, *format, VideoEncodersOf, options.videoEncoder, "video");
    if (!options.noAudio)
        choice.audio = EncoderNamed(m_formats, *format, AudioEncodersOf, options.audioEncoder, "audio");
    if (!choice.video && !choice.audio)
        throw HostError(kExitUsage,
                        Format("%s holds nothing of what is left to write", FourCCText(format->dwFourCC).c_str()));
    return choice;
}

std::vector<const ENCODER_INFO*> Catalogue::AllEncoders() const
{
    std::vector<const ENCODER_INFO*> all;
    for (const FILEFORMAT_INFO* format : m_formats)
        for (const Encoders list : {VideoEncodersOf(*format), AudioEncodersOf(*format)})
            for (const ENCODER_INFO* encoder : list)
                if (std::find(all.begin(), all.end(), encoder) == all.end())
                    all.push_back(encoder);
    return all;
}

const ENCODER_INFO& Catalogue::FindEncoder(const std::string& name) const
{
    return Find<ENCODER_INFO>(AllEncoders(), name, "encoder is called");
}

const FILEFORMAT_INFO& Catalogue::FormatNamed(const std::string& name) const
{
    return Find<FILEFORMAT_INFO>(m_formats, name, "file format is called");
}

const FILEFORMAT_INFO* Catalogue::FormatOfFourCC(const std::string& text) const
{
    for (const FILEFORMAT_INFO* format : m_formats)
        if (!text.empty() && Lower(FourCCText(format->dwFourCC)) == Lower(text))
            return format;
    return nullptr;
}

} // namespace host
