#include "tests/Harness.h"

#include "encmgr/EncMgr.h"
#include "encmgr/Log.h"
#include "log/WideFormat.h"
#include "text/FourCC.h"
#include "text/Strings.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace
{

struct World {
    std::string trace;
    fs::path app;
    std::map<std::string, Plugin> plugins; // by full path
    std::map<std::string, std::string> labels;
    Script script;
};

// Never destroyed: a plug-in that stayed loaded writes its last line at the program's end.
World& world = *new World;

template <class... Args> std::string Joined(const Args&... args)
{
    std::ostringstream text;
    (text << ... << args);
    return text.str();
}

template <class... Args> void Line(const Args&... args)
{
    world.trace += Joined(args..., "\n");
}

void Replace(std::string& text, const std::string& from, const std::string& to)
{
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

// The slots. Each writes its line; a handle is a pointer to its name.
struct Slots {
    static inline const char *audioHandle = "audio", *videoHandle = "video", *fileHandle = "file";

    static const char* Name(void* pHandle) { return pHandle ? *static_cast<const char**>(pHandle) : "(null)"; }
    static const char* Cleared(bool cleared) { return cleared ? "" : " (not cleared)"; }
    static void* Created(const char*& handle, KXDWORD dwFourCC)
    {
        return world.script.failing.count(dwFourCC) ? nullptr : static_cast<void*>(&handle);
    }

    static std::string Text(KXDWORD dwFourCC)
    {
        wchar_t text[5];
        return text::ShownUtf8(FourCC2StrW(text, dwFourCC));
    }

    static std::string Times(const MEDIA_FRAME& frame)
    {
        return Joined(" at ", frame.llStreamTime, "/", frame.llTimeStamp, " for ", frame.nDuration);
    }

    static std::string AudioText(const MEDIA_FRAME& frame)
    {
        const MEDIA_FRAME_AUDIO& audio = frame.audio;
        const char* pData = static_cast<const char*>(audio.pData);
        const bool silent = std::all_of(pData, pData + audio.nDataSize, [](char byte) { return byte == 0; });
        return Joined(audio.nDataSize, silent ? " silent" : "", " bytes ", audio.nSampleRate, "x", audio.nChannels, "x",
                      audio.nBitsPerSample, " type ", frame.nFrameType, Times(frame));
    }

    static std::string VideoText(const MEDIA_FRAME& frame)
    {
        return Joined(frame.video.nWidth, "x", frame.video.nHeight, Times(frame));
    }

    // What a write slot received: an encoder's value, or a frame of an inline stream.
    static std::string Written(const void* pData, std::string (*pfnText)(const MEDIA_FRAME&))
    {
        const uintptr_t value = reinterpret_cast<uintptr_t>(pData);
        return value < 4096 ? std::to_string(value) : "frame " + pfnText(*static_cast<const MEDIA_FRAME*>(pData));
    }

    static void* CreateAudio(KXDWORD dwFourCC, EncodeParam* pParam)
    {
        Line("audio.create ", Text(dwFourCC), " ", pParam->audio.nSampleRate, " Hz");
        return Created(audioHandle, dwFourCC);
    }

    static void* CreateVideo(KXDWORD dwFourCC, EncodeParam* pParam)
    {
        Line("video.create ", Text(dwFourCC), " ", pParam->video.nWidth, "x", pParam->video.nHeight);
        return Created(videoHandle, dwFourCC);
    }

    static int EncodeAudio(void* hEncoder, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD* pnOut)
    {
        Line(Name(hEncoder), ".encode ", AudioText(*pFrame), Cleared(!*ppOut && !*pnOut));
        *ppOut = reinterpret_cast<void*>(161);
        *pnOut = 162;
        return 0;
    }

    static int EncodeVideo(void* hEncoder, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD* pnOut)
    {
        Line(Name(hEncoder), ".encode ", VideoText(*pFrame), Cleared(!*ppOut && !pnOut));
        *ppOut = reinterpret_cast<void*>(177);
        return 0;
    }

    static int GetDelay(void* hEncoder) { return Line(Name(hEncoder), ".delay"), world.script.delay; }
    static void Destroy(void* hEncoder) { Line(Name(hEncoder), ".destroy"); }

    static void GetAudioExtra(void* hEncoder, void** ppValue1, KXDWORD* pnValue2)
    {
        Line(Name(hEncoder), ".audioExtra", Cleared(!*ppValue1 && !*pnValue2));
        *ppValue1 = reinterpret_cast<void*>(11);
        *pnValue2 = 12;
    }

    static void GetVideoExtra(void* hEncoder, uintptr_t* p1, uintptr_t* p2, uintptr_t* p3, uintptr_t* p4)
    {
        Line(Name(hEncoder), ".videoExtra", Cleared(!*p1 && !*p2 && !*p3 && !*p4));
        *p1 = 21, *p2 = 22, *p3 = 23, *p4 = 24;
    }

    static int ReviseAudio(EncodeParamAudio* p)
    {
        return Line("audio.revise ", Text(p->dwFourCC)), world.script.reviseAudio(*p);
    }
    static int ReviseVideo(EncodeParam* p)
    {
        return Line("video.revise ", Text(p->video.dwFourCC)), world.script.reviseVideo(*p);
    }

    static void* CreateFile(const wchar_t* pszPath, EncodeParam* pParam)
    {
        Line("file.create ", Text(pParam->dwFileFourCC), " ", text::ShownUtf8(pszPath),
             pParam->bVideoDisabled ? " no video" : "", pParam->bAudioDisabled ? " no audio" : "");
        return Created(fileHandle, pParam->dwFileFourCC);
    }

    static int WriteAudio(void* hFile, const void* pData, KXDWORD nData)
    {
        return Line(Name(hFile), ".audio ", Written(pData, AudioText), ", ", nData), kAudioResult;
    }
    static int WriteVideo(void* hFile, const void* pData)
    {
        return Line(Name(hFile), ".video ", Written(pData, VideoText)), kVideoResult;
    }
    static void SetAudioExtra(void* hFile, void* pValue1, KXDWORD nValue2)
    {
        Line(Name(hFile), ".audioExtra ", reinterpret_cast<uintptr_t>(pValue1), " ", nValue2);
    }
    static void SetVideoExtra(void* hFile, uintptr_t n1, uintptr_t n2, uintptr_t n3, uintptr_t n4)
    {
        Line(Name(hFile), ".videoExtra ", n1, " ", n2, " ", n3, " ", n4);
    }

    static void CloseFile(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
    {
        Line(Name(hFile), ".close", pfnCallback ? " callback" : "", pCallbackParam ? " parameter" : "");
        if (pfnCallback)
            pfnCallback(pCallbackParam, 1, 2, 3);
    }
};

template <class Item> const Item* Offer(const char* pszExport, const char* pszFile, std::vector<Item> Plugin::*items)
{
    Line(pszExport, pszFile);
    static std::vector<Item> array;
    const Plugin& plugin = world.plugins.at(pszFile);
    array = plugin.*items;
    array.push_back({});
    return plugin.exports == Exports::nulls ? nullptr : array.data();
}

} // namespace

// ---- the log, in front of the library's own ----

void KXLog(const wchar_t* pszText)
{
    std::string text = text::ShownUtf8(pszText);
    for (const auto& [control, shown] : {std::pair{"\r", "\\r"}, {"\n", "\\n"}, {"\t", "\\t"}})
        Replace(text, control, shown);
    Line("log ", text);
}

void KXLogEx(const wchar_t* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    LineMemory memory;
    KXLog(FormatWide(memory, pszFormat, args).c_str());
    va_end(args);
}

void GetAppPath(wchar_t* pszPath, int nMax)
{
    const std::wstring path = world.app.wstring();
    pszPath[path.copy(pszPath, static_cast<size_t>(nMax))] = 0;
}

// ---- what the plug-ins ask for ----

extern "C" ENCMGR_API void FakeTrace(const char* pszFile, const char* pszText)
{
    Line(pszText, " ", pszFile);
}

extern "C" ENCMGR_API const ENCODER_ITEM* FakeGetEncoders(const char* pszFile)
{
    return Offer("GetEncoders ", pszFile, &Plugin::encoders);
}

extern "C" ENCMGR_API const FILEFORMAT_ITEM* FakeGetFileFormats(const char* pszFile)
{
    return Offer("GetFileFormats ", pszFile, &Plugin::formats);
}

// ---- what tests use ----

ENCODER_ITEM Encoder(int nType, const char (&fourCC)[5])
{
    using S = Slots;
    const bool video = nType == ENCODER_TYPE_VIDEO;
    const auto create = video ? S::CreateVideo : S::CreateAudio;
    const auto encode = video ? S::EncodeVideo : S::EncodeAudio;
    return {FourCC(fourCC), L"name",          L"description",   nType,          create,        encode, S::GetDelay,
            S::Destroy,     S::GetAudioExtra, S::GetVideoExtra, S::ReviseAudio, S::ReviseVideo};
}

FILEFORMAT_ITEM Format(const char (&fourCC)[5], const ENCODER_MODE* pAudioModes, const ENCODER_MODE* pVideoModes)
{
    using S = Slots;
    return {FourCC(fourCC),
            L"short",
            L"name",
            L"description",
            pAudioModes,
            pVideoModes,
            S::CreateFile,
            S::WriteAudio,
            S::WriteVideo,
            S::CloseFile,
            S::SetAudioExtra,
            S::SetVideoExtra,
            0};
}

PluginTest::PluginTest() : m_app(world.app), m_script(world.script)
{
    std::string path = testing::TempDir() + "encmgr-XXXXXX";
    if (!mkdtemp(path.data()))
        std::abort();
    world = {};
    world.app = m_temporary = path;
    fs::create_directory(m_app / "PlugIns");
}

PluginTest::~PluginTest()
{
    FCUninitPlugins();
    fs::remove_all(m_temporary);
}

void PluginTest::InstallAs(const std::string& name, const Plugin& plugin)
{
    const char* const files[] = {"both", "encoders", "formats", "none", "both"};
    const fs::path path = m_app / "PlugIns" / name;
    if (plugin.exports == Exports::garbage)
        std::ofstream(path) << "no shared library";
    else
        fs::copy_file(fs::path(FAKE_DIR) / files[static_cast<int>(plugin.exports)], path,
                      fs::copy_options::overwrite_existing);
    world.plugins[path.string()] = plugin;
}

void PluginTest::Install(const std::vector<Plugin>& plugins)
{
    FCUninitPlugins(); // a file that is loaded can't be replaced
    // The listing's order is known only when the files are there.
    for (size_t i = 0; i < plugins.size(); ++i)
        std::ofstream(m_app / "PlugIns" / ("wp" + std::to_string(i) + ".dylib"));
    size_t next = 0;
    for (const fs::path& path : fs::directory_iterator(m_app / "PlugIns")) {
        InstallAs(path.filename().string(), plugins.at(next++));
        world.labels[path.string()] = "<" + std::to_string(next) + ">";
    }
    world.trace.clear();
}

std::string PluginTest::Trace()
{
    std::string text;
    text.swap(world.trace);
    for (const auto& [path, label] : world.labels)
        Replace(text, path, label);
    Replace(text, m_temporary.string(), "<app>");
    return text;
}
