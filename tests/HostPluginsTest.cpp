// Plug-ins that break the rules: encmgr names them, whatever they do.
#include "tests/HostRun.h"

#include <atomic>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <sys/stat.h>

namespace
{

class HostPluginsTest : public HostTest
{
protected:
    // A folder "<fault>/PlugIns" with the plug-in that has this fault.
    void Install(const std::string& fault) const
    {
        const std::filesystem::path folder = m_folder / fault / "PlugIns";
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(ENCMGR_BAD_PLUGIN, folder / ("wp" + fault + ".dylib"));
    }

    std::string Plugin(const std::string& fault) const { return Path(fault + "/PlugIns/wp" + fault + ".dylib"); }

    // Copies the good one with each of the bytes replaced.
    void Patch(const std::string& name, const std::string& from, const std::string& to) const
    {
        std::ifstream in(ENCMGR_BAD_PLUGIN, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        for (size_t at = 0; !from.empty() && (at = bytes.find(from, at)) != std::string::npos; at += to.size())
            bytes.replace(at, to.size(), to);
        std::ofstream(Path(name), std::ios::binary) << bytes;
    }

    // What "encmgr validate" finds: "id outcome: text" of each check that has neither passed nor been skipped, with the
    // first text and how many more there are. Digits of what changes are cut out.
    std::string Findings(const std::string& arguments, const std::string& errors = "errors") const
    {
        // Of some, what they leak is the fault.
        std::string said;
        const int code = Shell(
            "ASAN_OPTIONS=detect_leaks=0 encmgr validate --json " + arguments + " 2>" + errors + " </dev/null", said);
        const auto json = nlohmann::json::parse(said, nullptr, false);
        if (json.is_discarded())
            return "no JSON: " + said;
        std::string findings;
        for (const auto& check : json["files"][0]["checks"])
            if (const std::string outcome = check["outcome"]; outcome != "passed" && outcome != "skipped")
                findings += (findings.empty() ? "" : ", ") + check["id"].get<std::string>() + " " + outcome + ": " +
                            check["texts"][0].get<std::string>() +
                            (check["texts"].size() > 1 ? " +" + std::to_string(check["texts"].size() - 1) : "");
        for (const auto& [what, with] : {std::pair(m_folder.string(), "HERE"),
                                         {"0x[0-9a-f]{12,}|(?:takes|keeps|leaves|open) [0-9]+|C;LC_.*(?= now)", "N"},
                                         {"^(threads .*\\)) while .*", "$1"}}) // threads are in any slot
            findings = std::regex_replace(findings, std::regex(what), with);
        EXPECT_EQ(code, json["files"][0]["isGood"] ? 0 : 1) << arguments;
        return findings;
    }

    // Of each fault, several at once: the options of "encmgr validate", and what it finds.
    struct Fault {
        const char* name;
        const char* findings;
        const char* only = "";
    };
    void ExpectFindings(const std::vector<Fault>& faults, const std::string& options) const
    {
        std::atomic<size_t> next = 0;
        const auto work = [&] {
            for (size_t i; (i = next++) < faults.size();) {
                const auto& [name, findings, only] = faults[i];
                Install(name);
                EXPECT_EQ(Findings(options + " -t '" + only + "' " + Plugin(name), std::string(name) + ".errors"),
                          findings)
                    << name;
            }
        };
        std::vector<std::future<void>> workers(3);
        for (auto& worker : workers)
            worker = std::async(std::launch::async, work);
    }
};

} // namespace

TEST_F(HostPluginsTest, TheOneThatEndsTheProgramIsNamed)
{
    const struct {
        const char* fault;
        const char* command;
        int code;
        const char* said;
    } cases[] = {
        {"exit-in-scan", "list", 10, "has ended the program while it was loaded"},
        {"_exit-in-scan", "list", 10, "has ended the program while it was loaded"},
        {"crash-in-scan", "list; (exit $?)", 128 + 6, "(SIGABRT) while it was loaded"},
#ifndef __SANITIZE_ADDRESS__ // which takes this signal itself
        {"overflow-in-scan", "list; (exit $?)", 128 + 11, "(SIGSEGV) while it was loaded"},
#endif
        {"hang-in-scan", "list", 130, "interrupted while the plug-in"},
        {"exit-in-slot", "encode testcard:seconds=1,size=160x90 -o a.bad", 10, "has ended the program"},
        {"good", "encode testcard:seconds=1,size=160x90 -o a.bad", 0, "a.bad: 25 pictures"},
    };
    for (const auto& [fault, command, code, said] : cases) {
        Install(fault);
        const bool hangs = std::string(fault) == "hang-in-scan";
        EXPECT_EQ(Run(std::string("--plugins ") + fault + " " + command,
                      hangs ? "timeout --preserve-status -s INT 1" : "true;"),
                  code)
            << fault << m_said;
        EXPECT_TRUE(Said(said)) << m_said;
        EXPECT_EQ(Said("wp" + std::string(fault) + ".dylib"), code != 0) << m_said;
    }
    for (const auto& entry : std::filesystem::directory_iterator(m_folder))
        EXPECT_EQ(entry.path().string().find(".part-"), std::string::npos) << entry.path();
}

TEST_F(HostPluginsTest, ThoseThatWouldEndTheProgramAreLeftOut)
{
    for (const std::string fault : {"good", "exit-in-scan", "_exit-in-scan", "crash-in-scan", "throw-in-scan"}) {
        Install(fault);
        std::filesystem::create_directories(m_folder / "all" / "PlugIns");
        std::filesystem::copy_file(Plugin(fault), m_folder / "all" / "PlugIns" / ("wp" + fault + ".dylib"));
    }
    ASSERT_EQ(Run("--plugins all list --check-plugins"), 0) << m_said;
    for (const std::string fault : {"wpexit", "wp_exit", "wpcrash"})
        EXPECT_TRUE(Said("the plug-in all/PlugIns/" + fault + "-in-scan.dylib is left out: it has ")) << m_said;
    EXPECT_TRUE(Said("[all/PlugIns/wpthrow-in-scan.dylib] has thrown in GetEncoders: bad.")) << m_said;
    EXPECT_TRUE(Said("\nBAD   Bad file")) << m_said;
    EXPECT_EQ(Run("--plugins all encode --check-plugins testcard:seconds=1,size=160x90 -o a.bad"), 0) << m_said;
}

TEST_F(HostPluginsTest, TextsThatFillTheirFieldsEndInThem)
{
    Install("full-texts");
    ASSERT_EQ(Run("--plugins full-texts list"), 0);
    const std::string texts = "  " + std::string(63, 'x') + "  " + std::string(127, 'x') + "\n";
    EXPECT_EQ(m_said, "BAD " + texts + "    video  BADV" + texts + "    audio  BADA" + texts);
}

TEST_F(HostPluginsTest, FilesThatAreNoPluginsAreFound)
{
    constexpr char exports[] = "GetEncoderOptions";
    Patch("wpexports.dylib", "Get", "Bet");
    Patch("wpother.dylib", exports, "GetEncoderOptionz");
    Patch("wpclash.dylib", exports, "FCCreateMediaFile");
    Patch("wplinks.dylib", "libstdc++.so.6", "libstdc++.so.0");
    Patch("wpsymbol.dylib", std::string("\0setlocale\0", 11), std::string("\0setlocbad\0", 11));
    Patch("libwpx.so", "", "");
    Patch("WPX.dylib", "", "");
    std::ofstream(Path("wptext.dylib")) << "no library";
    Patch("wpempty.dylib", "", "");
    std::filesystem::resize_file(Path("wpempty.dylib"), 0);
    Patch("wpcut.dylib", "", "");
    std::filesystem::resize_file(Path("wpcut.dylib"), std::filesystem::file_size(ENCMGR_BAD_PLUGIN) - 100);
    // The machine is the 19th byte; of 32 bits the header of another file is enough.
    Patch("wparm.dylib", "", "");
    std::fstream(Path("wparm.dylib"), std::ios::binary | std::ios::in | std::ios::out).seekp(18).put(40);
    std::string header("\177ELF\1\1\1\0\0\0\0\0\0\0\0\0\3\0\3\0\1\0\0\0", 24);
    header += std::string("\0\0\0\0\64\0\0\0\0\0\0\0\0\0\0\0\64\0\40\0\1\0\50\0\0\0\0\0", 28) + std::string(32, '\0');
    std::ofstream(Path("wp32.dylib"), std::ios::binary) << header;
    mkfifo(Path("wppipe.dylib").c_str(), 0600);
    std::filesystem::create_directory(Path("wpfolder.dylib"));

    const std::pair<const char*, const char*> cases[] = {
        {"wpexports.dylib", "exports failed: it exports neither GetEncoders nor GetFileFormats"},
        {"wpother.dylib", "other-exports warning: it exports GetEncoderOptionz, which hosts don't ask for; "
                          "-fvisibility=hidden keeps it in"},
        {"wpclash.dylib", "other-exports failed: it exports FCCreateMediaFile, which the host's process has already"},
        {"wplinks.dylib", "dependencies failed: libstdc++.so.0 isn't found"},
        {"wpsymbol.dylib", "symbols failed: setlocbad is nowhere; is a library missing where the plug-in is linked?"},
        {"libwpx.so", "file-name failed: hosts pass over \"libwpx.so\"; \"wpx.dylib\" would be loaded"},
        {"WPX.dylib", "file-name failed: hosts pass over \"WPX.dylib\"; \"wpX.dylib\" would be loaded"},
        {"wptext.dylib", "shared-library failed: it doesn't begin as an ELF file does"},
        {"wpempty.dylib", "regular-file failed: it is empty"},
        {"wpcut.dylib", "shared-library failed: it is cut off: its header speaks of more than the file holds"},
        {"wparm.dylib", "architecture failed: plug-in for ARM, host for x86-64"},
        {"wp32.dylib", "word-size failed: 32-bit plug-in, 64-bit host"},
        {"wppipe.dylib", "regular-file failed: it is a pipe, and opening one may wait for ever"},
        {"wpfolder.dylib", "regular-file failed: it is a folder"},
        {"wpgone.dylib", "regular-file failed: there is no such file"},
    };
    for (const auto& [file, findings] : cases)
        EXPECT_EQ(Findings("--strictness 2 --in-process " + std::string(file)), findings) << file;
    Patch("wpgood.dylib", "", "");
    EXPECT_EQ(Run("--plugins . -v list"), 0) << "a scan goes on";
    EXPECT_TRUE(Said("BAD   Bad file")) << m_said;
    for (const char* file : {"text", "empty", "arm", "32", "links", "pipe", "folder"})
        EXPECT_TRUE(Said("***Failed to Load Plugin[./wp" + std::string(file) + ".dylib]")) << file << m_said;
    EXPECT_EQ(Run("validate --strictness 1 -t 'name|word' wptext.dylib"), 1);
    EXPECT_EQ(m_said, "wptext.dylib\n  failed    1  shared-library  it doesn't begin as an ELF file does\n"
                      "  skipped   1  word-size       it needs shared-library to pass\n"
                      "  not good: 3 checks, 1 passed, 1 skipped, 1 failed\n");
}

// Each fault is found by one check, and hardly disturbs the others.
TEST_F(HostPluginsTest, EachFaultIsFoundByItsCheck)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "processes with the sanitizer start too slowly for the checks' time limits";
#endif
    const std::vector<Fault> faults = {
        {"good", ""},
        {"throw-in-scan", "scan failed: an exception left it: bad"},
        {"stride", "record-stride failed: ENCODER_ITEM is 840 bytes, but the second record lies 848 behind the first; "
                   "is the plug-in built with another PluginRecords.h?"},
        {"endless", "record-end failed: behind record 2 of GetEncoders comes neither another nor dwFourCC 0"},
        {"four-cc", "four-cc failed: encoder BAD?: 0x01444142 isn't four characters from space to tilde"},
        {"type", "encoder-type failed: encoder BADV: nType 2 is neither audio nor video"},
        {"full-texts", "texts failed: encoder BADV: szName fills all its 64 characters, without a 0 at the end +6"},
        {"text", "texts failed: format BAD: szName holds a value that is no Unicode character"},
        {"control", "texts failed: format BAD: szName holds a control character"},
        {"wild-slot", "slot-addresses failed: encoder BADV: pfnDestroy is N, where no code lies +1"},
        {"no-encode", "required-slots failed: encoder BADV: pfnEncode is null +1"},
        {"no-set-extra", "extra-slots warning: format BAD: what pfnGetVideoExtra of encoder BADV gives is lost, since "
                         "there is no pfnSetVideoExtra"},
        {"endless-modes",
         "mode-list-end failed: format BAD: pVideoModes: behind entry 1 comes neither another nor dwFourCC 0"},
        {"wrong-list", "listed-encoders failed: format BAD: pVideoModes: BADA is an encoder of the other kind"},
        {"absent", "listed-encoders warning: format BAD: pVideoModes: 1111 is in no plug-in of the folder"},
        {"slow", "scan-time failed: it N ms, and each start of a host waits for it", "scan"},
        {"file", "load-files failed: it leaves N -> /dev/null"},
        {"no-encoder", "jobs failed: BAD with BADV and BADA: a stream is lost: pfnCreate of BADA returns 0 +2"},
        {"empty-file", "jobs failed: BAD with BADV and BADA: there is no file, or an empty one +2"},
        {"calls-library", "slot-order failed: BAD with BADV and BADA: pfnReviseVideo of BADV is called out of its "
                          "order; does a slot call the library?"},
        {"loses-picture", "frames-out failed: BAD with BADV and BADA: 3 of 30 pictures are in the file"},
        {"loses-sound", "frames-out failed: BAD with BADV and BADA: 600 ms of 1200 ms of sound are in the file"},
        {"odd-results", "write-results failed: BAD with BADV and BADA: a write slot returns -1"},
        {"silent", "failures-told warning: pfnCreate of BAD fails without a word in the log"},
        {"takes-any", "revise-video failed: BADV takes -2147483648x240, 25 fps, 400000 bit/s and leaves "
                      "-2147483648x240, 25 fps, 400000 bit/s: a picture without an area +13"},
        {"six-channels", "revise-audio failed: BADA takes -2147483648 Hz, 2 channels, 16 bits, 128000 bit/s and leaves "
                         "-2147483648 Hz, 6 channels, 16 bits, 128000 bit/s: no usable sample rate +5"},
        {"restless", "revise-twice failed: BADV: of 320x1, 25 fps, 400000 bit/s it makes 318x1, 25 fps, 400000 bit/s, "
                     "and of that 316x1, 25 fps, 400000 bit/s +24"},
        {"throw-in-revise", "no-exceptions failed: an exception leaves pfnReviseVideo of BADV"},
        {"throw-in-sound", "no-exceptions failed: an exception leaves pfnReviseAudio of BADA"},
        {"throw-in-encode", "no-exceptions failed: an exception leaves pfnEncode of BADV"},
        {"shared-state",
         "interleaved-jobs warning: BAD with BADV and BADA: two jobs at a time leave other files than one after "
         "another; do they share something? (Encoders with threads of their own may not be exact.)"},
        {"leaks-file", "job-growth failed: BAD with BADV and BADA: each job leaves files open: 5 after 5 of them"},
        {"no-odd", "odd-sizes failed: BAD with BADV, 1x1: the revise slot takes the size, and then a stream is lost: "
                   "pfnCreate of BADV returns 0 +4"},
        {"no-pitch",
         "wide-pitch failed: BAD with BADV and BADA: pictures with a pitch wider than they are come out otherwise"},
        {"loses-errno",
         "write-errno failed: BAD with BADV and BADA: the system says \"File too large\", and errno \"Success\""},
#ifndef __SANITIZE_ADDRESS__ // whose memory malloc doesn't count
        {"leaks-by-job", "job-growth failed: BAD with BADV and BADA: each job N bytes"},
        {"leaks-by-frame", "frame-growth failed: BAD with BADV and BADA: each frame N bytes"},
#endif
    };
    ExpectFindings(faults, "--strictness 9 --in-process");
}

