#include "plugins/av/OptionTable.h"

#include "plugins/av/CodecOptions.h"
#include "plugins/av/Tables.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <set>
#include <sstream>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

namespace
{

// Words of encoders that take them as a text and list none; those that open the encoder are its.
constexpr struct {
    const char *key, *words;
} s_candidates[] = {
    {"preset", "placebo veryslow slower slow medium fast faster veryfast superfast ultrafast"},
    {"tune", "film animation grain stillimage psnr ssim fastdecode zerolatency"},
};

void Append(std::string& words, const std::string& word, const char* between = " ")
{
    words.append(words.empty() ? "" : between).append(word);
}

class OptionTable
{
public:
    explicit OptionTable(const EncoderEntry& entry);

    const ENCODER_OPTION* Items() const { return m_items.data(); }

private:
    void AddQuality();
    void AddPreset();
    void AddPasses();
    void AddKey(const char* key);
    void AddPrivate();
    void Add(const AVOption& option);
    void Add(const char* key, const char* help, const std::string& standard, const std::string& words, int kind,
             double least, double most);
    template <class Taker> void ForEachWord(const AVOption& option, Taker take) const;
    std::string DefaultOf(const AVOption& option) const;
    std::string WordsOf(const AVOption& option) const;
    std::string TriedWords(const char* key) const;
    bool Opens(const char* key, const std::string& word) const;
    const char* Keep(const std::string& text);

