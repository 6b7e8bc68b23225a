// Whole jobs with the plug-ins that need no other library: the raw files and the template's log of packets, to the
// byte.
#include "encmgr/Log.h"
#include "media_file/MediaFile.h"
#include "plugins/raw/WavHeader.h"
#include "tests/Bytes.h"
#include "tests/FileJob.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <fstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

std::string WavOf(const std::vector<int16_t>& samples, int rate, int channels, bool isPipe = false)
{
    const WavHeader header = MakeWavHeader(rate, channels, isPipe ? kUnknownLength : samples.size() * 2);
    return std::string(header.bytes.begin(), header.bytes.begin() + header.size) + BytesOf(samples);
}

// Of the template's file.
std::string Packet(char type, const std::string& content)
{
    return type + Word(content.size(), 4) + content;
}

// Rows as pairs of a count and a byte.
std::string RunLengths(const Planes& planes, int width, int height)
{
    std::string runs;
    const unsigned char* row = planes.data();
    for (const auto& [w, h] : {std::pair{width, height}, {(width + 1) / 2, 2 * ((height + 1) / 2)}})
        for (int y = 0; y < h; ++y, row += w)
            for (int x = 0; x < w; ++x) {
                const bool goesOn = x > 0 && row[x] == row[x - 1] && runs[runs.size() - 2] != '\xFF';
                if (!goesOn)
                    runs += {'\0', static_cast<char>(row[x])};
                ++runs[runs.size() - 2];
            }
    return runs;
}

// The largest picture, none of whose bytes is like the one before, or one with runs, of which the first row's is longer
// than a count can say.
Planes PictureOfRuns(int width, int height, bool isLargest)
{
    Planes planes = TestPicture(width, height, 0);
    for (size_t i = 0; i < planes.size(); ++i)
        planes[i] = static_cast<unsigned char>(isLargest ? i : planes[i] / 32u);
    if (!isLargest)
        std::fill_n(planes.begin(), width, planes[0]);
    return planes;
}

void ExpectReport(const CloseReport& report, unsigned status, unsigned pictures, unsigned milliseconds = 0)
{
    EXPECT_EQ(report.status, status);
    EXPECT_EQ(report.pictures, pictures);
    EXPECT_EQ(report.milliseconds, milliseconds);
}

using PluginFileTest = FileJobTest;

} // namespace

TEST_F(PluginFileTest, TheTemplateWritesWhatItsLayoutSays)
{
    constexpr int kWidth = 601, kHeight = 3, kBlock = 3000;
    constexpr double kTemplateRate = 12.3456;
    const struct {
        const char* encoder;
        size_t channels;
        size_t packet; // audio comes in multiples of so many bytes
        bool early;    // all audio before the first picture
    } cases[] = {{"TPLA", 1, 2048, false}, {"TPLA", 2, 4096, true}, {"TPLR", 2, 1, false}};
    for (const auto& [encoder, channels, packet, early] : cases) {
        SCOPED_TRACE(testing::Message() << encoder << " " << channels);
        const int count = static_cast<int>(channels);
        std::vector<int16_t> samples = TestSamples(32000, 1, 0.1875);
        void* job = Open(Path("log"),
                         JobParam("TPL ").Video("TPLV", kWidth, kHeight, kTemplateRate).Audio(encoder, 32000, count));
        ASSERT_TRUE(job);
        std::string video, audio, last, held;
        const auto writeAudio = [&] { EXPECT_TRUE(WriteSamples(job, samples, 32000, count, kBlock)); };
        if (early)
            writeAudio();
        size_t largest = 0;
        for (int n = 0; n < 4; ++n) {
            const Planes planes = PictureOfRuns(kWidth, kHeight, n == 1);
            MEDIA_FRAME frame = FrameOf(planes, kWidth, kHeight);
            frame.llStreamTime = static_cast<int64_t>(n * 1e7 / kTemplateRate);
            EXPECT_EQ(FCWriteVideoFrame(job, &frame), 1);
            const std::string runs = RunLengths(planes, kWidth, kHeight);
            largest = std::max(largest, runs.size());
            video += Packet('V', runs);
        }
        if (!early)
            writeAudio();
        ExpectReport(Close(job), 0, 4, static_cast<unsigned>(12000 * 1000 / (32000 * 2 * channels)));

        const std::string bytes = BytesOf(samples);
        for (size_t done = 0; done < bytes.size(); done += kBlock) {
            held += bytes.substr(done, kBlock);
            const size_t whole = held.size() - held.size() % packet;
            audio += whole > 0 ? Packet('A', held.substr(0, whole)) : "";
            held.erase(0, whole);
        }
        if (!held.empty()) // silence fills the last packet
            last = Packet('A', held.append(packet - held.size(), '\0'));
        std::string header = "TPL1";
        for (const size_t word :
             {size_t{kWidth}, size_t{kHeight}, size_t{12346}, size_t{4}, largest, size_t{32000}, channels})
            header += Word(word, 4);
        header += Word(bytes.size(), 8) + Word(1, 4);
        EXPECT_TRUE(Bytes("log") == header + (early ? audio + video : video + audio) + last);
    }
}

