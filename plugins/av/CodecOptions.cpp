#include "plugins/av/CodecOptions.h"

#include "encmgr/Log.h"

#include <utility>

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/opt.h>
}

namespace
{

// A list of settings for the library behind an encoder: what it doesn't name stays as it was.
int AddToList(AVCodecContext& context, const Option& option)
{
    AVDictionary* list = nullptr;
    int result = av_opt_get_dict_val(&context, option.key.c_str(), AV_OPT_SEARCH_CHILDREN, &list);
    if (result >= 0)
        result = av_dict_parse_string(&list, option.value.c_str(), "=", ":", 0);
    if (result >= 0)
        result = av_opt_set_dict_val(&context, option.key.c_str(), list, AV_OPT_SEARCH_CHILDREN);
    av_dict_free(&list);
    return result;
}

int Set(AVCodecContext& context, const Option& option)
{
    const AVOption* const found = av_opt_find(&context, option.key.c_str(), nullptr, 0, AV_OPT_SEARCH_CHILDREN);
    if (found && found->type == AV_OPT_TYPE_DICT)
        return AddToList(context, option);
    return av_opt_set(&context, option.key.c_str(), option.value.c_str(), AV_OPT_SEARCH_CHILDREN);
}

} // namespace

std::vector<Option> OptionsOf(const char* text)
{
    auto options = ParseOptions(text);
    return options ? std::move(*options) : std::vector<Option>();
}

std::string OptionText(const EncodeParam& job, int type)
{
    const bool isVideo = type == ENCODER_TYPE_VIDEO;
    const char* text = KXGetOptions(isVideo ? job.video.dwOptions : job.audio.dwOptions);
    return text ? text : "";
}

std::optional<std::vector<Option>> OptionsOf(const EncodeParam& job, int type)
{
    const std::string text = OptionText(job, type);
    auto options = ParseOptions(text.c_str());
    if (!options)
        KXLogEx(L"wpav: the options [%s] aren't of the form key=value:key=value.", text.c_str());
    return options;
}

bool Knows(const AVCodecContext& context, const std::string& key)
{
    // The search changes nothing; its parameter serves setters too.
    void* const object = const_cast<AVCodecContext*>(&context);
    const AVOption* option = av_opt_find(object, key.c_str(), nullptr, 0, AV_OPT_SEARCH_CHILDREN);
    if (!option || !(option->flags & AV_OPT_FLAG_ENCODING_PARAM))
        return false;
    constexpr int kKinds = AV_OPT_FLAG_VIDEO_PARAM | AV_OPT_FLAG_AUDIO_PARAM | AV_OPT_FLAG_SUBTITLE_PARAM;
    const int own = context.codec_type == AVMEDIA_TYPE_VIDEO ? AV_OPT_FLAG_VIDEO_PARAM : AV_OPT_FLAG_AUDIO_PARAM;
    return !(option->flags & kKinds) || option->flags & own;
}

int SetKnown(AVCodecContext& context, const std::vector<Option>& options, const Option** refused)
{
    for (const Option& option : options) {
        if (!Knows(context, option.key))
            continue;
        const int result = Set(context, option);
        if (result < 0) {
            if (refused)
                *refused = &option;
            return result;
        }
    }
    return 0;
}

bool TakesValues(const AVCodec* codec, const std::vector<Option>& options, const wchar_t* name)
{
    const CodecContextPtr context(options.empty() ? nullptr : avcodec_alloc_context3(codec));
    if (!context)
        return options.empty();
    context->log_level_offset = kSilent;
    const Option* refused = nullptr;
    const int result = SetKnown(*context, options, &refused);
    if (result < 0)
        KXLogEx(L"wpav: %ls doesn't take the option [%s=%s]: %s.", name, refused->key.c_str(), refused->value.c_str(),
                ErrorText(result).c_str());
    return result >= 0;
}

int SetOption(AVFormatContext& format, const Option& option)
{
    const AVOption* found = av_opt_find(&format, option.key.c_str(), nullptr, 0, AV_OPT_SEARCH_CHILDREN);
    if (!found || !(found->flags & AV_OPT_FLAG_ENCODING_PARAM))
        return AVERROR_OPTION_NOT_FOUND;
    return av_opt_set(&format, option.key.c_str(), option.value.c_str(), AV_OPT_SEARCH_CHILDREN);
}
