// The catalogue of plug-ins whose records come from the input, against a list made by hand.
#include "encmgr/EncMgr.h"
#include "encmgr/Export.h"
#include "encmgr/Log.h"
#include "fuzz/FuzzInput.h"
#include "text/Strings.h"

#include <filesystem>
#include <map>
#include <stdexcept>

namespace
{

namespace fs = std::filesystem;

struct Offer {
    std::vector<ENCODER_ITEM> encoders;
    std::vector<FILEFORMAT_ITEM> formats;
    std::vector<std::vector<ENCODER_MODE>> modes;
    bool throws = false;
};
std::map<std::string, Offer> g_offers; // by the path of the plug-in

// A folder with some copies of the same plug-in, which asks by its own name for what it offers.
const fs::path& Folder()
{
    static const fs::path folder = [] {
        std::string name = (fs::temp_directory_path() / "catalogue-XXXXXX").string();
        Expect(mkdtemp(name.data()) != nullptr, "mkdtemp");
        fs::create_directory(fs::path(name) / "PlugIns");
        for (const char* file : {"wpA.dylib", "wpB.dylib", "wpC.dylib", "xpD.dylib", "wpE.so"})
            fs::copy_file(FAKE_PLUGIN, fs::path(name) / "PlugIns" / file);
        fs::create_directory(fs::path(name) / "PlugIns" / "wpF.dylib"); // no regular file
        std::atexit([] { fs::remove_all(Folder()); });
        return fs::path(name);
    }();
    return folder;
}

// Few, so that many are alike.
KXDWORD AnyFourCC(FuzzInput& input)
{
    return static_cast<KXDWORD>(input.Random(0, 15) ? input.Random(1, 6) : input.Random(1, INT_MAX));
}

// Full fields, without a terminator at times.
template <size_t Size> void FillText(FuzzInput& input, wchar_t (&field)[Size])
{
    std::fill_n(field, input.Random(0, 1) ? Size : input.Random(0, Size), static_cast<wchar_t>(input.Raw<uint16_t>()));
}

Offer AnyOffer(FuzzInput& input)
{
    Offer offer;
    for (int i = input.Random(0, 5); i > 0; --i) {
        ENCODER_ITEM& item = offer.encoders.emplace_back();
        item.dwFourCC = AnyFourCC(input);
        item.nType = input.Hostile(0);
        FillText(input, item.szName);
        FillText(input, item.szDescription);
    }
    for (int i = input.Random(0, 5); i > 0; --i) {
        FILEFORMAT_ITEM& item = offer.formats.emplace_back();
        item.dwFourCC = AnyFourCC(input);
        FillText(input, item.szShortName);
        for (const ENCODER_MODE** modes : {&item.pAudioModes, &item.pVideoModes}) {
            if (input.Random(0, 3) == 0)
                continue;
            std::vector<ENCODER_MODE>& list = offer.modes.emplace_back();
            for (int k = input.Random(0, 4); k > 0; --k)
                list.push_back({AnyFourCC(input), 0});
            list.push_back({});
            *modes = list.data();
        }
    }
    offer.encoders.push_back({});
    offer.formats.push_back({});
    offer.throws = input.Random(0, 15) == 0;
    return offer;
}

// What the catalogue says, in the order in which the files were loaded: each format that has an encoder, with those of
// its lists that are there.
std::string Expected(const std::vector<std::string>& order)
{
    std::vector<KXDWORD> encoders;
    std::string text;
    for (const std::string& file : order)
        for (const ENCODER_ITEM& item : g_offers[file].encoders)
            if (item.dwFourCC && !g_offers[file].throws)
                encoders.push_back(item.dwFourCC);
    for (const std::string& file : order)
        for (const FILEFORMAT_ITEM& item : g_offers[file].formats) {
            std::string lists;
            for (const ENCODER_MODE* mode : {item.pAudioModes, item.pVideoModes}) {
                for (; mode && mode->dwFourCC; ++mode)
                    if (std::find(encoders.begin(), encoders.end(), mode->dwFourCC) != encoders.end())
                        lists += " " + std::to_string(mode->dwFourCC);
                lists += ";";
            }
            if (item.dwFourCC && !g_offers[file].throws && lists != ";;")
                text += std::to_string(item.dwFourCC) + ":" + lists + "\n";
        }
    return text;
}

std::string Made()
{
    std::string text;
    for (const FILEFORMAT_INFO* info = FCGetFileFormatInfos(); info && info->dwFourCC; ++info) {
        text += std::to_string(info->dwFourCC) + ":";
        for (int i = 0; i < info->nAudioEncoders; ++i)
            text += " " + std::to_string(info->ppAudioEncoders[i]->dwFourCC);
        text += ";";
        for (int i = 0; i < info->nVideoEncoders; ++i)
            text += " " + std::to_string(info->ppVideoEncoders[i]->dwFourCC);
        text += ";\n";
    }
    return text;
}

std::vector<std::string> g_loaded; // in the order of loading
int g_open = 0;

} // namespace

// ---- what the plug-ins ask for ----

extern "C" ENCMGR_API void FakeTrace(const char* pszFile, const char* pszText)
{
    const bool isLoad = *pszText == 'l';
    if (isLoad)
        g_loaded.emplace_back(pszFile);
    g_open += isLoad ? 1 : -1;
}

extern "C" ENCMGR_API const ENCODER_ITEM* FakeGetEncoders(const char* pszFile)
{
    const Offer& offer = g_offers.at(pszFile);
    return offer.throws ? throw std::runtime_error("by the script") : offer.encoders.data();
}

extern "C" ENCMGR_API const FILEFORMAT_ITEM* FakeGetFileFormats(const char* pszFile)
{
    const Offer& offer = g_offers.at(pszFile);
    return offer.throws ? throw std::runtime_error("by the script") : offer.formats.data();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    KXLogSetSink([](void*, const wchar_t*) {}, nullptr);
    KXLogSetAppPath(Folder().wstring().c_str());
    g_offers.clear();
    for (const char* file : {"wpA.dylib", "wpB.dylib", "wpC.dylib"})
        g_offers[(Folder() / "PlugIns" / file).string()] = AnyOffer(input);
    g_loaded.clear();
    Expect(FCInitPlugins() == 1 && g_loaded.size() == 3, "the plug-ins aren't loaded");
    const std::string made = Made(), expected = Expected(g_loaded);
    ExpectNone(made == expected ? "" : "made:\n" + made + "expected:\n" + expected);
    const auto isKept = [](const auto& file) {
        const auto& [path, offer] = file;
        return !offer.throws && offer.encoders.size() + offer.formats.size() > 2;
    };
    Expect(g_open == std::count_if(g_offers.begin(), g_offers.end(), isKept), "a plug-in without records stays, or a "
                                                                              "needed one goes");
    FCUninitPlugins();
    Expect(g_open == 0, "a plug-in stays");
    Expect(!FCGetFileFormatInfos(), "formats stay");
    return 0;
}
