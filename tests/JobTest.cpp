#include "encmgr/EncMgr.h"
#include "plugin_host/PluginMgr.h"
#include "tests/Harness.h"

namespace
{

constexpr ENCODER_MODE kAudioModes[] = {{FourCC("AAC "), 0}, {FourCC("INLA"), 5}, {}};
constexpr ENCODER_MODE kVideoModes[] = {{FourCC("H264"), 0}, {FourCC("INLV"), 6}, {}};

// Pieces of traces.
const std::string kHead = "log PluginMgr::Create File[out]\\r\\n\\t\\tFile FourCC[MP4 ] Video FourCC[H264] Audio "
                          "FourCC[AAC ].\n";
const std::string kVideo = "video.revise H264\nvideo.create H264 640x480\n";
const std::string kAudio = "audio.revise AAC \naudio.create AAC  44100 Hz\n";
const std::string kFile = "file.create MP4  out\n";
const std::string kNothing = "file.create MP4  out no video no audio\nfile.close\n";
const std::string kWriteAudio = "audio.encode 8 bytes 44100x2x16 type 0 at 30/31 for 20\nfile.audio 161, 162\n";
const std::string kWriteVideo = "video.encode 640x480 at 0/0 for 0\nfile.video 177\n";
const std::string kInlineAudio = "file.audio frame 8 bytes 44100x2x16 type 0 at 30/31 for 20, 0\n";
const std::string kAudioExtra = "audio.audioExtra\nfile.audioExtra 11 12\n";
const std::string kVideoExtra = "video.videoExtra\nfile.videoExtra 21 22 23 24\n";
const std::string kEnd = "file.close\nvideo.destroy\naudio.destroy\n";

class JobTest : public PluginTest
{
protected:
    JobTest()
    {
        m_param.video = {FourCC("H264"), 640, 480, 25.0, 1000, {}, 0, 0, 0, 0, 0, 0, 0, 0};
        m_param.audio = {FourCC("AAC "), 44100, 2, 128, {}, 16};
        m_param.dwFileFourCC = FourCC("MP4 ");
        m_audio.audio = {44100, 2, 16, m_samples, sizeof(m_samples), 0};
        m_audio.llTimeStamp = 31;
        m_audio.llStreamTime = 30;
        m_audio.nDuration = 20;
        m_video.video.nWidth = 640;
        m_video.video.nHeight = 480;
    }

    // Builds the catalogue from the three records.
    void Init()
    {
        Install({{Exports::both, {m_audioItem, m_videoItem}, {m_format}}});
        PluginMgr::InitPlugins();
        Trace();
    }

    // Creates the job from m_param, and returns the trace without its first line.
    std::string Create()
    {
        m_created = m_job.Create(L"out", &m_param);
        const std::string trace = Trace();
        return trace.substr(trace.find('\n') + 1);
    }

    // A job with one block and one picture.
    std::string Run()
    {
        Init();
        const std::string trace = Create();
        m_written = {m_job.WriteAudioData(&m_audio), m_job.WriteVideoFrame(&m_video)};
        m_job.Close(nullptr, nullptr);
        return trace + Trace();
    }

