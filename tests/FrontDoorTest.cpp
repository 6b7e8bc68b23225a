// What the seven functions let out and leave behind when plug-ins throw, memory runs out, or the host has set the
// processor's modes.
#include "Common/Audio/AudioConverter.h"
#include "encmgr/EncMgr.h"
#include "encmgr/Log.h"
#include "plugin_host/PluginMgr.h"

#include <cfenv>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>
#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

static int failingAllocation; // 1: the next one; 0: none
static int64_t liveAllocations;

[[gnu::noinline]] void* operator new(size_t size)
{
    void* p = failingAllocation > 0 && --failingAllocation == 0 ? nullptr : std::malloc(size);
    liveAllocations += p != nullptr;
    return p ? p : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* p) noexcept
{
    liveAllocations -= p != nullptr;
    std::free(p);
}
[[gnu::noinline]] void operator delete(void* p, size_t) noexcept
{
    operator delete(p);
}

namespace
{

constexpr KXDWORD sound = 3, picture = 4, format = 5;
constexpr ENCODER_MODE soundModes[] = {{sound, 0}, {0, 0}}, pictureModes[] = {{picture, 0}, {0, 0}};

// The slot that throws, the calls that create and destroy, and what was written.
std::string throwing;
int handles;
std::vector<short> samples;
int lines;
std::wstring said;
bool areModesDefault; // in all slots so far

bool HasDefaultModes()
{
#if defined(__SSE2__)
    unsigned short x87 = 0;
    __asm__ volatile("fnstcw %0" : "=m"(x87));
    if ((_mm_getcsr() & ~0x3Fu) != 0x1F80 || x87 != 0x037F)
        return false;
#endif
    return std::fegetround() == FE_TONEAREST;
}

void Throw(const char* slot)
{
    areModesDefault = areModesDefault && HasDefaultModes();
    if (throwing == slot)
        throw std::runtime_error("no reason");
}

void* Make(const char* slot)
{
    Throw(slot);
    ++handles;
    return &handles;
}

class FrontDoorTest : public testing::Test
{
protected:
    FrontDoorTest()
    {
        KXLogSetSink(
            [](void*, const wchar_t* text) {
                ++lines;
                if (std::wcsncmp(text, L"***", 3) == 0)
                    said.assign(text);
            },
            nullptr);
        ENCODER_ITEM audio = {}, video = {};
        audio.dwFourCC = sound;
        audio.pfnCreate = [](KXDWORD, EncodeParam*) { return Make("sound.create"); };
        audio.pfnEncode = [](void*, const MEDIA_FRAME* frame, void** out, KXDWORD* size) {
            Throw("sound.encode");
            *out = frame->audio.pData;
            *size = static_cast<KXDWORD>(frame->audio.nDataSize);
            return 1;
        };
        audio.pfnGetDelay = [](void*) { return Throw("sound.delay"), 4; };
        audio.pfnDestroy = [](void*) { --handles, Throw("sound.destroy"); };
        audio.pfnGetAudioExtra = [](void*, void**, KXDWORD*) { Throw("sound.extra"); };
        audio.pfnReviseAudio = [](EncodeParamAudio*) { return Throw("sound.revise"), 1; };
        video.dwFourCC = picture;
        video.nType = ENCODER_TYPE_VIDEO;
        video.pfnCreate = [](KXDWORD, EncodeParam*) { return Make("picture.create"); };
        video.pfnEncode = [](void*, const MEDIA_FRAME*, void**, KXDWORD*) { return Throw("picture.encode"), 1; };
        video.pfnDestroy = [](void*) { --handles, Throw("picture.destroy"); };
        video.pfnGetVideoExtra = [](void*, uintptr_t*, uintptr_t*, uintptr_t*, uintptr_t*) { Throw("picture.extra"); };
        video.pfnReviseVideo = [](EncodeParam*) { return Throw("picture.revise"), 1; };
        FILEFORMAT_ITEM file = {};
        file.dwFourCC = format;
        file.pAudioModes = soundModes;
        file.pVideoModes = pictureModes;
        file.pfnCreate = [](const wchar_t*, EncodeParam*) { return Make("file.create"); };
        file.pfnWriteAudio = [](void*, const void* data, KXDWORD size) {
            Throw("file.audio");
            const auto* const block = static_cast<const short*>(data);
            samples.insert(samples.end(), block, block + size / 2);
            return 1;
        };
        file.pfnWriteVideo = [](void*, const void*) { return Throw("file.video"), 1; };
        file.pfnClose = [](void*, FC_CLOSE_CALLBACK, void*) { --handles, Throw("file.close"); };
        file.pfnSetAudioExtra = [](void*, void*, KXDWORD) { Throw("file.soundExtra"); };
        file.pfnSetVideoExtra = [](void*, uintptr_t, uintptr_t, uintptr_t, uintptr_t) { Throw("file.pictureExtra"); };
        PluginMgr::m_arEncoder = {audio, video};
        PluginMgr::m_arFileFormat = {file};
        throwing.clear();
        handles = 0;
        samples.reserve(1 << 20);
        said.reserve(1 << 10);
    }
    ~FrontDoorTest() override
    {
        FCUninitPlugins();
        KXLogSetSink(nullptr, nullptr);
    }