    const EncoderEntry& m_entry;
    CodecContextPtr m_context; // with the usual options, while the table is made
    std::deque<std::string> m_texts;
    std::set<std::string> m_keys;
    std::vector<ENCODER_OPTION> m_items;
};

OptionTable::OptionTable(const EncoderEntry& entry) : m_entry(entry), m_context(avcodec_alloc_context3(CodecOf(entry)))
{
    if (m_context) {
        m_context->log_level_offset = kSilent;
        m_context->thread_count = 0; // as jobs have it
        SetKnown(*m_context, OptionsOf(m_entry.options));
        AddQuality();
        AddPreset();
        AddKey("tune");
        AddKey("b");
        AddPasses();
        std::istringstream generic(m_entry.keys.generic);
        for (std::string key; generic >> key;)
            AddKey(key.c_str());
        AddPrivate();
        m_context.reset();
    }
    m_items.emplace_back();
}

const char* OptionTable::Keep(const std::string& text)
{
    return m_texts.emplace_back(text).c_str();
}

void OptionTable::Add(const char* key, const char* help, const std::string& standard, const std::string& words,
                      int kind, double least, double most)
{
    if (m_keys.insert(key).second)
        m_items.push_back({key, help ? help : "", Keep(standard), Keep(words), least, most, kind, 0});
}

void OptionTable::AddQuality()
{
    const QualityScale& scale = m_entry.quality;
    if (scale.options)
        Add("crf", "constant quality in the place of a bit rate; less is better", std::to_string(scale.usual), "",
            KX_OPTION_NUMBER, scale.least, scale.most);
}

void OptionTable::AddPreset()
{
    if (!m_entry.keys.presets)
        return AddKey("preset");
    std::string words, help = "speed";
    for (const Preset* preset = m_entry.keys.presets; preset->word; ++preset) {
        Append(words, preset->word);
        Append(help, preset->word, preset == m_entry.keys.presets ? ": " : ", ");
        Append(help, preset->options, " is ");
    }
    Add("preset", Keep(help), "", words, KX_OPTION_TEXT, 0, 0);
}

void OptionTable::AddPasses()
{
    if (m_entry.keys.passes == Passes::kNone)
        return;
    Add("pass", "which of two passes the job is", "", "", KX_OPTION_INTEGER, 1, 2);
    Add("stats", "the file from the first pass to the second", "", "", KX_OPTION_TEXT, 0, 0);
}

void OptionTable::AddKey(const char* key)
{
    const AVOption* const option = av_opt_find(m_context.get(), key, nullptr, 0, AV_OPT_SEARCH_CHILDREN);
    const bool takesBits = std::strcmp(key, "b") != 0 || m_entry.TakesBitRate() ||
                           (m_entry.type == ENCODER_TYPE_AUDIO && m_entry.audio.channelBitRate != kNoBitRate);
    if (option && takesBits && Knows(*m_context, key))
        Add(*option);
}

// Several names may stand for one value; the first is told.
void OptionTable::AddPrivate()
{
    std::set<int> places;
    const AVOption* option = nullptr;
    while (m_context->priv_data && CodecOf(m_entry)->priv_class &&
           (option = av_opt_next(m_context->priv_data, option)) != nullptr) {
        const bool isOld = (option->flags & AV_OPT_FLAG_DEPRECATED) != 0;
        if (option->type != AV_OPT_TYPE_CONST && !isOld && Knows(*m_context, option->name) &&
            places.insert(option->offset).second)
            Add(*option);
    }
}

void OptionTable::Add(const AVOption& option)
{
    int kind = KX_OPTION_TEXT;
    switch (option.type) {
    case AV_OPT_TYPE_INT:
    case AV_OPT_TYPE_INT64:
    case AV_OPT_TYPE_UINT64:
        kind = KX_OPTION_INTEGER;
        break;
    case AV_OPT_TYPE_FLOAT:
    case AV_OPT_TYPE_DOUBLE:
    case AV_OPT_TYPE_RATIONAL:
        kind = KX_OPTION_NUMBER;
        break;
    case AV_OPT_TYPE_BOOL:
        kind = KX_OPTION_SWITCH;
        break;
    case AV_OPT_TYPE_FLAGS:
        kind = KX_OPTION_FLAGS;
        break;
    case AV_OPT_TYPE_BINARY:
        return; // can't be written in a text
    default:
        break;
    }
    const bool isNumber = kind == KX_OPTION_INTEGER || kind == KX_OPTION_NUMBER;
    // Without a bit rate a video encoder goes by its quality.
    const bool isUnset = std::strcmp(option.name, "b") == 0 && (m_entry.TakesBitRate() || m_context->bit_rate == 0);
    Add(option.name, option.help, isUnset ? "" : DefaultOf(option), WordsOf(option), kind, isNumber ? option.min : 0,
        isNumber ? option.max : 0);
}

// Calls take with each word that stands for a value of the option.
template <class Taker> void OptionTable::ForEachWord(const AVOption& option, Taker take) const
{
    // The words stand in the same table as their option.
    const bool isOwn = m_context->priv_data && av_opt_find(m_context->priv_data, option.name, nullptr, 0, 0) == &option;
    const void* const object = isOwn ? m_context->priv_data : static_cast<const void*>(m_context.get());
    const AVOption* word = nullptr;
    while (option.unit && (word = av_opt_next(object, word)) != nullptr)
        if (word->type == AV_OPT_TYPE_CONST && word->unit && std::strcmp(word->unit, option.unit) == 0 &&
            word->flags & AV_OPT_FLAG_ENCODING_PARAM)
            take(*word);
}

std::string OptionTable::DefaultOf(const AVOption& option) const
{
    uint8_t* text = nullptr;
    if (av_opt_get(m_context.get(), option.name, AV_OPT_SEARCH_CHILDREN, &text) < 0 || !text)
        return "";
    std::string value(reinterpret_cast<const char*>(text));
    av_free(text);
    if (option.type == AV_OPT_TYPE_BOOL)
        return value == "true" ? "1" : value == "false" ? "0" : "";
    if (option.type == AV_OPT_TYPE_FLAGS)
        return ""; // a bare number
    if (option.type == AV_OPT_TYPE_STRING || option.type == AV_OPT_TYPE_DICT)
        return value;
    const double number = std::strtod(value.c_str(), nullptr);
    if (number < 0 && number == std::max(option.min, -1.0))
        return ""; // the encoder decides
    std::string word;
    if (option.type == AV_OPT_TYPE_INT)
        ForEachWord(option, [&](const AVOption& one) {
            if (word.empty() && one.default_val.i64 == std::strtoll(value.c_str(), nullptr, 10))
                word = one.name;
        });
    if (value.find('.') != std::string::npos)
        value.erase(value.find_last_not_of('0') + 1);
    if (value.ends_with('.'))
        value.pop_back();
    return word.empty() ? value : word;
}

std::string OptionTable::WordsOf(const AVOption& option) const
{
    if (option.type == AV_OPT_TYPE_STRING)
        return TriedWords(option.name);
    std::string words;
    ForEachWord(option, [&words](const AVOption& word) { Append(words, word.name); });
    return words;
}

std::string OptionTable::TriedWords(const char* key) const
{
    std::string words;
    for (const auto& candidate : s_candidates) {
        std::istringstream stream(std::strcmp(candidate.key, key) == 0 ? candidate.words : "");
        for (std::string word; stream >> word;)
            if (Opens(key, word))
                Append(words, word);
    }
    return words;
}

bool OptionTable::Opens(const char* key, const std::string& word) const
{
    const AVCodec* codec = CodecOf(m_entry);
    const CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context)
        return false;
    context->log_level_offset = kSilent;
    context->pix_fmt = m_entry.video.pixelFormat;
    context->width = context->height = 64;
    context->time_base = {1, 25};
    SetKnown(*context, OptionsOf(m_entry.options));
    return SetKnown(*context, {{key, word}}) >= 0 && avcodec_open2(context.get(), codec, nullptr) >= 0;
}

} // namespace

const ENCODER_OPTION* OptionItems(KXDWORD fourCC)
{
    static std::map<KXDWORD, OptionTable> s_tables;
    const EncoderEntry* entry = FindEncoder(fourCC, ENCODER_TYPE_VIDEO);
    if (!entry)
        entry = FindEncoder(fourCC, ENCODER_TYPE_AUDIO);
    return entry ? s_tables.try_emplace(fourCC, *entry).first->second.Items() : nullptr;
}