TEST_F(PluginFileTest, TheTemplateSettlesWhatItCanDo)
{
    // One stream each; the other's words stay 0. Sides end at 8192, channels at 2.
    for (const auto& [width, height] : {std::pair{8193, 4}, {4, 8193}}) {
        Make("video", JobParam("TPL ").Video("TPLV", width, height), 0);
        const std::string video = Bytes("video");
        EXPECT_EQ(video.substr(4, 12),
                  Word(width == 4 ? 4 : 8192, 4) + Word(height == 4 ? 4 : 8192, 4) + Word(25000, 4));
        EXPECT_EQ(video.substr(24, 20), std::string(16, '\0') + Word(1, 4));
    }
    JobParam mono = JobParam("TPL ").Audio("TPLA", 8000, 3);
    mono.audio.nBitsPerSample = 24;
    const KXAudioInfo source = {8000, 1, 16};
    Close(FCCreateMediaFile((m_folder / "audio").wstring().c_str(), &mono, nullptr, &source));
    EXPECT_EQ(Bytes("audio").substr(4, 28), std::string(20, '\0') + Word(8000, 4) + Word(2, 4));
}

TEST_F(PluginFileTest, AWavFileHoldsItsChannels)
{
    for (const int channels : {1, 2, 6}) {
        ExpectReport(Make("a.wav", JobParam("WAV ").Audio("PCM ", 8000, channels), 0, 0.5), 0, 0, 500);
        EXPECT_TRUE(Bytes("a.wav") == WavOf(TestSamples(8000, channels, 0.5), 8000, channels)) << channels;
    }
}

TEST_F(PluginFileTest, AWavFileEndsWithAWholeSampleBlock)
{
    void* job = Open(Path("odd.wav"), JobParam("WAV ").Audio("PCM ", 8000, 2));
    char bytes[] = {1, 1, 2, 2, 3};
    MEDIA_FRAME block = {};
    block.audio = {8000, 2, 16, bytes, sizeof bytes, 0};
    EXPECT_EQ(FCWriteAudioData(job, &block), 1);
    EXPECT_EQ(Close(job).milliseconds, 0u);
    EXPECT_EQ(Bytes("odd.wav"), WavOf({0x101, 0x202, 3, 0}, 8000, 2)); // filled up with silence
}

TEST_F(PluginFileTest, APipeGetsAWavFileOfUnknownLength)
{
    int ends[2]; // all of the file fits into the buffer between them
    ASSERT_EQ(pipe(ends), 0);
    const auto name = [](int end) { return "/dev/fd/" + std::to_string(end); };
    EXPECT_EQ(Make(name(ends[1]), JobParam("WAV ").Audio("PCM ", 48000, 2), 0, 0.2).status, 0u);
    close(ends[1]);
    EXPECT_TRUE(Bytes(name(ends[0])) == WavOf(TestSamples(48000, 2, 0.2), 48000, 2, true));
    close(ends[0]);
}

