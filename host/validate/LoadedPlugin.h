// A plug-in in memory, and its records as far as they can be trusted.
#ifndef ENCMGR_HOST_LOADED_PLUGIN_H
#define ENCMGR_HOST_LOADED_PLUGIN_H

#include "encmgr/PluginRecords.h"
#include "host/validate/MemoryMap.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace host
{

// An array of records as a plug-in returned it.
template <class Item> struct RecordArray {
    const Item* first = nullptr;  // null: there is no such export, or it returned null
    size_t count = 0;             // records in front of the end, or of the first that makes no sense
    bool isEnded = true;          // the last of them is followed by dwFourCC 0
    size_t stride = sizeof(Item); // at which further records seem to follow

    std::span<const Item> Items() const { return {first, count}; }
};

// Loaded with all its symbols resolved, for as long as the object lives.
class LoadedPlugin
{
public:
    // Throws HostError with the loader's reason.
    explicit LoadedPlugin(const std::string& file);

    void* Export(const char* name) const;

    // Calls both exports, and looks at what they return without reading beyond it. Throws what they throw.
    void Scan();
    const RecordArray<ENCODER_ITEM>& Encoders() const { return m_encoders; }
    const RecordArray<FILEFORMAT_ITEM>& Formats() const { return m_formats; }

    // The entries of a list of these records in front of its end. isEnded: whether it has one, in memory that can be
    // read.
    std::span<const ENCODER_MODE> Modes(const ENCODER_MODE* modes, bool& isEnded) const;
    std::span<const ENCODER_MODE> Modes(const ENCODER_MODE* modes) const;

private:
    struct Close {
        void operator()(void* module) const;
    };

    std::unique_ptr<void, Close> m_module;
    RecordArray<ENCODER_ITEM> m_encoders;
    RecordArray<FILEFORMAT_ITEM> m_formats;
    MemoryMap m_memory; // after the scan
};

// A slot with its name in the record.
struct SlotEntry {
    const char* name;
    const void* address;
};
std::vector<SlotEntry> SlotsOf(const ENCODER_ITEM& item);
std::vector<SlotEntry> SlotsOf(const FILEFORMAT_ITEM& item);

// A text field of a record with its name.
struct TextEntry {
    const char* name;
    std::span<const wchar_t> field;
};
std::vector<TextEntry> TextsOf(const ENCODER_ITEM& item);
std::vector<TextEntry> TextsOf(const FILEFORMAT_ITEM& item);

bool IsPrintable(KXDWORD fourCC);

} // namespace host

#endif // ENCMGR_HOST_LOADED_PLUGIN_H
