// Whole jobs through the front door and the real plug-ins, read back from the files.
#include "encmgr/EncMgr.h"
#include "log/Log.h"
#include "tests/MediaReader.h"

#include <cmath>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace
{

constexpr int kRate = 25;
constexpr int64_t kPeriod = 10000000 / kRate;

// A smooth, moving picture, which every encoder can hold to.
std::vector<unsigned char> TestPicture(int width, int height, int number)
{
    const int cw = (width + 1) / 2, ch = (height + 1) / 2;
    std::vector<unsigned char> planes;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            planes.push_back(
                static_cast<unsigned char>(128 + 90 * std::sin((x + 2 * number) * 0.05) * std::cos(y * 0.04)));
    for (int plane = 0; plane < 2; ++plane)
        for (int i = 0; i < cw * ch; ++i)
            planes.push_back(static_cast<unsigned char>(100 + 40 * plane + i % cw / 8));
    return planes;
}

std::vector<int16_t> TestSamples(int rate, int channels, double seconds)
{
    std::vector<int16_t> samples(static_cast<size_t>(rate * seconds) * static_cast<size_t>(channels));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<int16_t>(9000 * std::sin(static_cast<double>(i) * 0.07) + (i * 7919) % 601);
    return samples;
}

struct CloseReport {
    int calls = 0;
    unsigned status = 0, pictures = 0, milliseconds = 0;

    static unsigned Take(void* p, unsigned n1, unsigned n2, unsigned n3)
    {
        auto& report = *static_cast<CloseReport*>(p);
        report = {report.calls + 1, n1, n2, n3};
        return 0;
    }
};

class FileTest : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        KXLogSetSink([](void*, const wchar_t*) {}, nullptr);
        KXLogSetAppPath(ENCMGR_BIN_DIR);
        ASSERT_EQ(FCInitPlugins(), 1);
    }
    static void TearDownTestSuite() { FCUninitPlugins(); }

    void SetUp() override
    {
        m_folder = std::filesystem::temp_directory_path() / ("encmgr-file-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    // A job without streams to begin with.
    static EncodeParam Job(const char* format)
    {
        EncodeParam param = {};
        param.dwFileFourCC = KX_FOURCC(format[0], format[1], format[2], format[3]);
        param.bVideoDisabled = param.bAudioDisabled = 1;
        return param;
    }
    static void SetVideo(EncodeParam& param, KXDWORD encoder, int width, int height)
    {
        param.bVideoDisabled = 0;
        param.video.dwFourCC = encoder;
        param.video.nWidth = width;
        param.video.nHeight = height;
        param.video.dFrameRate = kRate;
    }
    static void SetAudio(EncodeParam& param, KXDWORD encoder, int rate, int channels)
    {
        param.bAudioDisabled = 0;
        param.audio.dwFourCC = encoder;
        param.audio.nSampleRate = rate;
        param.audio.nChannels = channels;
        param.audio.nBitsPerSample = 16;
    }

    static void* Open(const std::string& path, const EncodeParam& param)
    {
        const KXVideoInfo video = {param.video.nWidth, param.video.nHeight, kRate, 0, 0, 0, {}};
        const KXAudioInfo audio = {param.audio.nSampleRate, param.audio.nChannels, 16};
        return FCCreateMediaFile(std::wstring(path.begin(), path.end()).c_str(), &param, &video, &audio);
    }
    static int WritePicture(void* job, int width, int height, int number)
    {
        std::vector<unsigned char> planes = TestPicture(width, height, number);
        const int cw = (width + 1) / 2, ch = (height + 1) / 2;
        MEDIA_FRAME frame = {};
        frame.video.pY = planes.data();
        frame.video.pU = frame.video.pY + width * height;
        frame.video.pV = frame.video.pU + cw * ch;
        frame.video.nWidth = frame.video.nPitchY = width;
        frame.video.nHeight = height;
        frame.video.nPitchU = frame.video.nPitchV = cw;
        frame.llStreamTime = frame.llTimeStamp = number * kPeriod;
        return FCWriteVideoFrame(job, &frame);
    }
    // In blocks of so many bytes.
    static void WriteSamples(void* job, std::vector<int16_t> samples, int rate, int channels, int blockBytes)
    {
        const int bytes = static_cast<int>(samples.size() * 2);
        for (int done = 0; done < bytes; done += blockBytes) {
            MEDIA_FRAME block = {};
            block.audio = {
                rate, channels, 16, reinterpret_cast<char*>(samples.data()) + done, std::min(blockBytes, bytes - done),
                0};
            block.llStreamTime = static_cast<int64_t>(done / (2.0 * channels) / rate * 1e7 + 0.5);
            EXPECT_EQ(FCWriteAudioData(job, &block), 1);
        }
    }

    std::filesystem::path m_folder;
};

bool IsNamed(KXDWORD fourCC, const char* name)
{
    return fourCC == KX_FOURCC(name[0], name[1], name[2], name[3]);
}

// Every format with the encoders of this project that a media player knows.
std::vector<const FILEFORMAT_INFO*> Formats()
{
    std::vector<const FILEFORMAT_INFO*> formats;
    for (const FILEFORMAT_INFO* info = FCGetFileFormatInfos(); info && info->dwFourCC; ++info)
        if (!IsNamed(info->dwFourCC, "TPL "))
            formats.push_back(info);
    return formats;
}

double Psnr(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b)
{
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i)
        sum += std::pow(a[i] - b[i], 2);
    return sum == 0 ? 1000 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

} // namespace