TEST_F(PluginFileTest, AWavFileIsReadableWhileItGrows)
{
    const std::vector<int16_t> samples = TestSamples(48000, 2, 15);
    void* job = Open(Path("a.wav"), JobParam("WAV ").Audio("PCM ", 48000, 2));
    ASSERT_TRUE(job);
    std::string bytes = BytesOf(samples);
    constexpr size_t kBlock = 48001; // the header lags behind by less than half a second, 96000 bytes
    for (size_t done = 0; done < bytes.size();) {
        MEDIA_FRAME frame = {};
        frame.audio = {48000, 2, 16, &bytes[done], static_cast<int>(std::min(kBlock, bytes.size() - done)), 0};
        ASSERT_EQ(FCWriteAudioData(job, &frame), 1);
        done += static_cast<size_t>(frame.audio.nDataSize);
        const size_t told = done / (2 * kBlock) * (2 * kBlock) / 4 * 4;
        EXPECT_EQ(Bytes("a.wav").substr(76, 4), Word(told, 4)) << done;
    }
    Close(job);
    EXPECT_TRUE(Bytes("a.wav") == WavOf(samples, 48000, 2));
}

TEST_F(PluginFileTest, Y4mIsAHeaderAndPlanesOfAnyPitch)
{
    const Planes planes = TestPicture(5, 3, 0);
    void* job = Open(Path("a.y4m"), JobParam("Y4M ").Video("I420", 5, 3, 29.97));
    ASSERT_TRUE(job);
    EXPECT_EQ(static_cast<MediaFile*>(job)->m_EncParam.video.dFrameRate, 30000.0 / 1001);
    MEDIA_FRAME frame = FrameOf(planes, 5, 3);
    EXPECT_EQ(FCWriteVideoFrame(job, &frame), 1);
    Planes upwards; // the same rows from the last to the first, with two bytes between them
    MEDIA_FRAME_VIDEO& video = frame.video;
    video.nPitchY = -7, video.nPitchU = video.nPitchV = -5;
    for (const auto& [plane, width, height] : {std::tuple{0, 5, 3}, {15, 3, 2}, {21, 3, 2}})
        for (int y = height - 1; y >= 0; --y) {
            upwards.insert(upwards.end(), planes.begin() + plane + y * width, planes.begin() + plane + (y + 1) * width);
            upwards.insert(upwards.end(), 2, 0);
        }
    video.pY = upwards.data() + 14, video.pU = upwards.data() + 26, video.pV = upwards.data() + 36;
    frame.llStreamTime = 333667;
    EXPECT_EQ(FCWriteVideoFrame(job, &frame), 1);
    ExpectReport(Close(job), 0, 2);
    const std::string picture = "FRAME\n" + std::string(planes.begin(), planes.end());
    EXPECT_EQ(Bytes("a.y4m"), "YUV4MPEG2 W5 H3 F30000:1001 Ip A1:1 C420jpeg\n" + picture + picture);
}

