#include "host/validate/LoadedPlugin.h"

#include "host/base/ExitCode.h"

#include <algorithm>
#include <dlfcn.h>

namespace host
{

namespace
{

constexpr size_t kMostRecords = 1000;
constexpr size_t kMostModes = 500;

template <class Function> const void* AddressOf(Function* function)
{
    return reinterpret_cast<const void*>(function);
}

bool HasGoodType(const ENCODER_ITEM& item)
{
    return item.nType == ENCODER_TYPE_AUDIO || item.nType == ENCODER_TYPE_VIDEO;
}

bool HasGoodType(const FILEFORMAT_ITEM& item)
{
    return item.dwFlags <= 0xFFFF;
}

// Whether the slots are code or null. Of memory that holds something else, hardly ever.
template <class Item> bool HasGoodSlots(const Item& item, const MemoryMap& memory)
{
    const auto slots = SlotsOf(item);
    return std::all_of(slots.begin(), slots.end(),
                       [&memory](const SlotEntry& slot) { return !slot.address || memory.IsCode(slot.address); });
}

// What lies at the place, be it the plug-in's record or not. Memory between its records is no sanitizer's business
// here.
template <class Value> [[gnu::no_sanitize_address]] Value CopyOf(const Value* place)
{
    Value value;
    const auto* const from = reinterpret_cast<const volatile unsigned char*>(place);
    auto* const to = reinterpret_cast<unsigned char*>(&value);
    for (size_t i = 0; i < sizeof(Value); ++i)
        to[i] = from[i];
    return value;
}

// What isn't a record: neither its name nor its content makes sense.
template <class Item> bool IsSenseless(const Item& item, const MemoryMap& memory)
{
    return !IsPrintable(item.dwFourCC) && (!HasGoodType(item) || !HasGoodSlots(item, memory));
}

// What is a record beyond doubt.
template <class Item> bool IsRecord(const Item& item, const MemoryMap& memory)
{
    const auto slots = SlotsOf(item);
    return IsPrintable(item.dwFourCC) && HasGoodType(item) && HasGoodSlots(item, memory) && item.szName[0] != 0 &&
           std::any_of(slots.begin(), slots.end(), [](const SlotEntry& slot) { return slot.address; });
}

// The distance at which a second record lies, if it isn't the size of one.
template <class Item> size_t FindStride(const Item* first, const MemoryMap& memory)
{
    const char* const bytes = reinterpret_cast<const char*>(first);
    for (size_t stride = sizeof(Item) / 2; stride < 2 * sizeof(Item); stride += 4) {
        const auto* const item = reinterpret_cast<const Item*>(bytes + stride);
        if (stride != sizeof(Item) && stride % alignof(Item) == 0 && memory.IsReadable(item, sizeof(Item)) &&
            IsRecord(CopyOf(item), memory))
            return stride;
    }
    return sizeof(Item);
}

template <class Item> RecordArray<Item> ReadRecords(const Item* first, const MemoryMap& memory)
{
    RecordArray<Item> records;
    records.first = first;
    if (!first)
        return records;
    records.isEnded = false;
    for (const Item* item = first; records.count < kMostRecords; ++item, ++records.count) {
        if (!memory.IsReadable(item, sizeof(item->dwFourCC)))
            break;
        if (CopyOf(&item->dwFourCC) == 0) {
            records.isEnded = true;
            break;
        }
        if (!memory.IsReadable(item, sizeof(*item)) || IsSenseless(CopyOf(item), memory))
            break;
    }
    if (records.count == 1)
        records.stride = FindStride(first, memory);
    return records;
}

template <class Item> const Item* CallExport(void* address)
{
    const auto get = reinterpret_cast<const Item* (*)()>(address);
    return get ? get() : nullptr;
}

} // namespace

LoadedPlugin::LoadedPlugin(const std::string& file) : m_module(dlopen(file.c_str(), RTLD_NOW))
{
    if (m_module)
        return;
    const char* const error = dlerror();
    throw HostError(kExitPlugins, error ? error : "it can't be loaded");
}

void LoadedPlugin::Close::operator()(void* module) const
{
    dlclose(module);
}

void* LoadedPlugin::Export(const char* name) const
{
    return dlsym(m_module.get(), name);
}

void LoadedPlugin::Scan()
{
    const auto* const encoders = CallExport<ENCODER_ITEM>(Export("GetEncoders"));
    const auto* const formats = CallExport<FILEFORMAT_ITEM>(Export("GetFileFormats"));
    m_memory = MemoryMap::Now();
    m_encoders = ReadRecords(encoders, m_memory);
    m_formats = ReadRecords(formats, m_memory);
}

#define SLOT_ENTRY(slot)                                                                                               \
    {                                                                                                                  \
#slot, AddressOf(item.slot)                                                                                    \
    }

std::vector<SlotEntry> SlotsOf(const ENCODER_ITEM& item)
{
    return {SLOT_ENTRY(pfnCreate),      SLOT_ENTRY(pfnEncode),        SLOT_ENTRY(pfnGetDelay),
            SLOT_ENTRY(pfnDestroy),     SLOT_ENTRY(pfnGetAudioExtra), SLOT_ENTRY(pfnGetVideoExtra),
            SLOT_ENTRY(pfnReviseAudio), SLOT_ENTRY(pfnReviseVideo)};
}

std::vector<SlotEntry> SlotsOf(const FILEFORMAT_ITEM& item)
{
    return {SLOT_ENTRY(pfnCreate), SLOT_ENTRY(pfnWriteAudio),    SLOT_ENTRY(pfnWriteVideo),
            SLOT_ENTRY(pfnClose),  SLOT_ENTRY(pfnSetAudioExtra), SLOT_ENTRY(pfnSetVideoExtra)};
}

#undef SLOT_ENTRY

std::vector<TextEntry> TextsOf(const ENCODER_ITEM& item)
{
    return {{"szName", item.szName}, {"szDescription", item.szDescription}};
}

std::vector<TextEntry> TextsOf(const FILEFORMAT_ITEM& item)
{
    return {{"szShortName", item.szShortName}, {"szName", item.szName}, {"szDescription", item.szDescription}};
}

std::span<const ENCODER_MODE> LoadedPlugin::Modes(const ENCODER_MODE* modes, bool& isEnded) const
{
    size_t count = 0;
    isEnded = !modes;
    while (modes && count < kMostModes && m_memory.IsReadable(modes + count, sizeof(*modes))) {
        isEnded = modes[count].dwFourCC == 0;
        if (isEnded || !IsPrintable(modes[count].dwFourCC) || modes[count].bInline > 0xFFFF)
            break;
        ++count;
    }
    return {modes, count};
}

std::span<const ENCODER_MODE> LoadedPlugin::Modes(const ENCODER_MODE* modes) const
{
    bool isEnded = false;
    return Modes(modes, isEnded);
}

bool IsPrintable(KXDWORD fourCC)
{
    for (int shift = 0; shift < 32; shift += 8) {
        const auto byte = static_cast<unsigned char>(fourCC >> shift);
        if (byte < 0x20 || byte > 0x7E)
            return false;
    }
    return true;
}

} // namespace host