TEST_F(FileTest, EveryVideoEncoderKeepsEveryPicture)
{
    int combinations = 0;
    for (const FILEFORMAT_INFO* format : Formats())
        for (int i = 0; i < format->nVideoEncoders; ++i, ++combinations) {
            SCOPED_TRACE(testing::Message() << format->szShortName << " " << format->ppVideoEncoders[i]->szName);
            EncodeParam param = Job("none");
            param.dwFileFourCC = format->dwFourCC;
            SetVideo(param, format->ppVideoEncoders[i]->dwFourCC, 160, 96);
            void* job = Open(Path("file"), param);
            ASSERT_TRUE(job);
            for (int n = 0; n < 100; ++n)
                EXPECT_EQ(WritePicture(job, 160, 96, n), 1);
            CloseReport report;
            FCCloseMediaFile(job, CloseReport::Take, &report);
            EXPECT_EQ(report.calls, 1);
            EXPECT_EQ(report.status, 0u);
            EXPECT_EQ(report.pictures, 100u);

            const DecodedFile file = ReadMedia(Path("file"));
            ASSERT_EQ(file.pictures.size(), 100u);
            EXPECT_NEAR(file.frameRate, kRate, 1e-6);
            for (int n = 0; n < 100; ++n) {
                EXPECT_NEAR(file.pictures[static_cast<size_t>(n)].seconds, n / double{kRate}, 0.0011);
                EXPECT_GT(Psnr(file.pictures[static_cast<size_t>(n)].planes, TestPicture(160, 96, n)), 34.0);
            }
        }
    EXPECT_GE(combinations, 1);
}

TEST_F(FileTest, LosslessPicturesAreExactAtOddSizes)
{
    for (const auto& [format, encoder] : {std::pair{"MKV ", "FFV1"}, {"AVI ", "FFV1"}, {"Y4M ", "I420"}})
        for (const auto& [width, height] : {std::pair{161, 97}, {17, 1}, {3, 5}}) {
            SCOPED_TRACE(testing::Message() << format << width << "x" << height);
            EncodeParam param = Job(format);
            SetVideo(param, KX_FOURCC(encoder[0], encoder[1], encoder[2], encoder[3]), width, height);
            void* job = Open(Path("file"), param);
            ASSERT_TRUE(job);
            for (int n = 0; n < 5; ++n)
                WritePicture(job, width, height, n);
            FCCloseMediaFile(job, nullptr, nullptr);
            const DecodedFile file = ReadMedia(Path("file"));
            ASSERT_EQ(file.pictures.size(), 5u);
            for (int n = 0; n < 5; ++n)
                EXPECT_EQ(file.pictures[static_cast<size_t>(n)].planes, TestPicture(width, height, n));
        }
}