    ENCODER_ITEM m_audioItem = Encoder(ENCODER_TYPE_AUDIO, "AAC "), m_videoItem = Encoder(ENCODER_TYPE_VIDEO, "H264");
    FILEFORMAT_ITEM m_format = Format("MP4 ", kAudioModes, kVideoModes);
    EncodeParam m_param = {};
    short m_samples[4] = {1, 2, 3, 4};
    MEDIA_FRAME m_audio = {}, m_video = {};
    PluginMgr m_job;
    int m_created = -1;
    std::pair<int, int> m_written; // what the block and the picture gave
};

TEST_F(JobTest, OutlivesThePluginsFile)
{
    Init();
    std::filesystem::remove_all(m_app / "PlugIns");
    EXPECT_EQ(Create(), kVideo + kAudio + kFile);
    EXPECT_EQ(m_created, 1);
    m_job.Close(nullptr, nullptr);
    EXPECT_EQ(PluginMgr::InitPlugins(), 0);
    EXPECT_EQ(PluginMgr().Create(L"out", &m_param), 0);
}

TEST_F(JobTest, CallsOfAWholeJobInOrder)
{
    m_script.delay = 12;
    EXPECT_EQ(Run(), kVideo + kAudio + kFile + kWriteAudio + kWriteVideo + "audio.delay\n" +
                         "audio.encode 12 silent bytes 44100x2x16 type 3 at 50/50 for 0\nfile.audio 161, 162\n" +
                         kAudioExtra + kVideoExtra + kEnd);
    EXPECT_EQ(m_written, std::pair(kAudioResult, kVideoResult));
    m_job.Close(nullptr, nullptr);
    EXPECT_EQ(Trace(), "");
}

TEST_F(JobTest, InlineStreamsGoToTheFormatAsFrames)
{
    m_audioItem.dwFourCC = m_param.audio.dwFourCC = FourCC("INLA");
    m_videoItem.dwFourCC = m_param.video.dwFourCC = FourCC("INLV");
    EXPECT_EQ(Run(), "video.revise INLV\naudio.revise INLA\n" + kFile + kInlineAudio +
                         "file.video frame 640x480 at 0/0 for 0\nfile.close\n");
    EXPECT_EQ(m_written, std::pair(kAudioResult, kVideoResult));
    EXPECT_EQ(m_job.m_bAudioInline, 5u);
    EXPECT_EQ(m_job.m_bVideoInline, 6u);
    // The object's next job knows nothing of this one. What the host disabled isn't looked up.
    m_audioItem.dwFourCC = m_videoItem.dwFourCC = FourCC("none");
    m_param.bVideoDisabled = m_param.bAudioDisabled = 1;
    EXPECT_EQ(Run(), kNothing);
    EXPECT_EQ(m_written, std::pair(0, 0));
}

TEST_F(JobTest, FormatWithoutListsDisablesItsStreams)
{
    const std::string logged =
        "log No audio encoder for file format[MP4 ]\nlog No video encoder for file format[MP4 ]\n";
    m_format = Format("MP4 ", nullptr, nullptr);
    EXPECT_EQ(Run(), logged + kNothing);
    EXPECT_EQ(Run(), logged + kNothing); // now disabled from the start
}

TEST_F(JobTest, FailedEncodersDisableTheirStreams)
{
    m_script.failing = {FourCC("AAC "), FourCC("H264")};
    EXPECT_EQ(Run(), kVideo + "log Create video encoder failure, make video disabled.\n" + kAudio +
                         "log Create audio encoder failure, make audio disabled.\n" + kNothing);
    EXPECT_EQ(m_written, std::pair(0, 0));
    EXPECT_EQ(m_job.m_llLastAudioTime, 30);
}

TEST_F(JobTest, FailuresLeaveNothingBehind)
{
    const struct {
        std::function<void()> cause;
        std::string trace;
    } cases[] = {
        {[&] { m_param.dwFileFourCC = FourCC("AVI "); }, "log Have not found the [AVI ] FileFormat Plugin.\n"},
        {[&] { m_param.video.dwFourCC = FourCC("H265"); }, "log Have not found the [H265] Video Encoder Plugin.\n"},
        {[&] { m_param.video.dwFourCC = FourCC("AAC "); }, "log The encoder[AAC ] is not for VIDEO type.\n"},
        {[&] { m_script.reviseVideo = [](EncodeParam& p) { return p.video.nWidth = 0; }; },
         "video.revise H264\nlog Can't revise these video params[0x480, 1000bps].\n"},
        {[&] { m_param.audio.dwFourCC = FourCC("MP3 "); },
         kVideo + "log Have not found the [MP3 ] Audio Encoder Plugin.\nvideo.destroy\n"},
        {[&] { m_param.audio.dwFourCC = FourCC("H264"); },
         kVideo + "log The encoder[H264] is not for AUDIO type.\nvideo.destroy\n"},
        {[&] { m_script.reviseAudio = [](EncodeParamAudio& a) { return a.nChannels = 0; }; },
         kVideo + "audio.revise AAC \n"
                  "log Can't revise these audio params[44100Hz, 0Channels, 128bps, 16bits].\nvideo.destroy\n"},
        {[&] { m_script.failing = {FourCC("MP4 ")}; },
         kVideo + kAudio + kFile + "log Fail to create the file [out].\nvideo.destroy\naudio.destroy\n"},
    };
    Init();
    const EncodeParam param = m_param;
    for (const auto& [cause, trace] : cases) {
        m_param = param;
        m_script = {};
        cause();
        EXPECT_EQ(Create(), trace);
        EXPECT_EQ(m_created, 0);
        EXPECT_EQ(m_job.m_pSilence, nullptr);
    }
    m_param = param;
    m_script = {};
    EXPECT_EQ(m_job.Create(nullptr, &m_param) + m_job.Create(L"out", nullptr), 0);
    m_param.dwFileFourCC = 0;
    EXPECT_EQ(m_job.Create(L"out", &m_param), 0);
    EXPECT_EQ(Trace(), "");
    m_param = param;
    EXPECT_EQ(Create(), kVideo + kAudio + kFile);
    EXPECT_EQ(m_job.Create(L"out", &m_param), 0); // open already
    EXPECT_EQ(Trace(), "");
}

TEST_F(JobTest, RevisedCodeCountsButTheEncoderStays)
{
    m_script.reviseVideo = [](EncodeParam& p) { return p.video.nWidth = 32, p.video.dwFourCC = FourCC("x264"), 1; };
    m_script.reviseAudio = [](EncodeParamAudio& a) { return a.dwFourCC = FourCC("INLA"), 1; };
    EXPECT_EQ(Run(), "video.revise H264\nvideo.create x264 32x480\naudio.revise AAC \n" + kFile + kInlineAudio +
                         kWriteVideo + kVideoExtra + "file.close\nvideo.destroy\n");
    m_param.video.dwFourCC = FourCC("H264");
    m_param.audio.dwFourCC = FourCC("AAC ");
    m_script.reviseVideo = [](EncodeParam& p) { return p.video.dwFourCC = FourCC("INLV"), 1; };
    m_script.reviseAudio = [](EncodeParamAudio& a) { return a.dwFourCC = FourCC("mp4a"), 1; };
    Init();
    EXPECT_EQ(Create(), "video.revise H264\naudio.revise AAC \naudio.create mp4a 44100 Hz\n" + kFile);
}

TEST_F(JobTest, AbsentSlots)
{
    m_audioItem.pfnReviseAudio = nullptr, m_videoItem.pfnReviseVideo = nullptr;
    m_audioItem.pfnGetDelay = nullptr;
    m_format.pfnSetAudioExtra = nullptr, m_format.pfnSetVideoExtra = nullptr;
    const std::string head =
        "video.create H264 640x480\naudio.create AAC  44100 Hz\n" + kFile + kWriteAudio + kWriteVideo;
    EXPECT_EQ(Run(), head + "audio.audioExtra\nvideo.videoExtra\n" + kEnd);
    m_audioItem.pfnGetAudioExtra = nullptr, m_videoItem.pfnGetVideoExtra = nullptr;
    EXPECT_EQ(Run(), head + kEnd);
    // Without a required one, a record fails as if its pfnCreate did.
    m_videoItem.pfnEncode = nullptr;
    m_format.pfnWriteAudio = nullptr;
    const std::string failed = "log Fail to create the file [out].\n";
    EXPECT_EQ(Run(), "log Create video encoder failure, make video disabled.\naudio.create AAC  44100 Hz\n" + failed +
                         "audio.destroy\n");
    m_param.bVideoDisabled = 0;
    m_videoItem.pfnEncode = m_audioItem.pfnEncode;
    m_format = Format("MP4 ", kAudioModes, kVideoModes);
    m_format.pfnWriteVideo = nullptr;
    EXPECT_EQ(Run(),
              "video.create H264 640x480\naudio.create AAC  44100 Hz\n" + failed + "video.destroy\naudio.destroy\n");
}

TEST_F(JobTest, SilenceHasTheFirstBlocksFormatAndFollowsTheLastBlock)
{
    const struct {
        int delay;
        bool written;
        const char* frame;
    } cases[] = {
        {511560, true, "511560 silent bytes 44100x2x16 type 3 at 110/110 for 20000000"}, // 2.9 seconds
        {176400, true, "176400 silent bytes 44100x2x16 type 3 at 110/110 for 10000000"},
        {512, false, "512 silent bytes 0x0x0 type 3 at 0/0 for 0"},
        {0, true, nullptr},
        {-1, true, nullptr},
    };
    Init();
    MEDIA_FRAME next = m_audio, empty = m_audio;
    next.audio.nSampleRate = 48000, next.llStreamTime = 100, next.nDuration = 10;
    empty.audio.nDataSize = 0, empty.llStreamTime = 1000;
    for (const auto& [delay, written, frame] : cases) {
        Create();
        for (const MEDIA_FRAME* pFrame : {&m_audio, &next})
            EXPECT_EQ(written ? m_job.WriteAudioData(pFrame) : kAudioResult, kAudioResult);
        Trace();
        EXPECT_EQ(m_job.WriteAudioData(&empty) + m_job.WriteAudioData(nullptr) + m_job.WriteVideoFrame(nullptr), 0);
        m_script.delay = delay;
        m_job.Close(nullptr, nullptr);
        EXPECT_EQ(Trace(), "audio.delay\n" +
                               (frame ? "audio.encode " + std::string(frame) + "\nfile.audio 161, 162\n" : "") +
                               kAudioExtra + kVideoExtra + kEnd);
    }
}

TEST_F(JobTest, JobsWithoutPacing)
{
    for (const int flags : {0, 1, 2, 3})
        for (const int audio : {0, 1})
            for (const int video : {0, 1})
                for (const KXDWORD failing : {FourCC("none"), FourCC("H264"), FourCC("AAC ")}) {
                    m_format.dwFlags = static_cast<KXDWORD>(flags);
                    m_param.bAudioDisabled = !audio;
                    m_param.bVideoDisabled = !video;
                    m_script.failing = {failing};
                    Run();
                    EXPECT_EQ(m_job.m_bNoPacing, flags % 2 || (audio && !video) ? 1 : 0) << flags << audio << video;
                }
}

unsigned int AddUp(void* pSum, unsigned int n1, unsigned int n2, unsigned int n3)
{
    return *static_cast<unsigned int*>(pSum) += n1 + n2 + n3;
}

TEST_F(JobTest, FrontDoor)
{
    EXPECT_EQ(FCCreateMediaFile(L"out", &m_param, nullptr, nullptr), nullptr);
    EXPECT_EQ(Trace(), kHead + "log Have not found the [MP4 ] FileFormat Plugin.\n" +
                           "log MediaFile::Create Fail to m_PluginMgr.Create [out]\\r\\n\n");
    Init();
    EXPECT_EQ(FCCreateMediaFile(nullptr, &m_param, nullptr, nullptr), nullptr);
    EXPECT_EQ(FCCreateMediaFile(L"out", nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(FCWriteAudioData(nullptr, &m_audio) + FCWriteVideoFrame(nullptr, &m_video), 0);
    FCCloseMediaFile(nullptr, AddUp, nullptr);
    EXPECT_EQ(Trace(), "");

    void* hFile = FCCreateMediaFile(L"out", &m_param, nullptr, nullptr);
    ASSERT_NE(hFile, nullptr);
    m_param = {};
    EXPECT_EQ(FCWriteVideoFrame(hFile, &m_video), kVideoResult);
    unsigned int sum = 0;
    FCCloseMediaFile(hFile, AddUp, &sum);
    EXPECT_EQ(sum, 6u);
    EXPECT_EQ(Trace(), kHead + kVideo + kAudio + kFile + kWriteVideo + "audio.delay\n" + kAudioExtra + kVideoExtra +
                           "file.close callback parameter\nvideo.destroy\naudio.destroy\n");
}

TEST_F(JobTest, DestructorClosesTheJob)
{
    Init();
    {
        PluginMgr job;
        ASSERT_EQ(job.Create(L"out", &m_param), 1);
        Trace();
    }
    EXPECT_EQ(Trace(), "audio.delay\n" + kAudioExtra + kVideoExtra + kEnd);
}

} // namespace
