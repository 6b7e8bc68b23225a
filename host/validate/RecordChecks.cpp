// Level 2: each record by itself.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/LoadedPlugin.h"
#include "text/Strings.h"

#include <algorithm>

namespace host
{

namespace
{

// "encoder H264".
std::string NameOf(const ENCODER_ITEM& item)
{
    return "encoder " + FourCCText(item.dwFourCC);
}

std::string NameOf(const FILEFORMAT_ITEM& item)
{
    return "format " + FourCCText(item.dwFourCC);
}

// Calls see(record) with each record of both arrays.
template <class See> void ForEachRecord(const LoadedPlugin& plugin, See see)
{
    for (const ENCODER_ITEM& item : plugin.Encoders().Items())
        see(item);
    for (const FILEFORMAT_ITEM& item : plugin.Formats().Items())
        see(item);
}

LoadedPlugin Scanned(const Subject& subject)
{
    LoadedPlugin plugin(subject.file);
    plugin.Scan();
    return plugin;
}

void CheckScan(const Subject& subject, Verdict& verdict)
{
    try {
        const LoadedPlugin plugin = Scanned(subject);
        if (!plugin.Encoders().first && !plugin.Formats().first)
            verdict.Fail("it returns no array");
    } catch (const std::exception& error) {
        verdict.Fail(std::string("an exception left it: ") + error.what());
    } catch (...) {
        verdict.Fail("an exception left it");
    }
}

template <class Item> void CheckStrideOf(const RecordArray<Item>& records, const char* record, Verdict& verdict)
{
    if (records.stride != sizeof(Item))
        verdict.Fail(Format("%s is %zu bytes, but the second record lies %zu behind the first; is the plug-in built "
                            "with another PluginRecords.h?",
                            record, sizeof(Item), records.stride));
}

void CheckStride(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    CheckStrideOf(plugin.Encoders(), "ENCODER_ITEM", verdict);
    CheckStrideOf(plugin.Formats(), "FILEFORMAT_ITEM", verdict);
}

template <class Item> void CheckEndOf(const RecordArray<Item>& records, const char* name, Verdict& verdict)
{
    if (!records.isEnded && records.stride == sizeof(Item))
        verdict.Fail(Format("behind record %zu of %s comes neither another nor dwFourCC 0", records.count, name));
    else if (records.first && records.count == 0 && records.isEnded)
        verdict.Warn(Format("%s returns an array without a record", name));
}

void CheckEnds(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    CheckEndOf(plugin.Encoders(), "GetEncoders", verdict);
    CheckEndOf(plugin.Formats(), "GetFileFormats", verdict);
}

void CheckFourCCs(const Subject& subject, Verdict& verdict)
{
    ForEachRecord(Scanned(subject), [&verdict](const auto& item) {
        if (!IsPrintable(item.dwFourCC))
            verdict.Fail(Format("%s: 0x%08x isn't four characters from space to tilde", NameOf(item).c_str(),
                                static_cast<unsigned>(item.dwFourCC)));
    });
}

void CheckTypes(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    for (const ENCODER_ITEM& item : plugin.Encoders().Items())
        if (item.nType != ENCODER_TYPE_AUDIO && item.nType != ENCODER_TYPE_VIDEO)
            verdict.Fail(Format("%s: nType %d is neither audio nor video", NameOf(item).c_str(), item.nType));
}

void CheckText(const std::string& record, const TextEntry& text, Verdict& verdict)
{
    const std::string name = record + ": " + text.name;
    const auto end = std::find(text.field.begin(), text.field.end(), L'\0');
    if (end == text.field.end())
        verdict.Fail(
            Format("%s fills all its %zu characters, without a 0 at the end", name.c_str(), text.field.size()));
    const std::wstring_view value(text.field.data(), static_cast<size_t>(end - text.field.begin()));
    if (!text::Utf8FromWide(value))
        verdict.Fail(name + " holds a value that is no Unicode character");
    else if (std::any_of(value.begin(), value.end(), [](wchar_t unit) { return unit < 0x20 || unit == 0x7F; }))
        verdict.Fail(name + " holds a control character");
    else if (value.empty() && name.find("Name") != std::string::npos)
        verdict.Warn(name + " is empty");
}

void CheckTexts(const Subject& subject, Verdict& verdict)
{
    ForEachRecord(Scanned(subject), [&verdict](const auto& item) {
        for (const TextEntry& text : TextsOf(item))
            CheckText(NameOf(item), text, verdict);
    });
}

void CheckSlotAddresses(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    const MemoryMap memory = MemoryMap::Now();
    ForEachRecord(plugin, [&](const auto& item) {
        for (const SlotEntry& slot : SlotsOf(item))
            if (slot.address && !memory.IsCode(slot.address))
                verdict.Fail(Format("%s: %s is %p, where no code lies", NameOf(item).c_str(), slot.name, slot.address));
    });
}

// Whether every format that names the encoder encodes it itself, and at least one does.
bool IsInlineOnly(const LoadedPlugin& plugin, KXDWORD fourCC)
{
    bool isNamed = false;
    for (const FILEFORMAT_ITEM& format : plugin.Formats().Items())
        for (const ENCODER_MODE* const modes : {format.pVideoModes, format.pAudioModes})
            for (const ENCODER_MODE& mode : plugin.Modes(modes))
                if (mode.dwFourCC == fourCC) {
                    if (!mode.bInline)
                        return false;
                    isNamed = true;
                }
    return isNamed;
}

void RequireSlots(const std::string& record, std::initializer_list<SlotEntry> required, Verdict& verdict)
{
    for (const SlotEntry& slot : required)
        if (!slot.address)
            verdict.Fail(record + ": " + slot.name + " is null");
}

template <class Function> const void* AddressOf(Function* function)
{
    return reinterpret_cast<const void*>(function);
}

void CheckRequiredSlots(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    for (const ENCODER_ITEM& item : plugin.Encoders().Items())
        if (!IsInlineOnly(plugin, item.dwFourCC))
            RequireSlots(NameOf(item),
                         {{"pfnCreate", AddressOf(item.pfnCreate)},
                          {"pfnEncode", AddressOf(item.pfnEncode)},
                          {"pfnDestroy", AddressOf(item.pfnDestroy)}},
                         verdict);
    for (const FILEFORMAT_ITEM& item : plugin.Formats().Items()) {
        RequireSlots(NameOf(item), {{"pfnCreate", AddressOf(item.pfnCreate)}, {"pfnClose", AddressOf(item.pfnClose)}},
                     verdict);
        if (item.pAudioModes)
            RequireSlots(NameOf(item), {{"pfnWriteAudio", AddressOf(item.pfnWriteAudio)}}, verdict);
        if (item.pVideoModes)
            RequireSlots(NameOf(item), {{"pfnWriteVideo", AddressOf(item.pfnWriteVideo)}}, verdict);
    }
}

void WarnOfLostExtra(const LoadedPlugin& plugin, const FILEFORMAT_ITEM& format, const ENCODER_MODE* modes, bool isAudio,
                     Verdict& verdict)
{
    if (isAudio ? format.pfnSetAudioExtra != nullptr : format.pfnSetVideoExtra != nullptr)
        return;
    for (const ENCODER_MODE& mode : plugin.Modes(modes))
        for (const ENCODER_ITEM& item : plugin.Encoders().Items())
            if (item.dwFourCC == mode.dwFourCC && !mode.bInline &&
                (isAudio ? item.pfnGetAudioExtra != nullptr : item.pfnGetVideoExtra != nullptr))
                verdict.Warn(Format("%s: what %s of %s gives is lost, since there is no %s", NameOf(format).c_str(),
                                    isAudio ? "pfnGetAudioExtra" : "pfnGetVideoExtra", NameOf(item).c_str(),
                                    isAudio ? "pfnSetAudioExtra" : "pfnSetVideoExtra"));
}

void CheckExtraSlots(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    for (const FILEFORMAT_ITEM& format : plugin.Formats().Items()) {
        WarnOfLostExtra(plugin, format, format.pAudioModes, true, verdict);
        WarnOfLostExtra(plugin, format, format.pVideoModes, false, verdict);
    }
}

constexpr Check kChecks[] = {
    {"scan", 2, Stage::kExports, true, "GetEncoders and GetFileFormats return, without an exception.", CheckScan},
    {"record-stride", 2, Stage::kScans, true, "The records lie as far apart as PluginRecords.h says.", CheckStride},
    {"record-end", 2, Stage::kScans, true, "Each array of records ends with dwFourCC 0.", CheckEnds},
    {"four-cc", 2, Stage::kScans, true, "Each FourCC is four printable characters.", CheckFourCCs},
    {"encoder-type", 2, Stage::kScans, true, "Each encoder is for audio or for video.", CheckTypes},
    {"texts", 2, Stage::kScans, false, "Each text ends in its field, and is Unicode without control characters.",
     CheckTexts},
    {"slot-addresses", 2, Stage::kScans, true, "Each slot is null or code.", CheckSlotAddresses},
    {"required-slots", 2, Stage::kScans, true, "The slots that its use requires aren't null.", CheckRequiredSlots},
    {"extra-slots", 2, Stage::kScans, false, "What an encoder gives at the close has a format that takes it.",
     CheckExtraSlots},
};

} // namespace

std::span<const Check> RecordChecks()
{
    return kChecks;
}

} // namespace host