TEST_F(HostPluginsTest, WhatAPluginHidesIsFound)
{
    Install("twice");
    for (const char* other : {"wpthrow-in-scan.dylib", "wpgood.dylib"})
        Patch("twice/PlugIns/" + std::string(other), "", "");
    EXPECT_EQ(Findings("--strictness 3 --in-process " + Plugin("twice")),
              "duplicates failed: encoder BADV is there twice; jobs only ever take the first, hidden-records warning: "
              "encoder BADV is in wpgood.dylib, too; the one that is found first hides the other +2");
    EXPECT_EQ(Shell("mkdir tmp && TMPDIR=$PWD/tmp encmgr validate -t ^jobs " + Plugin("twice") + "; rmdir tmp"), 0)
        << "a check leaves files behind" << m_said;
}

TEST_F(HostPluginsTest, TheDocumentHasEveryCheck)
{
    std::ifstream stream(ENCMGR_SOURCES "/docs/validate.md");
    const std::string document((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    ASSERT_EQ(Run("validate --list --strictness 10"), 0);
    std::istringstream lines(m_said);
    std::string level, id, sentence;
    while (lines >> level >> id && std::getline(lines >> std::ws, sentence))
        EXPECT_NE(document.find("| " + level + " | `" + id + "` | " + sentence + " |"), std::string::npos) << id;
}

TEST_F(HostPluginsTest, WhatEndsAProcessIsFoundByItsCheck)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "processes with the sanitizer start too slowly for the checks' time limits";
#endif
    const std::vector<Fault> faults = {
        {"exit-in-scan", "loads crashed: it has ended the program", "loads"},
        {"hang-in-scan", "loads crashed: it hasn't come back within 4000 ms", "loads"},
        {"locale", "load-locale failed: the locale was C and is LC_CTYPE=N now", "^load-"},
        {"rounding", "load-floating-point failed: the rounding of doubles is another now", "^load-"},
        {"signal", "load-signals failed: another handler stands for SIGUSR1", "^load-"},
        {"environment", "load-settings failed: the environment is another now: BAD=1", "^load-"},
        {"exit-in-slot", "jobs crashed: it has ended the program while pfnEncode of BADV was called", "jobs"},
        {"hang-in-encode", "jobs crashed: it hasn't come back within 4000 ms while pfnEncode of BADV was called",
         "jobs"},
        {"crash-in-encode", "jobs crashed: it has crashed (SIGSEGV) while pfnEncode of BADV was called", "jobs"},
        {"crash-when-empty",
         "empty-jobs crashed: it has crashed (SIGFPE) while BAD with BADV and BADA was closed, "
         "pfnClose of BAD was called",
         "^empty-jobs"},
        {"null-callback",
         "null-callback crashed: it has crashed (SIGSEGV) while BAD with BADV and BADA was closed, "
         "pfnClose of BAD was called",
         "^null-callback"},
        {"crash-in-revise",
         "revise-video crashed: it has crashed (SIGFPE) while pfnReviseVideo of BADV was called: bad: no such picture",
         "revise-video|jobs"},
        {"one-thread", "threads crashed: it has crashed (SIGFPE)", "threads|jobs"},
        {"reads-beyond", "frame-bounds crashed: it has crashed (SIGSEGV) while pfnEncode of BADV was called",
         "frame|jobs"},
        {"reads-before", "frame-bounds crashed: it has crashed (SIGSEGV) while pfnEncode of BADV was called",
         "frame|jobs"},
        {"writes-frame", "frame-const crashed: it has crashed (SIGSEGV) while pfnEncode of BADV was called",
         "frame|jobs"},
        {"keeps-frame", "frame-kept crashed: it has crashed (SIGSEGV) while pfnEncode of BADV was called",
         "frame|jobs"},
    };
    ExpectFindings(faults, "--strictness 9 --timeout-ms 4000");
}

// All that a plug-in is given, from its loading to its last frame, summed up for each check.
TEST_F(HostPluginsTest, EachCheckCallsAsItAlwaysDid)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer makes it last for minutes";
#endif
    Install("traces");
    ASSERT_EQ(
        Shell("for id in jobs slot-order frames-out null-callback empty-jobs failures-told revise-video revise-audio "
              "revise-twice no-exceptions interleaved-jobs reload job-growth frame-bounds frame-const odd-sizes "
              "wide-pitch size-limit bad-path frame-growth random-jobs; do encmgr validate --in-process "
              "--strictness 10 --seed 7 --timeout-ms 4000 -t ^$id'$' traces/PlugIns/*.dylib 2>&1 >/dev/null | "
              "grep ^trace | head -n 300 | cksum | cut -d' ' -f1 | sed \"s/$/ $id/\"; done"),
        0);
    EXPECT_EQ("\n" + m_said, R"(
845360265 jobs
4208745466 slot-order
3837523086 frames-out
3268374771 null-callback
892027849 empty-jobs
920234363 failures-told
3471646208 revise-video
547320602 revise-audio
2574595724 revise-twice
2475402129 no-exceptions
3876271721 interleaved-jobs
2693123880 reload
3508171516 job-growth
2830653467 frame-bounds
2249043519 frame-const
773966982 odd-sizes
3403863397 wide-pitch
2055391453 size-limit
1718565062 bad-path
1710209246 frame-growth
1124340020 random-jobs
)");
}
