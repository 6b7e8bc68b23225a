// Level 3: the records together, and what loading does to the process.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/Neighbours.h"
#include "host/validate/ProcessState.h"

#include <algorithm>
#include <chrono>
#include <fstream>

namespace host
{

namespace
{

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr nanoseconds kLongestScan = std::chrono::milliseconds(100);

LoadedPlugin Scanned(const Subject& subject)
{
    LoadedPlugin plugin(subject.file);
    plugin.Scan();
    return plugin;
}

struct List {
    std::string name;
    const ENCODER_MODE* modes;
    int type;
};

std::vector<List> ListsOf(const LoadedPlugin& plugin)
{
    std::vector<List> lists;
    for (const FILEFORMAT_ITEM& format : plugin.Formats().Items()) {
        const std::string name = "format " + FourCCText(format.dwFourCC);
        lists.push_back({name + ": pVideoModes", format.pVideoModes, ENCODER_TYPE_VIDEO});
        lists.push_back({name + ": pAudioModes", format.pAudioModes, ENCODER_TYPE_AUDIO});
    }
    return lists;
}

void CheckListEnds(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    for (const List& list : ListsOf(plugin)) {
        bool isEnded = false;
        const auto modes = plugin.Modes(list.modes, isEnded);
        if (!isEnded)
            verdict.Fail(
                Format("%s: behind entry %zu comes neither another nor dwFourCC 0", list.name.c_str(), modes.size()));
        else if (list.modes && modes.empty())
            verdict.Warn(list.name + " is empty; null says that there is no such stream");
    }
}

const ENCODER_ITEM* FindEncoder(const LoadedPlugin& plugin, KXDWORD fourCC)
{
    const auto items = plugin.Encoders().Items();
    const auto found =
        std::find_if(items.begin(), items.end(), [fourCC](const auto& item) { return item.dwFourCC == fourCC; });
    return found == items.end() ? nullptr : &*found;
}

void CheckListedEncoders(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    const std::vector<Neighbour> neighbours = LoadNeighbours(subject.file);
    for (const List& list : ListsOf(plugin)) {
        for (const ENCODER_MODE& mode : plugin.Modes(list.modes)) {
            const ENCODER_ITEM* encoder = FindEncoder(plugin, mode.dwFourCC);
            for (auto other = neighbours.begin(); !encoder && other != neighbours.end(); ++other)
                encoder = FindEncoder(other->plugin, mode.dwFourCC);
            const std::string entry = list.name + ": " + FourCCText(mode.dwFourCC);
            if (!encoder)
                verdict.Warn(entry + " is in no plug-in of the folder");
            else if (encoder->nType != list.type)
                verdict.Fail(entry + " is an encoder of the other kind");
        }
    }
}

template <class Item>
void FailOfRepeats(std::span<const Item> items, const std::string& where, const char* kind, Verdict& verdict)
{
    for (auto item = items.begin(); item != items.end(); ++item)
        if (std::any_of(items.begin(), item, [item](const Item& other) { return other.dwFourCC == item->dwFourCC; }))
            verdict.Fail(Format("%s%s %s is there twice; jobs only ever take the first", where.c_str(), kind,
                                FourCCText(item->dwFourCC).c_str()));
}

void CheckRepeats(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    FailOfRepeats(plugin.Encoders().Items(), "", "encoder", verdict);
    FailOfRepeats(plugin.Formats().Items(), "", "format", verdict);
    for (const List& list : ListsOf(plugin))
        FailOfRepeats(plugin.Modes(list.modes), list.name + ": ", "entry", verdict);
}

template <class Item>
void WarnOfRivals(const RecordArray<Item>& own, const RecordArray<Item>& others, const char* kind,
                  const std::string& name, Verdict& verdict)
{
    for (const Item& item : own.Items())
        for (const Item& other : others.Items())
            if (item.dwFourCC == other.dwFourCC)
                verdict.Warn(Format("%s %s is in %s, too; the one that is found first hides the other", kind,
                                    FourCCText(item.dwFourCC).c_str(), name.c_str()));
}

void CheckRivals(const Subject& subject, Verdict& verdict)
{
    const LoadedPlugin plugin = Scanned(subject);
    for (const Neighbour& other : LoadNeighbours(subject.file)) {
        WarnOfRivals(plugin.Encoders(), other.plugin.Encoders(), "encoder", other.name, verdict);
        WarnOfRivals(plugin.Formats(), other.plugin.Formats(), "format", other.name, verdict);
    }
}

// For which this thread could have run, but for others; 0 where the system doesn't tell.
nanoseconds WaitedForProcessor()
{
    std::ifstream file("/proc/thread-self/schedstat");
    int64_t run = 0, waited = 0;
    file >> run >> waited;
    return nanoseconds(waited);
}

void CheckScanTime(const Subject& subject, Verdict& verdict)
{
    const auto begin = steady_clock::now();
    const nanoseconds waitedBefore = WaitedForProcessor();
    const LoadedPlugin plugin = Scanned(subject);
    const nanoseconds taken = steady_clock::now() - begin - (WaitedForProcessor() - waitedBefore);
    if (taken > kLongestScan)
        verdict.Fail(Format("it takes %d ms, and each start of a host waits for it",
                            static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(taken).count())));
}

using Change = std::string (ProcessState::*)(const ProcessState& before) const;

template <Change change> void CheckChange(const Subject& subject, Verdict& verdict)
{
    const ProcessState before;
    const LoadedPlugin plugin = Scanned(subject);
    if (const std::string text = (ProcessState().*change)(before); !text.empty())
        verdict.Fail(text);
}

constexpr Check kChecks[] = {
    {"mode-list-end", 3, Stage::kRecords, true, "Each list of encoders ends with dwFourCC 0.", CheckListEnds},
    {"listed-encoders", 3, Stage::kRecords, false,
     "The encoders that the formats list are there, and of the right kind.", CheckListedEncoders},
    {"duplicates", 3, Stage::kRecords, false, "No FourCC is there twice.", CheckRepeats},
    {"hidden-records", 3, Stage::kRecords, false, "No other plug-in of the folder has the same FourCC.", CheckRivals},
    {"scan-time", 3, Stage::kRecords, false, "It is loaded and scanned within 100 ms.", CheckScanTime},
    {"load-locale", 3, Stage::kRecords, false, "Loading it leaves the locale alone.",
     CheckChange<&ProcessState::LocaleChange>},
    {"load-floating-point", 3, Stage::kRecords, false, "Loading it leaves the rounding of doubles alone.",
     CheckChange<&ProcessState::FloatingPointChange>},
    {"load-signals", 3, Stage::kRecords, false, "Loading it leaves the handlers of signals alone.",
     CheckChange<&ProcessState::SignalChange>},
    {"load-files", 3, Stage::kRecords, false, "Loading it leaves no file open and closes none.",
     CheckChange<&ProcessState::DescriptorChange>},
    {"load-settings", 3, Stage::kRecords, false,
     "Loading it leaves the working folder, umask and environment alone, and starts no thread that stays.",
     CheckChange<&ProcessState::SettingChange>},
};

} // namespace

std::span<const Check> ListChecks()
{
    return kChecks;
}

} // namespace host