    struct Results {
        bool opened;
        int audio;
        int video;
    };

    // A job with scaling, conversion, a gap and blocks that don't fall on the samples of the output.
    static Results RunJob()
    {
        EncodeParam param = {};
        param.dwFileFourCC = format;
        param.video = {picture, 32, 24, 25.0, 0, {}, 0, 0, 0, 0, 0, 0, 0, 0};
        param.audio = {sound, 48000, 2, 0, {}, 16};
        const KXVideoInfo video = {16, 16, 12.5, 0, 0, 0, {}};
        const KXAudioInfo audio = {44100, 2, 16};
        samples.clear();
        said.clear();
        CAudioConverter::Spare() = 0;
        void* const job = FCCreateMediaFile(L"file", &param, &video, &audio);
        Results results = {job != nullptr, 0, 0};
        static std::vector<short> block(2048);
        static std::vector<unsigned char> plane(256, 100);
        for (int i = 0; i < 20; ++i) {
            for (short& sample : block)
                sample = static_cast<short>(std::rand());
            MEDIA_FRAME frame = {};
            frame.audio = {44100, 2, 16, block.data(), 4096, 4096};
            frame.llStreamTime = (i + i / 10) * 232200LL;
            results.audio += FCWriteAudioData(job, &frame);
            frame = {};
            frame.video.pY = frame.video.pU = frame.video.pV = plane.data();
            frame.video.nPitchY = frame.video.nPitchU = frame.video.nPitchV = 16;
            frame.llStreamTime = i * 800000LL;
            results.video += FCWriteVideoFrame(job, &frame);
        }
        FCCloseMediaFile(job, nullptr, nullptr);
        return results;
    }
};

// A slot that throws counts as one that has failed, the log names it, and all others are still called.
TEST_F(FrontDoorTest, ThrowingSlotsFailAndAreNamed)
{
    const struct {
        const char* slot;
        const wchar_t* name;
        Results results;
    } rows[] = {
        {"picture.revise", L"pfnReviseVideo", {false, 0, 0}},
        {"sound.revise", L"pfnReviseAudio", {false, 0, 0}},
        {"picture.create", L"pfnCreate", {true, 23, 0}},
        {"sound.create", L"pfnCreate", {true, 0, 39}},
        {"file.create", L"pfnCreate", {false, 0, 0}},
        {"sound.encode", L"pfnEncode", {true, 0, 39}},
        {"picture.encode", L"pfnEncode", {true, 23, 0}},
        {"file.audio", L"pfnWriteAudio", {true, 0, 39}},
        {"file.video", L"pfnWriteVideo", {true, 23, 0}},
        {"sound.delay", L"pfnGetDelay", {true, 23, 39}},
        {"sound.extra", L"pfnGetAudioExtra", {true, 23, 39}},
        {"file.soundExtra", L"pfnSetAudioExtra", {true, 23, 39}},
        {"picture.extra", L"pfnGetVideoExtra", {true, 23, 39}},
        {"file.pictureExtra", L"pfnSetVideoExtra", {true, 23, 39}},
        {"file.close", L"pfnClose", {true, 23, 39}},
        {"picture.destroy", L"pfnDestroy", {true, 23, 39}},
        {"sound.destroy", L"pfnDestroy", {true, 23, 39}},
    };
    throwing = "file.create";
    RunJob(); // what the test itself needs is there
    for (const auto& [slot, name, expected] : rows) {
        SCOPED_TRACE(slot);
        throwing = slot;
        const int64_t live = liveAllocations;
        const Results results = RunJob();
        EXPECT_EQ(results.opened, expected.opened);
        EXPECT_EQ(results.audio, expected.audio);
        EXPECT_EQ(results.video, expected.video);
        EXPECT_EQ(handles, 0);
        EXPECT_EQ(liveAllocations, live);
        EXPECT_NE(said.find(name + std::wstring(L": no reason")), std::wstring::npos) << testing::PrintToString(said);
    }
}

TEST_F(FrontDoorTest, NothingLeavesAJobWhoseMemoryRunsOut)
{
    int n = 0, refused = 0;
    RunJob();
    for (bool hasFailed = true; hasFailed;) {
        const int64_t live = liveAllocations;
        failingAllocation = ++n;
        ASSERT_NO_THROW(refused += !RunJob().opened) << n;
        hasFailed = failingAllocation == 0;
        failingAllocation = 0;
        EXPECT_EQ(handles, 0) << n;
        EXPECT_EQ(liveAllocations, live) << n;
    }
    EXPECT_GE(n, 4); // the job, its converter and its buffers
    EXPECT_GE(refused, 3);
}

// Also what a scan has found so far goes.
TEST_F(FrontDoorTest, NothingLeavesAScanWhoseMemoryRunsOut)
{
    KXLogSetAppPath(ENCMGR_BIN_DIR);
    for (int n = 1, result = 0; !result; ++n) {
        failingAllocation = n;
        ASSERT_NO_THROW(result = FCInitPlugins()) << n;
        const bool hasFailed = failingAllocation == 0;
        failingAllocation = 0;
        if (result)
            EXPECT_TRUE(!hasFailed || FCGetFileFormatInfos()); // just a line of the log was lost
        else
            EXPECT_TRUE(!FCGetFileFormatInfos() && PluginMgr::m_arModule.empty() && PluginMgr::m_arEncoder.empty());
        result = result && !hasFailed;
        FCUninitPlugins();
    }
    KXLogSetAppPath(nullptr);
}

// Rounding, tiny numbers and the x87's precision are the library's own while it works, and the host's afterwards.
TEST_F(FrontDoorTest, TheHostsFloatingPointModesChangeNothing)
{
    std::srand(1);
    areModesDefault = true;
    RunJob();
    const std::vector<short> expected = samples;
    ASSERT_GT(expected.size(), 40000u);
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        std::srand(1);
        std::fesetround(mode);
        RunJob();
        EXPECT_EQ(std::fegetround(), mode);
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(samples, expected) << mode;
    }
#if defined(__SSE2__)
    const unsigned before = _mm_getcsr();
    const unsigned modes[] = {0x9FC0, 0x1F00}; // tiny ones are 0; an invalid operation traps
    for (const unsigned mode : modes) {
        std::srand(1);
        _mm_setcsr(mode);
        RunJob();
        EXPECT_EQ(_mm_getcsr() & ~0x3Fu, mode & ~0x3Fu);
        _mm_setcsr(before);
        EXPECT_EQ(samples, expected) << mode;
    }
    std::srand(1);
    unsigned short x87 = 0x007F; // 24 bits
    __asm__ volatile("fldcw %0" : : "m"(x87));
    RunJob();
    __asm__ volatile("fnstcw %0" : "=m"(x87));
    EXPECT_EQ(x87, 0x007F);
    __asm__ volatile("fninit");
    EXPECT_EQ(samples, expected);
#endif
    EXPECT_TRUE(areModesDefault); // in the slots of each of the four functions
}

} // namespace
