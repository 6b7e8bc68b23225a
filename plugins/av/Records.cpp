#include "plugins/av/Records.h"

#include "plugins/av/Slots.h"
#include "plugins/av/Tables.h"
#include "plugins/support/Text.h"

#include <list>
#include <vector>

namespace
{

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
    for (const EncoderEntry& entry : EncoderTable()) {
        if (FindEncoder(entry.fourCC, entry.type) != &entry)
            continue;
        ENCODER_ITEM& item = items.emplace_back(ItemOf<ENCODER_ITEM>(entry));
        item.nType = entry.type;
        entry.type == ENCODER_TYPE_VIDEO ? FillVideoSlots(item) : FillAudioSlots(item);
    }
    items.emplace_back();
    return items;
}

struct Formats {
    std::list<std::vector<ENCODER_MODE>> modes;
    std::vector<FILEFORMAT_ITEM> items;

    Formats()
    {
        for (const ContainerEntry& container : ContainerTable()) {
            if (!MuxerOf(container))
                continue;
            FILEFORMAT_ITEM& item = items.emplace_back(ItemOf<FILEFORMAT_ITEM>(container));
            SetText(item.szShortName, container.shortName);
            item.pVideoModes = ModesOf(container, ENCODER_TYPE_VIDEO);
            item.pAudioModes = ModesOf(container, ENCODER_TYPE_AUDIO);
            item.dwFlags = container.Has(kPictureFiles) ? FFF_SEQUENCE : 0;
            FillFormatSlots(item);
        }
        items.emplace_back();
    }

    // Null if there are none.
    const ENCODER_MODE* ModesOf(const ContainerEntry& container, int type)
    {
        const auto fourCCs = EncodersOf(container, type);
        if (fourCCs.empty())
            return nullptr;
        auto& list = modes.emplace_back();
        for (const KXDWORD fourCC : fourCCs)
            list.push_back({fourCC, 0});
        list.push_back({0, 0});
        return list.data();
    }
};

} // namespace

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
