#include "host/job/Catalogue.h"

#include "host/base/ExitCode.h"
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
    {"m4v", "MP4", false}, {"mka", "MKV", true}, {"wave", "WAV", true}, {"yuv4mpeg", "Y4M", false},
    {"ogv", "OGG", false}, {"oga", "OGG", true}, {"mts", "TS", false},  {"m2ts", "TS", false},
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

// The one that matches best. Throws HostError if none does, or several do as prefixes.
template <class Info>
const Info& Find(std::span<const Info* const> infos, const std::string& wanted, const std::string& kind)
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
        throw HostError(kExitUsage, Format("%s %s \"%s\"; there are: %s", found ? "more than one" : "no", kind.c_str(),
                                           wanted.c_str(), Listed(infos).c_str()));
    return *found;
}

Encoders EncodersOf(ENCODER_INFO* const* encoders, int count)
{
    return {encoders, encoders && count > 0 ? static_cast<size_t>(count) : 0};
}

// The encoder named, or the format's first; null if the format has none.
const ENCODER_INFO* EncoderNamed(Encoders encoders, const std::string& name, const FILEFORMAT_INFO& format,
                                 const char* kind)
{
    if (!name.empty())
        return &Find(encoders, name, Format("%s encoder of %s is called", kind, FourCCText(format.dwFourCC).c_str()));
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
        throw HostError(kExitUsage, Format("no file format goes by the ending of \"%s\"; choose one with -f: %s",
                                           options.output.c_str(), Listed<FILEFORMAT_INFO>(m_formats).c_str()));

    const bool isAudioOnly = options.format.empty() && known && known->isAudioOnly && options.videoEncoder.empty();
    Choice choice = {format, nullptr, nullptr};
    if (!options.noVideo && !isAudioOnly)
        choice.video = EncoderNamed(VideoEncodersOf(*format), options.videoEncoder, *format, "video");
    if (!options.noAudio)
        choice.audio = EncoderNamed(AudioEncodersOf(*format), options.audioEncoder, *format, "audio");
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
