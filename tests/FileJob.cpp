#include "tests/FileJob.h"

#include "encmgr/Log.h"
#include "text/Strings.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <mutex>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace
{

std::mutex s_mutex;
std::vector<std::wstring> s_log;

void TakeLine(void*, const wchar_t* text)
{
    const std::lock_guard lock(s_mutex);
    s_log.emplace_back(text);
}

} // namespace

JobParam::JobParam(const std::string& format) : EncodeParam{}
{
    dwFileFourCC = Code(format);
    bVideoDisabled = bAudioDisabled = 1;
}

JobParam& JobParam::Video(const std::string& encoder, int width, int height, double rate)
{
    bVideoDisabled = 0;
    video.dwFourCC = Code(encoder);
    video.nWidth = width;
    video.nHeight = height;
    video.dFrameRate = rate;
    return *this;
}

JobParam& JobParam::Audio(const std::string& encoder, int rate, int channels)
{
    bAudioDisabled = 0;
    audio.dwFourCC = Code(encoder);
    audio.nSampleRate = rate;
    audio.nChannels = channels;
    audio.nBitsPerSample = 16;
    return *this;
}

void FileJobTest::SetUpTestSuite()
{
    KXLogSetSink(TakeLine, nullptr);
    KXLogSetAppPath(ENCMGR_BIN_DIR);
    ASSERT_EQ(FCInitPlugins(), 1);
}

std::string FileJobTest::Catalogue()
{
    std::string text;
    const auto add = [&](const ENCODER_INFO& encoder) {
        EXPECT_TRUE(*encoder.szName);
        EXPECT_TRUE(*encoder.szDescription);
        text += " " + Text(encoder.dwFourCC);
    };
    for (const FILEFORMAT_INFO* format = FCGetFileFormatInfos(); format && format->dwFourCC; ++format) {
        EXPECT_TRUE(*format->szShortName);
        EXPECT_TRUE(*format->szName);
        EXPECT_TRUE(*format->szDescription);
        text += Text(format->dwFourCC) + ":";
        std::for_each_n(format->ppVideoEncoders, format->nVideoEncoders, [&](auto* encoder) { add(*encoder); });
        std::for_each_n(format->ppAudioEncoders, format->nAudioEncoders, [&](auto* encoder) { add(*encoder); });
        text += "\n";
    }
    return text;
}

std::wstring FileJobTest::Log()
{
    const std::lock_guard lock(s_mutex);
    std::wstring text;
    for (const std::wstring& line : std::exchange(s_log, {}))
        text += line + L"\n";
    return text;
}

int FileJobTest::LogLines(const std::wstring& text)
{
    const std::wstring log = Log();
    int count = 0;
    for (size_t at = log.find(text); !text.empty() && at != log.npos; at = log.find(text, log.find(L'\n', at)))
        ++count;
    return count;
}

void FileJobTest::TearDownTestSuite()
{
    FCUninitPlugins();
}

FileJobTest::FileJobTest() : m_folder(fs::temp_directory_path() / ("encmgr-file-test-" + std::to_string(getpid())))
{
    fs::create_directories(m_folder);
}

FileJobTest::~FileJobTest()
{
    fs::remove_all(m_folder);
}

std::string FileJobTest::Bytes(const std::string& name) const
{
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void* FileJobTest::Open(const std::string& path, const JobParam& param)
{
    const KXVideoInfo video = {param.video.nWidth, param.video.nHeight, param.video.dFrameRate, 0, 0, 0, {}};
    const KXAudioInfo audio = {param.audio.nSampleRate, param.audio.nChannels, 16};
    return FCCreateMediaFile(text::WideFromUtf8(path).value().c_str(), &param, &video, &audio);
}

int FileJobTest::WritePicture(void* job, int width, int height, int number)
{
    const Planes planes = TestPicture(width, height, number);
    MEDIA_FRAME frame = FrameOf(planes, width, height);
    frame.llStreamTime = frame.llTimeStamp = number * kPeriod;
    return FCWriteVideoFrame(job, &frame);
}

bool FileJobTest::WriteSamples(void* job, const std::vector<int16_t>& samples, int rate, int channels, int blockBytes)
{
    bool taken = true;
    const int bytes = static_cast<int>(samples.size() * 2);
    auto* const data = const_cast<int16_t*>(samples.data());
    for (int done = 0; done < bytes; done += blockBytes) {
        MEDIA_FRAME block = {};
        block.audio = {rate, channels, 16, reinterpret_cast<char*>(data) + done, std::min(blockBytes, bytes - done), 0};
        block.llStreamTime = static_cast<int64_t>(done / (2.0 * channels) / rate * 1e7 + 0.5);
        taken = FCWriteAudioData(job, &block) == 1 && taken;
    }
    return taken;
}

CloseReport FileJobTest::Close(void* job)
{
    CloseReport report;
    const auto take = [](void* p, unsigned n1, unsigned n2, unsigned n3) {
        auto& taken = *static_cast<CloseReport*>(p);
        taken = {taken.calls + 1, n1, n2, n3};
        return 0u;
    };
    FCCloseMediaFile(job, take, &report);
    EXPECT_EQ(report.calls, 1);
    return report;
}

CloseReport FileJobTest::Make(const std::string& name, const JobParam& param, int pictures, double seconds)
{
    LogLines(L"");
    void* job = Open(Path(name), param);
    EXPECT_TRUE(job);
    for (int n = 0; n < pictures; ++n)
        EXPECT_EQ(WritePicture(job, param.video.nWidth, param.video.nHeight, n), 1);
    const EncodeParamAudio& audio = param.audio;
    EXPECT_TRUE(WriteSamples(job, TestSamples(audio.nSampleRate, audio.nChannels, seconds), audio.nSampleRate,
                             audio.nChannels, 2002));
    const CloseReport report = Close(job);
    EXPECT_EQ(LogLines(L"wp"), 0);
    return report;
}
