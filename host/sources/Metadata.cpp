#include "host/sources/Metadata.h"

#include "host/base/Text.h"
#include "host/sources/StreamInfo.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavutil/base64.h>
}

namespace host
{

namespace
{

// Larger ones would cost more than they show.
constexpr int kLargestCover = 32 << 20;

// Of the container, not of its content. The date at which something was made is its content's.
bool IsOfContainer(const std::string& key)
{
    constexpr const char* keys[] = {"major_brand", "minor_version", "compatible_brands", "encoder",
                                    "encoded_by",  "vendor_id",     "handler_name",      "duration"};
    return std::find(std::begin(keys), std::end(keys), Lower(key)) != std::end(keys);
}

Tags TagsOf(const AVDictionary* dictionary)
{
    Tags tags;
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)))
        if (!IsOfContainer(entry->key))
            tags.emplace_back(entry->key, entry->value);
    return tags;
}

// Other tags of streams are counts of bytes and the like, which don't hold for new ones.
Tags StreamTagsOf(const AVStream& stream)
{
    Tags tags = TagsOf(stream.metadata);
    std::erase_if(tags, [](const auto& tag) { return tag.first != "language" && tag.first != "title"; });
    return tags;
}

std::vector<Chapter> ChaptersOf(const AVFormatContext& container)
{
    const Nanoseconds start =
        container.start_time == AV_NOPTS_VALUE ? 0 : std::max<Nanoseconds>(container.start_time, 0) * 1000;
    std::vector<Chapter> chapters;
    for (unsigned i = 0; i < container.nb_chapters; ++i) {
        const AVChapter& chapter = *container.chapters[i];
        const Nanoseconds from = ToNanoseconds(chapter.start, chapter.time_base);
        const Nanoseconds to = ToNanoseconds(chapter.end, chapter.time_base);
        if (from >= -kFarthestStamp && to >= from && to <= kFarthestStamp)
            chapters.push_back({from - start, to - start, TagsOf(chapter.metadata)});
    }
    return chapters;
}

std::optional<Cover> CoverOf(const AVFormatContext& container)
{
    for (unsigned i = 0; i < container.nb_streams; ++i) {
        const AVStream& stream = *container.streams[i];
        const AVPacket& picture = stream.attached_pic;
        if (IsCover(stream) && picture.size > 0 && picture.size <= kLargestCover)
            return Cover{avcodec_get_name(stream.codecpar->codec_id), {picture.data, picture.data + picture.size}};
    }
    return std::nullopt;
}

void SetTags(AVDictionary*& dictionary, const Tags& tags)
{
    for (const auto& [key, value] : tags)
        av_dict_set(&dictionary, key.c_str(), value.c_str(), 0);
}

// A context owns its chapters, but libavformat has no function to make them.
void SetChapters(AVFormatContext& container, const std::vector<Chapter>& chapters)
{
    container.chapters = static_cast<AVChapter**>(av_calloc(chapters.size(), sizeof(AVChapter*)));
    for (const Chapter& chapter : chapters) {
        auto* const made = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
        if (!container.chapters || !made)
            throw std::bad_alloc();
        container.chapters[container.nb_chapters++] = made;
        made->id = container.nb_chapters;
        made->time_base = {1, 1'000'000};
        made->start = chapter.start / 1000;
        made->end = chapter.end / 1000;
        SetTags(made->metadata, chapter.tags);
    }
}

} // namespace

Metadata ReadMetadata(const AVFormatContext& container, int video, int audio)
{
    Metadata metadata;
    metadata.file = TagsOf(container.metadata);
    if (video >= 0)
        metadata.video = StreamTagsOf(*container.streams[video]);
    if (audio >= 0) {
        const AVStream& stream = *container.streams[audio];
        metadata.audio = StreamTagsOf(stream);
        // Ogg's title and artist belong to a stream.
        if (metadata.file.empty() && container.nb_streams == 1 && std::strcmp(container.iformat->name, "ogg") == 0) {
            metadata.file = TagsOf(stream.metadata);
            std::erase_if(metadata.file, [](const auto& tag) { return Lower(tag.first) == "language"; });
            std::erase_if(metadata.audio, [](const auto& tag) { return tag.first == "title"; });
        }
    }
    metadata.chapters = ChaptersOf(container);
    metadata.cover = CoverOf(container);
    return metadata;
}

std::vector<Chapter> ChaptersWithin(const std::vector<Chapter>& chapters, Nanoseconds start,
                                    std::optional<Nanoseconds> end)
{
    std::vector<Chapter> within;
    for (Chapter chapter : chapters) {
        chapter.start = std::max(chapter.start, start) - start;
        chapter.end = std::min(chapter.end, end.value_or(chapter.end)) - start;
        if (chapter.end > chapter.start)
            within.push_back(std::move(chapter));
    }
    return within;
}

std::string MetadataText(const Tags& file, const Tags& stream, const std::vector<Chapter>& chapters)
{
    if (file.empty() && stream.empty() && chapters.empty())
        return {};
    AVFormatContext* context = nullptr;
    if (avformat_alloc_output_context2(&context, nullptr, "ffmetadata", nullptr) < 0)
        return {};
    const std::unique_ptr<AVFormatContext, decltype(&avformat_free_context)> owner(context, avformat_free_context);
    AVStream* const made = avformat_new_stream(context, nullptr);
    if (!made || avio_open_dyn_buf(&context->pb) < 0)
        throw std::bad_alloc();
    context->flags |= AVFMT_FLAG_BITEXACT; // without the name of the library
    SetTags(context->metadata, file);
    SetTags(made->metadata, stream);
    SetChapters(*context, chapters);
    const int result = avformat_write_header(context, nullptr);
    if (result >= 0)
        av_write_trailer(context);
    uint8_t* bytes = nullptr;
    const int size = avio_close_dyn_buf(std::exchange(context->pb, nullptr), &bytes);
    std::string text(reinterpret_cast<const char*>(bytes), result >= 0 ? static_cast<size_t>(size) : 0);
    av_free(bytes);
    return text;
}

std::string CoverText(const std::optional<Cover>& cover)
{
    if (!cover)
        return {};
    std::string base64(AV_BASE64_SIZE(cover->bytes.size()), '\0');
    av_base64_encode(base64.data(), static_cast<int>(base64.size()), cover->bytes.data(),
                     static_cast<int>(cover->bytes.size()));
    base64.pop_back(); // a terminator
    return cover->codec + "," + base64;
}

} // namespace host
