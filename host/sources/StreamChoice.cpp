#include "host/sources/StreamChoice.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/base/Values.h"
#include "host/sources/StreamInfo.h"

#include <algorithm>
#include <climits>

namespace host
{

namespace
{

// Codes of one language, with a space between each two: ISO 639-1 and 639-2, whose code for terminology comes before
// the one for libraries where there are two.
constexpr std::string_view kLanguages[] = {
    "ar ara",     "bg bul",     "bn ben",     "bo bod tib", "ca cat",     "cs ces cze", "cy cym wel", "da dan",
    "de deu ger", "el ell gre", "en eng",     "es spa",     "et est",     "eu eus baq", "fa fas per", "fi fin",
    "fr fra fre", "ga gle",     "gl glg",     "he heb",     "hi hin",     "hr hrv",     "hu hun",     "hy hye arm",
    "id ind",     "is isl ice", "it ita",     "ja jpn",     "ka kat geo", "ko kor",     "la lat",     "lt lit",
    "lv lav",     "mi mri mao", "mk mkd mac", "ms msa may", "my mya bur", "nb nob",     "nl nld dut", "nn nno",
    "no nor",     "pl pol",     "pt por",     "ro ron rum", "ru rus",     "sk slk slo", "sl slv",     "sq sqi alb",
    "sr srp",     "sv swe",     "ta tam",     "te tel",     "th tha",     "tr tur",     "uk ukr",     "ur urd",
    "vi vie",     "zh zho chi",
};

// The entry of the table that holds the code, otherwise the code itself.
std::string_view LanguageOf(std::string_view code)
{
    for (const std::string_view codes : kLanguages)
        for (size_t at = codes.find(code); !code.empty() && at != std::string_view::npos; at = codes.find(code, at + 1))
            if ((at == 0 || codes[at - 1] == ' ') &&
                (at + code.size() == codes.size() || codes[at + code.size()] == ' '))
                return codes;
    return code;
}

std::string TagOf(const AVStream& stream, const char* key)
{
    const AVDictionaryEntry* const entry = av_dict_get(stream.metadata, key, nullptr, 0);
    return entry ? entry->value : "";
}

std::string NameOf(const AVStream& stream, AVMediaType kind, int place)
{
    const char* const word = av_get_media_type_string(kind);
    std::string remarks;
    const std::string language = TagOf(stream, "language");
    for (const std::string& remark :
         {language == "und" ? "" : language, TagOf(stream, "title"), TagOf(stream, "filename")})
        if (!remark.empty())
            remarks += (remarks.empty() ? "" : ", ") + remark;
    const std::string name = Format("%s %d", word ? word : "stream", place);
    return remarks.empty() ? name : name + " (" + remarks + ")";
}

// Streams that take part when streams of a kind are counted.
bool IsOfKind(const AVStream& stream, AVMediaType kind)
{
    return stream.codecpar->codec_type == kind && !IsCover(stream);
}

} // namespace

bool IsSameLanguage(std::string_view a, std::string_view b)
{
    return !a.empty() && LanguageOf(Lower(a)) == LanguageOf(Lower(b));
}

int FindStream(const AVFormatContext& container, AVMediaType kind, const std::string& wish, const std::string& name)
{
    const auto number = ParseInteger(wish, 0, INT_MAX);
    std::string names;
    int place = 0;
    for (unsigned i = 0; i < container.nb_streams; ++i) {
        const AVStream& stream = *container.streams[i];
        if (!IsOfKind(stream, kind))
            continue;
        if (number ? *number == place : IsSameLanguage(TagOf(stream, "language"), wish))
            return static_cast<int>(i);
        names += (place ? ", " : "") + NameOf(stream, kind, place);
        ++place;
    }
    const char* const word = av_get_media_type_string(kind);
    throw HostError(kExitUsage, names.empty() ? Format("%s has no %s", name.c_str(), word)
                                              : Format("%s has no %s stream %s; there is %s", name.c_str(), word,
                                                       wish.c_str(), names.c_str()));
}

std::vector<std::string> NamesOfOthers(const AVFormatContext& container, const UsedStreams& used)
{
    std::vector<std::string> names;
    std::vector<AVMediaType> seen; // to count those of a kind
    for (unsigned i = 0; i < container.nb_streams; ++i) {
        const AVStream& stream = *container.streams[i];
        const AVMediaType kind = stream.codecpar->codec_type;
        if (IsCover(stream))
            continue;
        const auto place = static_cast<int>(std::count(seen.begin(), seen.end(), kind));
        seen.push_back(kind);
        const bool isWanted = (kind != AVMEDIA_TYPE_VIDEO || used.video) && (kind != AVMEDIA_TYPE_AUDIO || used.audio);
        const auto is = [i](const int* number) { return number && *number == static_cast<int>(i); };
        // libavformat itself takes the tracks of chapters out.
        if (isWanted && !is(used.video) && !is(used.audio) && stream.discard < AVDISCARD_ALL)
            names.push_back(NameOf(stream, kind, place));
    }
    return names;
}

} // namespace host