// Where the rates leave the converter's balance as it is, files are the same as those that are written alone.
TEST_F(PluginFileTest, JobsOnSeveralThreadsDoNotMix)
{
    const auto run = [this](const std::string& name, const char* format, int sourceRate) {
        JobParam param(format);
        param.Audio(*format == 'W' ? "PCM " : "TPLA", 48000, 2);
        if (*format == 'T')
            param.Video("TPLV", 48, 32);
        const KXVideoInfo video = {33, 21, kRate, 0, 0, 0, {}};
        const KXAudioInfo audio = {sourceRate, 1, 16};
        void* const job = FCCreateMediaFile((m_folder / name).wstring().c_str(), &param, &video, &audio);
        for (int n = 0; n < 30 && *format == 'T'; ++n)
            WritePicture(job, 33, 21, n);
        WriteSamples(job, TestSamples(sourceRate, 1, 1.2), sourceRate, 1, 2002);
        FCCloseMediaFile(job, nullptr, nullptr);
    };
    run("wav", "WAV ", 24000);
    run("log", "TPL ", 24000);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&run, number = std::to_string(i)] {
            for (int repeat = 0; repeat < 3; ++repeat) {
                run("wav" + number, "WAV ", 24000);
                run("log" + number, "TPL ", 24000);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(Bytes("wav" + std::to_string(i)) == Bytes("wav"));
        EXPECT_TRUE(Bytes("log" + std::to_string(i)) == Bytes("log"));
    }

    // Others may each gain or lose a sample of a block.
    run("wav", "WAV ", 44100);
    threads.clear();
    for (const char* name : {"wav0", "wav1"})
        threads.emplace_back([&run, name] { run(name, "WAV ", 44100); });
    for (std::thread& thread : threads)
        thread.join();
    for (const char* name : {"wav0", "wav1"})
        EXPECT_NEAR(static_cast<double>(Bytes(name).size()), static_cast<double>(Bytes("wav").size()), 4 * 60);
}

// Also while another thread logs.
TEST_F(PluginFileTest, AForkedChildLoadsPluginsAndWritesAFile)
{
    std::atomic<bool> isAtEnd = false;
    std::thread logger([&isAtEnd] {
        while (!isAtEnd) {
            for (int i = 0; i < 10; ++i)
                KXLog(L"a line");
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
    });
    for (int i = 0; i < 30; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            const bool isLoaded = FCInitPlugins() == 1;
            _exit(isLoaded && Make("forked", JobParam("WAV ").Audio("PCM ", 8000, 1), 0, 0.1).status == 0 ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << i;
        if (status != 0)
            break;
    }
    isAtEnd = true;
    logger.join();
    EXPECT_TRUE(Bytes("forked") == WavOf(TestSamples(8000, 1, 0.1), 8000, 1));
}

TEST_F(PluginFileTest, FileNamesAreUtf8)
{
    const std::string name = "\u00e4\u20ac\u65e5\U0001f600";
    const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xD800), 0};
    for (const JobParam& job : {JobParam("Y4M ").Video("I420", 2, 2), JobParam("WAV ").Audio("PCM ", 8000, 1),
                                JobParam("TPL ").Video("TPLV", 2, 2)}) {
        Make(name, job, 0);
        EXPECT_TRUE(std::filesystem::remove(Path(name))) << Text(job.dwFileFourCC);
        for (const wchar_t* path : {L"", surrogate, L"/no/such/folder/a"})
            EXPECT_FALSE(FCCreateMediaFile(path, &job, nullptr, nullptr)) << Text(job.dwFileFourCC);
    }
}

TEST_F(PluginFileTest, RefusedJobsLeaveTheOldFile)
{
    std::vector<JobParam> jobs = {JobParam("Y4M "), JobParam("WAV "), JobParam("TPL ")}; // neither video nor audio
    for (const auto& [encoder, width, height, rate] : {std::tuple{"TPLV", 4, 4, 25.0},
                                                       {"I420", 0, 4, 25.0},
                                                       {"I420", 4, -1, 25.0},
                                                       {"I420", 4, 4, 0.0},
                                                       {"I420", 4, 4, std::nan("")},
                                                       {"I420", 4, 4, 0.001}})
        jobs.push_back(JobParam("Y4M ").Video(encoder, width, height, rate));
    for (const auto& [encoder, width, height, rate] : {std::tuple{"I420", 4, 4, 25.0},
                                                       {"TPLV", 0, 4, 25.0},
                                                       {"TPLV", 4, 0, 25.0},
                                                       {"TPLV", 4, 4, std::nan("")},
                                                       {"TPLV", 4, 4, 0.0009}})
        jobs.push_back(JobParam("TPL ").Video(encoder, width, height, rate));
    for (const auto& [format, encoder, rate, channels] : {std::tuple{"WAV ", "TPLR", 8000, 1},
                                                          {"WAV ", "PCM ", 0, 1},
                                                          {"WAV ", "PCM ", 8000, 0},
                                                          {"TPL ", "PCM ", 8000, 1},
                                                          {"TPL ", "TPLA", 0, 1},
                                                          {"TPL ", "TPLR", 8000, 0}})
        jobs.push_back(JobParam(format).Audio(encoder, rate, channels));
    std::ofstream(Path("old")) << "kept";
    for (const JobParam& job : jobs) {
        EXPECT_FALSE(Open(Path("old"), job)) << &job - jobs.data();
        EXPECT_EQ(Bytes("old"), "kept") << &job - jobs.data();
    }
}