TEST_F(FileTest, AudioKeepsItsLengthAndLosslessAudioItsSamples)
{
    int exact = 0;
    for (const FILEFORMAT_INFO* format : Formats())
        for (int i = 0; i < format->nAudioEncoders; ++i)
            for (const int channels : {1, 2}) {
                const KXDWORD encoder = format->ppAudioEncoders[i]->dwFourCC;
                SCOPED_TRACE(testing::Message() << format->szShortName << " " << format->ppAudioEncoders[i]->szName);
                EncodeParam param = Job("none");
                param.dwFileFourCC = format->dwFourCC;
                SetAudio(param, encoder, 44100, channels);
                const std::vector<int16_t> samples = TestSamples(44100, channels, 1.23);
                void* job = Open(Path("file"), param);
                ASSERT_TRUE(job);
                WriteSamples(job, samples, 44100, channels, 2 * 1001); // for stereo, blocks end in the middle of a pair
                CloseReport report;
                FCCloseMediaFile(job, CloseReport::Take, &report);
                EXPECT_EQ(report.status, 0u);
                EXPECT_NEAR(report.milliseconds, 1230, 24);

                const DecodedFile file = ReadMedia(Path("file"));
                ASSERT_EQ(file.sampleRate, 44100);
                ASSERT_EQ(file.channels, channels);
                EXPECT_NEAR(file.firstSampleSeconds, 0, 0.001);
                EXPECT_NEAR(file.AudioSeconds(), 1.23, 1024.0 / 44100);
                if (!IsNamed(encoder, "AAC ")) {
                    EXPECT_TRUE(file.samples == samples);
                    ++exact;
                }
            }
    EXPECT_GE(exact, 2);
}

TEST_F(FileTest, JobsOnSeveralThreadsDoNotMix)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([this, t] {
            EncodeParam param = Job("MKV ");
            SetVideo(param, KX_FOURCC('F', 'F', 'V', '1'), 64 + t, 48);
            SetAudio(param, KX_FOURCC('F', 'L', 'A', 'C'), 8000, 1);
            void* job = Open(Path(std::to_string(t)), param);
            ASSERT_TRUE(job);
            for (int n = 0; n < 25; ++n)
                EXPECT_EQ(WritePicture(job, 64 + t, 48, n), 1);
            WriteSamples(job, TestSamples(8000, 1, 1), 8000, 1, 500);
            FCCloseMediaFile(job, nullptr, nullptr);
        });
    for (std::thread& thread : threads)
        thread.join();
    for (int t = 0; t < 4; ++t) {
        const DecodedFile file = ReadMedia(Path(std::to_string(t)));
        ASSERT_EQ(file.pictures.size(), 25u);
        EXPECT_EQ(file.pictures[24].planes, TestPicture(64 + t, 48, 24));
        EXPECT_TRUE(file.samples == TestSamples(8000, 1, 1));
    }
}

TEST_F(FileTest, FailuresAreReportedAndOtherFilesStay)
{
    // What the format can't hold is refused before the file is touched.
    EncodeParam param = Job("MP4 ");
    SetAudio(param, KX_FOURCC('P', 'C', 'M', 'S'), 48000, 2);
    std::fclose(std::fopen(Path("kept").c_str(), "w"));
    EXPECT_FALSE(Open(Path("kept"), param));
    EXPECT_EQ(std::filesystem::file_size(Path("kept")), 0u);

    // A full disk is told at the close at the latest: encoders and containers have buffers.
    for (const auto& [format, encoder, leastLost] : {std::tuple{"Y4M ", "I420", 90}, {"MKV ", "H264", 0}}) {
        EncodeParam full = Job(format);
        SetVideo(full, KX_FOURCC(encoder[0], encoder[1], encoder[2], encoder[3]), 640, 360);
        void* job = Open("/dev/full", full);
        ASSERT_TRUE(job) << format;
        int written = 0;
        for (int n = 0; n < 100; ++n)
            written += WritePicture(job, 640, 360, n);
        EXPECT_LE(written, 100 - leastLost) << format;
        CloseReport report;
        FCCloseMediaFile(job, CloseReport::Take, &report);
        EXPECT_EQ(report.status, 1u) << format;
    }

    // One picture without planes: the others are there, on time.
    EncodeParam gap = Job("MKV ");
    SetVideo(gap, KX_FOURCC('F', 'F', 'V', '1'), 64, 48);
    void* job = Open(Path("gap"), gap);
    for (int n = 0; n < 10; ++n) {
        MEDIA_FRAME empty = {};
        empty.llStreamTime = n * kPeriod;
        EXPECT_EQ(n == 4 ? FCWriteVideoFrame(job, &empty) : WritePicture(job, 64, 48, n), n != 4);
    }
    CloseReport report;
    FCCloseMediaFile(job, CloseReport::Take, &report);
    EXPECT_EQ(report.status, 1u);
    const DecodedFile file = ReadMedia(Path("gap"));
    ASSERT_EQ(file.pictures.size(), 9u);
    EXPECT_NEAR(file.pictures.back().seconds, 0.36, 0.001);
}
