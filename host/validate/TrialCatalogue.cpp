#include "host/validate/TrialCatalogue.h"

#include "host/base/Text.h"
#include "host/validate/SlotLog.h"
#include "plugin_host/PluginMgr.h"

#include <algorithm>
#include <set>

namespace host
{

namespace
{

constexpr KXDWORD kCountFormat = KX_FOURCC('#', 'n', 'u', 'l');

// The format that only counts.
FILEFORMAT_ITEM CountFormat(const ENCODER_MODE* audio, const ENCODER_MODE* video)
{
    FILEFORMAT_ITEM item = {};
    item.dwFourCC = kCountFormat;
    item.pAudioModes = audio;
    item.pVideoModes = video;
    item.pfnCreate = [](const wchar_t*, EncodeParam*) -> void* { return const_cast<KXDWORD*>(&kCountFormat); };
    item.pfnWriteAudio = [](void*, const void*, KXDWORD) { return 1; };
    item.pfnWriteVideo = [](void*, const void*) { return 1; };
    item.pfnClose = [](void*, FC_CLOSE_CALLBACK, void*) {};
    return item;
}

template <class Item> bool Has(const std::vector<Item>& items, KXDWORD fourCC)
{
    return std::any_of(items.begin(), items.end(), [fourCC](const Item& item) { return item.dwFourCC == fourCC; });
}

template <class Item> void AddMissing(std::vector<Item>& items, std::span<const Item> others)
{
    for (const Item& item : others)
        if (!Has(items, item.dwFourCC))
            items.push_back(item);
}

// The listed encoders that are there and of the type, with 0 for none at the end.
std::vector<KXDWORD> Choices(std::span<const ENCODER_MODE> modes, int type, const std::vector<ENCODER_ITEM>& encoders)
{
    std::vector<KXDWORD> choices;
    for (const ENCODER_MODE& mode : modes)
        for (const ENCODER_ITEM& item : encoders)
            if (item.dwFourCC == mode.dwFourCC && item.nType == type)
                choices.push_back(mode.dwFourCC);
    choices.push_back(0);
    return choices;
}

} // namespace

std::string TrialPair::Text() const
{
    std::string text = format == kCountFormat ? "jobs" : FourCCText(format);
    if (video)
        text += " with " + FourCCText(video);
    if (audio)
        text += (video ? " and " : " with ") + FourCCText(audio);
    return text;
}

bool TrialPair::MakesFile() const
{
    return format != kCountFormat;
}

TrialCatalogue::TrialCatalogue(const Subject& subject) : m_plugin(subject.file)
{
    m_plugin.Scan();
    AddMissing(m_encoders, m_plugin.Encoders().Items());
    AddMissing(m_formats, m_plugin.Formats().Items());
    const auto lacks = [this](const FILEFORMAT_ITEM& format) {
        for (const ENCODER_MODE* modes : {format.pVideoModes, format.pAudioModes})
            for (const ENCODER_MODE& mode : m_plugin.Modes(modes))
                if (!Has(m_encoders, mode.dwFourCC))
                    return true;
        return false;
    };
    if (std::any_of(m_formats.begin(), m_formats.end(), lacks)) {
        m_neighbours = LoadNeighbours(subject.file);
        for (const Neighbour& other : m_neighbours)
            AddMissing(m_encoders, other.plugin.Encoders().Items());
    }
    for (const FILEFORMAT_ITEM& format : m_formats)
        AddPairs(format);
    AddOrphans();

    RecordSlotsOf(m_encoders, m_formats, subject.messages);
    for (const ENCODER_ITEM& item : m_encoders)
        PluginMgr::m_arEncoder.push_back(Recorded(item));
    for (const FILEFORMAT_ITEM& item : m_formats)
        PluginMgr::m_arFileFormat.push_back(Recorded(item));
}

TrialCatalogue::~TrialCatalogue()
{
    PluginMgr::m_arEncoder.clear();
    PluginMgr::m_arFileFormat.clear();
}

// Encoders that are in no pair so far.
void TrialCatalogue::AddOrphans()
{
    for (const ENCODER_ITEM& item : OwnEncoders())
        if (std::none_of(m_pairs.begin(), m_pairs.end(), [&item](const TrialPair& pair) {
                return pair.video == item.dwFourCC || pair.audio == item.dwFourCC;
            }))
            m_orphans[item.nType].push_back({item.dwFourCC, 0});
    if (m_orphans[0].empty() && m_orphans[1].empty())
        return;
    for (auto& modes : m_orphans)
        modes.push_back({0, 0});
    m_formats.push_back(CountFormat(m_orphans[ENCODER_TYPE_AUDIO].data(), m_orphans[ENCODER_TYPE_VIDEO].data()));
    AddPairs(m_formats.back());
}

void TrialCatalogue::AddPairs(const FILEFORMAT_ITEM& format)
{
    for (const KXDWORD video : Choices(m_plugin.Modes(format.pVideoModes), ENCODER_TYPE_VIDEO, m_encoders))
        for (const KXDWORD audio : Choices(m_plugin.Modes(format.pAudioModes), ENCODER_TYPE_AUDIO, m_encoders))
            if (video || audio)
                m_pairs.push_back({format.dwFourCC, video, audio});
}

std::vector<TrialPair> TrialCatalogue::Cover() const
{
    std::set<KXDWORD> formats, encoders = {0};
    std::vector<TrialPair> cover;
    for (const bool both : {true, false}) // pairs of two first
        for (const TrialPair& pair : m_pairs) {
            const bool isNew =
                !formats.count(pair.format) || !encoders.count(pair.video) || !encoders.count(pair.audio);
            if ((both && !(pair.video && pair.audio)) || !isNew)
                continue;
            formats.insert(pair.format);
            encoders.insert({pair.video, pair.audio});
            cover.push_back(pair);
        }
    return cover;
}

std::vector<ENCODER_ITEM> TrialCatalogue::OwnEncoders() const
{
    const auto items = m_plugin.Encoders().Items();
    return {items.begin(), items.end()};
}

bool TrialCatalogue::IsSequence(KXDWORD format)
{
    const FILEFORMAT_ITEM* const item = FindFileFormat(PluginMgr::m_arFileFormat, format);
    return item && item->dwFlags & FFF_SEQUENCE;
}

} // namespace host
