#include "encmgr/EncMgr.h"
#include "plugin_host/PluginMgr.h"
#include "tests/Harness.h"

#include <cstring>
#include <fstream>

namespace
{

namespace fs = std::filesystem;

constexpr int A = ENCODER_TYPE_AUDIO, V = ENCODER_TYPE_VIDEO;
constexpr ENCODER_MODE kAudio[] = {{FourCC("AAC "), 0}, {FourCC("gone"), 0}, {FourCC("MP3 "), 1}, {}};
constexpr ENCODER_MODE kVideo[] = {{FourCC("H264"), 0}, {}};
constexpr ENCODER_MODE kGone[] = {{FourCC("gone"), 0}, {}};

const Plugin kEncoders{Exports::encoders, {Encoder(A, "MP3 "), Encoder(A, "AAC ")}, {}};
const Plugin kFormats{Exports::formats, {}, {Format("MP4 ", kAudio, kVideo)}};

// The public table: per format its code, audio encoders and video encoders.
std::string Table()
{
    const auto text = [](KXDWORD code) { return std::string(reinterpret_cast<const char*>(&code), 4); };
    std::string table;
    for (const FILEFORMAT_INFO* p = FCGetFileFormatInfos(); p && p->dwFourCC; ++p) {
        table += text(p->dwFourCC) + " audio";
        for (int i = 0; i < p->nAudioEncoders; ++i)
            table += " " + text(p->ppAudioEncoders[i]->dwFourCC);
        table += " video";
        for (int i = 0; i < p->nVideoEncoders; ++i)
            table += " " + text(p->ppVideoEncoders[i]->dwFourCC);
        table += "\n";
    }
    return table;
}

using ScanTest = PluginTest;

TEST_F(ScanTest, OnlyPluginNamesAreLoaded)
{
    for (const char* name :
         {"WPx.dylib", "wqx.dylib", "wpx.DYLIB", "wpx.dylib.old", "wpx.dylibs", "xwp.dylib", "wpx", "wp.dylib"})
        InstallAs(name, kEncoders);
    EXPECT_EQ(FCInitPlugins(), 1);
    EXPECT_EQ(Trace(), "log FCInitPlugins\n"
                       "load <app>/PlugIns/wp.dylib\n"
                       "GetEncoders <app>/PlugIns/wp.dylib\n"
                       "log Found Encoder Plugin[MP3 ][<app>/PlugIns/wp.dylib].\n"
                       "log Found Encoder Plugin[AAC ][<app>/PlugIns/wp.dylib].\n"
                       "log End of InitPlugins()\n");
}

TEST_F(ScanTest, RefusedPluginsAreReportedAndTheScanGoesOn)
{
    Install({{Exports::garbage}, {Exports::none}, {Exports::nulls}, {Exports::both}, kEncoders});
    EXPECT_EQ(PluginMgr::InitPlugins(), 1);
    EXPECT_EQ(Trace(), "log ***Failed to Load Plugin[<1>].\n"
                       "log <1>: file too short\n"
                       "load <2>\n"
                       "log <2>: undefined symbol: GetFileFormats\n"
                       "unload <2>\n"
                       "log ***Without Plugin Info in [<2>]\n"
                       "load <3>\nGetEncoders <3>\nGetFileFormats <3>\n"
                       "log \nunload <3>\nlog ***Without Plugin Info in [<3>]\n"
                       "load <4>\nGetEncoders <4>\nGetFileFormats <4>\n"
                       "log \nunload <4>\nlog ***Without Plugin Info in [<4>]\n"
                       "load <5>\nGetEncoders <5>\n"
                       "log Found Encoder Plugin[MP3 ][<5>].\n"
                       "log Found Encoder Plugin[AAC ][<5>].\n"
                       "log End of InitPlugins()\n");
    EXPECT_EQ(PluginMgr::m_arModule.size(), 1u);
    EXPECT_EQ(FCGetFileFormatInfos(), nullptr);
    EXPECT_EQ(PluginMgr::m_pEncInfo[1].dwFourCC, FourCC("AAC "));
}

TEST_F(ScanTest, CatalogueIsRebuiltAndEmptied)
{
    Install({kFormats, {Exports::both, {Encoder(V, "H264"), Encoder(A, "AAC ")}, {Format("AVI ", kAudio, nullptr)}}});
    EXPECT_EQ(FCGetFileFormatInfos(), nullptr);
    ASSERT_EQ(FCInitPlugins(), 1);
    EXPECT_EQ(Table(), "MP4  audio AAC  video H264\nAVI  audio AAC  video\n");
    Trace();
    ASSERT_EQ(FCInitPlugins(), 1);
    EXPECT_EQ(Table(), "MP4  audio AAC  video H264\nAVI  audio AAC  video\n");
    FCUninitPlugins();
    EXPECT_EQ(FCGetFileFormatInfos(), nullptr);
    EXPECT_TRUE(PluginMgr::m_arEncoder.empty() && PluginMgr::m_arFileFormat.empty());
    EXPECT_EQ(Trace(), "log FCInitPlugins\nunload <1>\nunload <2>\n"
                       "load <1>\nGetFileFormats <1>\n"
                       "log Found File Format Plugin[MP4 ][<1>].\n"
                       "load <2>\nGetEncoders <2>\n"
                       "log Found Encoder Plugin[H264][<2>].\n"
                       "log Found Encoder Plugin[AAC ][<2>].\n"
                       "GetFileFormats <2>\n"
                       "log Found File Format Plugin[AVI ][<2>].\n"
                       "log End of InitPlugins()\n"
                       "unload <1>\nunload <2>\nlog FCUninitPlugins\n");
    FCUninitPlugins();
    EXPECT_EQ(Trace(), "log FCUninitPlugins\n");
}

TEST_F(ScanTest, TableHoldsFormatsWithPresentEncodersInTheListsOrder)
{
    Install({{Exports::formats,
              {},
              {Format("gon1", kGone, nullptr), Format("MP4 ", kAudio, kVideo), Format("none", nullptr, nullptr),
               Format("MKV ", kGone, kVideo)}},
             {Exports::encoders, {Encoder(A, "MP3 "), Encoder(V, "H264"), Encoder(A, "AAC ")}, {}}});
    ASSERT_EQ(FCInitPlugins(), 1);
    EXPECT_EQ(Table(), "MP4  audio AAC  MP3  video H264\nMKV  audio video H264\n");
    EXPECT_EQ(FindFileFormat(PluginMgr::m_arFileFormat, FourCC("none")), &PluginMgr::m_arFileFormat[2]);
    EXPECT_EQ(FindFileFormat(PluginMgr::m_arFileFormat, FourCC("AAC ")), nullptr);

    const FILEFORMAT_INFO& mp4 = FCGetFileFormatInfos()[0];
    EXPECT_EQ(std::wstring(mp4.szShortName) + mp4.szName + mp4.szDescription, L"shortnamedescription");
    EXPECT_EQ(std::wstring(mp4.ppAudioEncoders[0]->szName) + mp4.ppAudioEncoders[0]->szDescription, L"namedescription");
    // The slots of the formats that were left out end the table.
    for (int i = 2; i <= 4; ++i)
        EXPECT_EQ(FCGetFileFormatInfos()[i].dwFourCC, 0u);
}

TEST_F(ScanTest, FormatsWithoutAnyEncoderGiveAnEmptyTable)
{
    Install({kFormats});
    ASSERT_EQ(FCInitPlugins(), 1);
    ASSERT_NE(FCGetFileFormatInfos(), nullptr);
    EXPECT_EQ(FCGetFileFormatInfos()->dwFourCC, 0u);
    EXPECT_EQ(PluginMgr::m_pEncInfo, nullptr);
}

TEST_F(ScanTest, FirstOfTwoRecordsWithOneCodeIsFound)
{
    ENCODER_ITEM other = Encoder(V, "AAC ");
    wcscpy(other.szName, L"other");
    Install(
        {{Exports::encoders, {Encoder(A, "AAC ")}, {}}, {Exports::both, {other}, {Format("MP4 ", kAudio, nullptr)}}});
    ASSERT_EQ(FCInitPlugins(), 1);
    EXPECT_EQ(Table(), "MP4  audio AAC  video\n");
    EXPECT_EQ(FCGetFileFormatInfos()->ppAudioEncoders[0], PluginMgr::m_pEncInfo);
    EXPECT_EQ(FindEncoderInfo(PluginMgr::m_arEncoder, FourCC("AAC ")), &PluginMgr::m_arEncoder[0]);
    EXPECT_STREQ(PluginMgr::m_pEncInfo[1].szName, L"other");
}

TEST_F(ScanTest, FolderThatIsMissingOrEmpty)
{
    ASSERT_EQ(FCInitPlugins(), 1);
    EXPECT_EQ(Trace(), "log FCInitPlugins\nlog End of InitPlugins()\n");
    Install({kEncoders});
    ASSERT_EQ(FCInitPlugins(), 1);
    Trace();
    m_app /= "gone";
    EXPECT_EQ(FCInitPlugins(), 0);
    EXPECT_EQ(Trace(), "log FCInitPlugins\n"
                       "unload <1>\n"
                       "log PluginMgr::InitPlugins() Failed to open the plugin path[<app>/gone/PlugIns/]\\r\\n\n");
    EXPECT_TRUE(PluginMgr::m_arEncoder.empty());
}

// A folder is taken up to 511 bytes with its "/PlugIns/", a file up to 511 bytes in all.
TEST_F(ScanTest, PathsThatDontFitAreRefused)
{
    const auto folderOf = [&](size_t bytes) {
        std::string path = m_temporary.string();
        while (path.size() < bytes)
            path += (path.size() % 100 == 0 ? "/" : "x");
        return fs::path(path.back() == '/' ? path.substr(0, bytes - 1) + "y" : path);
    };
    for (const auto& [bytes, result] : {std::pair(511u - 9, 1), std::pair(511u - 8, 0), std::pair(600u, 0)}) {
        m_app = folderOf(bytes);
        fs::create_directories(m_app / "PlugIns");
        EXPECT_EQ(PluginMgr::InitPlugins(), result) << bytes;
    }
    m_app = folderOf(511 - 9 - 10);
    fs::create_directories(m_app / "PlugIns");
    InstallAs("wp.8.dylib", kEncoders);
    Trace();
    EXPECT_EQ(PluginMgr::InitPlugins(), 1);
    EXPECT_EQ(PluginMgr::m_arEncoder.size(), 2u);
    fs::rename(m_app / "PlugIns" / "wp.8.dylib", m_app / "PlugIns" / "wp.89.dylib");
    PluginMgr::UninitPlugins();
    Trace();
    EXPECT_EQ(PluginMgr::InitPlugins(), 1);
    std::string folder = m_app.string().replace(0, m_temporary.string().size(), "<app>");
    EXPECT_EQ(Trace(), "log ***Failed to Load Plugin[" + folder + "/PlugIns/wp.89.dylib].\nlog End of InitPlugins()\n");
}

} // namespace