// It is told at once where more comes than is gathered, and at the close in any case.
TEST_F(PluginFileTest, AFullDiskIsReported)
{
    for (const int width : {4, 640})
        for (const JobParam& job :
             {JobParam("Y4M ").Video("I420", width, 360), JobParam("TPL ").Video("TPLV", width, 360),
              JobParam("WAV ").Audio("PCM ", 8000, 1)}) {
            void* full = Open("/dev/full", job);
            ASSERT_TRUE(full);
            int written = 0;
            for (int n = 0; n < (width == 4 ? 1 : 5); ++n)
                written += WritePicture(full, width, 360, n);
            WriteSamples(full, TestSamples(8000, 1, 0.1), 8000, 1, 100);
            EXPECT_EQ(written, width == 4 && !job.bVideoDisabled ? 1 : 0);
            EXPECT_EQ(Close(full).status, 1u);
        }
}

// They are missing in the file, the others are there. Only the first one is logged.
TEST_F(PluginFileTest, FramesThatCannotBeReadAreReported)
{
    const Planes planes = TestPicture(6, 6, 0);
    for (const auto& [format, encoder] : {std::pair{"Y4M ", "I420"}, {"TPL ", "TPLV"}})
        for (int MEDIA_FRAME_VIDEO::*field :
             {&MEDIA_FRAME_VIDEO::nWidth, &MEDIA_FRAME_VIDEO::nHeight, &MEDIA_FRAME_VIDEO::nPitchU}) {
            SCOPED_TRACE(format);
            void* job = Open(Path("gap"), JobParam(format).Video(encoder, 6, 6));
            MEDIA_FRAME frame = FrameOf(planes, 6, 6);
            EXPECT_EQ(FCWriteVideoFrame(job, &frame), 1);
            frame.video.*field = 2;
            for (frame.llStreamTime = kPeriod; frame.llStreamTime < 4 * kPeriod; frame.llStreamTime += kPeriod)
                EXPECT_EQ(FCWriteVideoFrame(job, &frame), 0);
            ExpectReport(Close(job), 1, 1);
            EXPECT_EQ(LogLines(L"a picture of"), *format == 'Y');
        }
    void* job = Open(Path("gap"), JobParam("WAV ").Audio("PCM ", 8000, 1));
    EXPECT_FALSE(WriteSamples(job, {1, 2, 3}, 8000, 2, 2));
    EXPECT_TRUE(WriteSamples(job, {3}, 8000, 1, 2));
    EXPECT_EQ(Close(job).status, 1u);
    EXPECT_EQ(LogLines(L"an audio block isn't"), 1);
    EXPECT_EQ(Bytes("gap"), WavOf({3}, 8000, 1));
}

TEST_F(PluginFileTest, TheirFormatsAreInTheCatalogue)
{
    const std::string catalogue = Catalogue();
    for (const char* line : {"Y4M : I420\n", "WAV : PCM \n", "TPL : TPLV TPLA TPLR\n"})
        EXPECT_NE(catalogue.find(line), std::string::npos) << catalogue;
}
