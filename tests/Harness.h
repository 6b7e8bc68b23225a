// Tests with plug-ins. All that the library does to its plug-ins and its log becomes one text, line by line
// in the order of the calls. The files in a test's PlugIns folder are shims that come back to the test
// program, so a test scripts its plug-ins with plain objects.
#ifndef ENCMGR_TESTS_HARNESS_H
#define ENCMGR_TESTS_HARNESS_H

#include "encmgr/PluginRecords.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

constexpr KXDWORD FourCC(const char (&text)[5])
{
    return KX_FOURCC(text[0], text[1], text[2], text[3]);
}

// both; without GetFileFormats; without GetEncoders; neither; both, but they return null; no shared library
// at all
enum class Exports { both, encoders, formats, none, nulls, garbage };

// What one plug-in file offers. The arrays are ended by the harness.
struct Plugin {
    Exports exports = Exports::both;
    std::vector<ENCODER_ITEM> encoders = {};
    std::vector<FILEFORMAT_ITEM> formats = {};
};

// Records whose slots are all set and write a line each, which begins with the name of the handle that the
// slot received: "video.encode 640x480 ...". Encoders leave (161, 162) for audio and 177 for video; the write
// slots return the two results.
constexpr int kAudioResult = 5, kVideoResult = 7;
ENCODER_ITEM Encoder(int nType, const char (&fourCC)[5]);
FILEFORMAT_ITEM Format(const char (&fourCC)[5], const ENCODER_MODE* pAudioModes, const ENCODER_MODE* pVideoModes);

// What the slots do beside writing their lines.
struct Script {
    std::set<KXDWORD> failing = {}; // codes whose pfnCreate returns null
    std::function<int(EncodeParam&)> reviseVideo = [](EncodeParam&) { return 1; };
    std::function<int(EncodeParamAudio&)> reviseAudio = [](EncodeParamAudio&) { return 1; };
    int delay = 0;
};

class PluginTest : public testing::Test
{
protected:
    PluginTest();
    ~PluginTest() override;

    // Puts plug-ins into the folder so that its listing yields them in this order, and empties the catalogue
    // and the trace. Traces call them <1>, <2> and so on, wherever they hold the full path.
    void Install(const std::vector<Plugin>& plugins);
    void InstallAs(const std::string& name, const Plugin& plugin);

    // The lines since the last call. Line ends and tabs within a line are spelled out, and the application's
    // folder reads <app>.
    std::string Trace();

    std::filesystem::path& m_app; // the application's folder, with an empty PlugIns in it; may be set anew
    Script& m_script;
    std::filesystem::path m_temporary;
};

#endif // ENCMGR_TESTS_HARNESS_H
