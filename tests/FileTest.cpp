// Whole jobs through every plug-in with a format that media players know, read back from the files.
#include "tests/FileJob.h"
#include "tests/MediaReader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <thread>

namespace
{

// Every format with the encoders of this project that a media player knows.
std::vector<const FILEFORMAT_INFO*> Formats()
{
    std::vector<const FILEFORMAT_INFO*> formats;
    for (const FILEFORMAT_INFO* info = FCGetFileFormatInfos(); info && info->dwFourCC; ++info)
        if (Text(info->dwFourCC) != "TPL ")
            formats.push_back(info);
    return formats;
}

double Psnr(const Planes& a, const Planes& b)
{
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i)
        sum += std::pow(a[i] - b[i], 2);
    return sum == 0 ? 1000 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

// What an encoder makes of the test's pictures and samples: 4:2:0 of 8 bits and 44100 Hz but for these.
struct Expectation {
    const char* encoder;
    double psnr;
    int rate, maxChannels;
};

Expectation ExpectationOf(const std::string& encoder)
{
    for (const Expectation& expectation : {Expectation{"GIF ", 28, 0, 0}, {"MP3 ", 0, 44100, 2}, {"OPUS", 0, 48000, 6}})
        if (encoder == expectation.encoder)
            return expectation;
    return {"", 38, 44100, 6};
}

// The name of the test's file; of pictures that are files of their own, the name of all.
std::string NameIn(const FILEFORMAT_INFO& format)
{
    const std::string fourCC = Text(format.dwFourCC);
    return fourCC == "PNG " ? "file-%d.png" : fourCC == "JPG " ? "file-%03d.jpg" : "file";
}

using FileTest = FileJobTest;

} // namespace

TEST_F(FileTest, TheirFormatsAreInTheCatalogue)
{
    const std::string catalogue = Catalogue();
    // Between the two halves of a line stand the machine's own encoders.
    for (const char* line :
         {"MP4 : H264 HEVC MP4V VP9  AV1 ", " AAC  MP3  OPUS FLAC\n", "WEBM: VP9  VP8  AV1 ", " OPUS VORB\n",
          "OGG : VP8  VORB OPUS FLAC\n", "FLAC: FLAC\n", "GIF : GIF \n", "JPG : MJPG\n"})
        EXPECT_NE(catalogue.find(line), std::string::npos) << line << catalogue;
}

TEST_F(FileTest, EveryVideoEncoderKeepsEveryPicture)
{
    int combinations = 0;
    for (const FILEFORMAT_INFO* format : Formats())
        for (int i = 0; i < format->nVideoEncoders; ++i, ++combinations) {
            SCOPED_TRACE(testing::Message() << format->szShortName << " " << format->ppVideoEncoders[i]->szName);
            const std::string encoder = Text(format->ppVideoEncoders[i]->dwFourCC);
            const std::string name = NameIn(*format);
            const CloseReport report = Make(name, JobParam(Text(format->dwFourCC)).Video(encoder, 160, 96), 100);
            EXPECT_EQ(report.status, 0u);
            EXPECT_EQ(report.pictures, 100u);
            EXPECT_EQ(report.milliseconds, 0u);

            const DecodedFile file = ReadMedia(Path(name));
            ASSERT_EQ(file.pictures.size(), 100u);
            EXPECT_NEAR(file.frameRate, kRate, 1e-6);
            double late = 0, psnr = 1000;
            for (int n = 0; n < 100; ++n) {
                const DecodedPicture& picture = file.pictures[static_cast<size_t>(n)];
                late = std::max(late, std::abs(picture.seconds - n / double{kRate}));
                psnr = std::min(psnr, Psnr(picture.planes, TestPicture(160, 96, n)));
            }
            EXPECT_LT(late, 0.0011);
            EXPECT_GT(psnr, ExpectationOf(encoder).psnr);
            std::printf("video | %ls | %ls | %zu | %.1f ms | %s |\n", format->szShortName,
                        format->ppVideoEncoders[i]->szName, file.pictures.size(), 1000 * late,
                        psnr < 1000 ? (std::to_string(std::lrint(psnr)) + " dB").c_str() : "exact");
        }
    EXPECT_GE(combinations, 1);
}

TEST_F(FileTest, LosslessPicturesAreExactAtOddSizes)
{
    for (const auto& [format, encoder] : {std::pair{"MKV ", "FFV1"}, {"AVI ", "FFV1"}, {"Y4M ", "I420"}})
        for (const auto& [width, height] : {std::pair{161, 97}, {17, 1}, {15, 40}, {3, 5}}) {
            SCOPED_TRACE(testing::Message() << format << width << "x" << height);
            Make("file", JobParam(format).Video(encoder, width, height), 5);
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
            for (const int channels : {1, 2, 6}) {
                const std::string encoder = Text(format->ppAudioEncoders[i]->dwFourCC);
                const auto [name, psnr, rate, maxChannels] = ExpectationOf(encoder);
                if (channels > maxChannels)
                    continue;
                SCOPED_TRACE(testing::Message() << format->szShortName << " " << encoder << " " << channels);
                // For more than one channel, blocks end in the middle of a sample block.
                const JobParam param = JobParam(Text(format->dwFourCC)).Audio(encoder, rate, channels);
                const CloseReport report = Make("file", param, 0, 1.23);
                EXPECT_EQ(report.status, 0u);
                EXPECT_EQ(report.pictures, 0u);
                EXPECT_NEAR(report.milliseconds, 1230, 24);

                const DecodedFile file = ReadMedia(Path("file"));
                ASSERT_EQ(file.sampleRate, rate);
                ASSERT_EQ(file.channels, channels);
                EXPECT_NEAR(file.firstSampleSeconds, 0, 0.001);
                EXPECT_NEAR(file.AudioSeconds(), 1.23, (encoder == "MP3 " ? 1152.0 : 1024.0) / 44100);
                const bool isExact = encoder == "FLAC" || encoder.starts_with("PCM");
                EXPECT_TRUE(!isExact || file.samples == TestSamples(rate, channels, 1.23));
                exact += isExact;
                if (channels == 2)
                    std::printf("audio | %ls | %ls | %.1f ms | %+.1f ms | %s |\n", format->szShortName,
                                format->ppAudioEncoders[i]->szName, 1000 * file.firstSampleSeconds,
                                1000 * (file.AudioSeconds() - 1.23), isExact ? "exact" : "");
            }
    EXPECT_GE(exact, 2);
}

// What isn't in the file is in the log.
TEST_F(FileTest, EveryPairStatesTheSignalOrSaysSo)
{
    for (const FILEFORMAT_INFO* format : Formats())
        for (int i = 0; i < format->nVideoEncoders; ++i)
            for (const int fields : {2, 3}) {
                const std::string encoder = Text(format->ppVideoEncoders[i]->dwFourCC);
                if (encoder == "I420")
                    continue;
                SCOPED_TRACE(testing::Message() << format->szShortName << " " << encoder << " " << fields);
                JobParam param = JobParam(Text(format->dwFourCC)).Video(encoder, 160, 96);
                const bool isAlone = fields == KX_FIELDS_TOP_FIRST; // the range, without colours
                param.video.dwColour = isAlone ? KX_COLOUR(2, 0, 0, 0) : KX_COLOUR(2, 9, 9, 16);
                param.video.nPixelAspectX = 32;
                param.video.nPixelAspectY = 30;
                param.video.nFieldOrder = fields;
                param.video.nRotation = 90 * fields - 90;
                Log();
                const std::string name = NameIn(*format);
                void* job = Open(Path(name), param);
                ASSERT_TRUE(job);
                for (int n = 0; n < 6; ++n)
                    EXPECT_EQ(WritePicture(job, 160, 96, n), 1);
                EXPECT_EQ(Close(job).pictures, 6u);
                const std::wstring log = Log();
                const auto is = [&](const wchar_t* what, bool isRead) {
                    EXPECT_NE(isRead, log.find(L"doesn't state the " + std::wstring(what)) != log.npos)
                        << what << log.c_str();
                };
                const DecodedFile file = ReadMedia(Path(name));
                const DecodedSignal& read = file.signal;
                EXPECT_NEAR(file.pixelAspect, 16.0 / 15, 0.01);
                is(L"field order", read.fields == fields);
                is(L"rotation", read.rotation == param.video.nRotation);
                if (encoder == "GIF " || encoder.find("PNG") != encoder.npos) // are converted to RGB
                    continue;
                is(L"range", read.range == KX_RANGE_FULL);
                is(L"colours", isAlone || (read.matrix == 9 && read.primaries == 9 && read.transfer == 16));
            }
}

// A red by BT.709 where the file states that, and in lossless files; otherwise by what players take. In limited range.
TEST_F(FileTest, PicturesHaveTheColoursThatPlayersSee)
{
    const Planes given = FlatPicture(160, 96, {63, 102, 240});
    struct Case {
        const char *format, *encoder;
        std::array<unsigned char, 3> red;
    };
    constexpr std::array<unsigned char, 3> same = {63, 102, 240}, sd = {81, 90, 240};
    for (const auto& [format, encoder, red] : {Case{"AVI ", "MP4V", sd},
                                               {"TS  ", "MP4V", sd},
                                               {"AVI ", "MJPG", sd},
                                               {"MKV ", "MJPG", sd},
                                               {"MP4 ", "MP4V", same},
                                               {"AVI ", "H264", same},
                                               {"AVI ", "FFV1", same}}) {
        SCOPED_TRACE(testing::Message() << format << encoder);
        JobParam param = JobParam(format).Video(encoder, 160, 96);
        param.video.dwColour = KX_COLOUR(KX_RANGE_LIMITED, 1, 1, 1);
        void* job = Open(Path("file"), param);
        ASSERT_TRUE(job);
        MEDIA_FRAME frame = FrameOf(given, 160, 96);
        EXPECT_EQ(FCWriteVideoFrame(job, &frame), 1);
        Close(job);
        const Planes planes = ReadMedia(Path("file")).pictures.at(0).planes, expected = FlatPicture(160, 96, red);
        ASSERT_EQ(planes.size(), expected.size());
        for (size_t i = 0; i < planes.size(); i += 97)
            EXPECT_NEAR(planes[i], expected[i], 1) << i;
    }
}

TEST_F(FileTest, OptionsReachTheEncoderOrTheFormat)
{
    const auto make = [&](JobParam param, const char* options) {
        const bool isAudio = param.bVideoDisabled;
        KXSetOptions(isAudio ? param.audio.dwOptions : param.video.dwOptions, options);
        EXPECT_EQ(Make("file", param, isAudio ? 0 : 25, isAudio ? 1 : 0).status, 0u) << options;
        return Bytes("file");
    };
    const JobParam mp4 = JobParam("MP4 ").Video("H264", 160, 96), aac = JobParam("M4A ").Audio("AAC ", 44100, 2);
    const std::string usual = make(mp4, nullptr);
    EXPECT_LT(usual.find("moov"), usual.find("mdat"));
    const JobParam mpeg4 = JobParam("AVI ").Video("MP4V", 160, 96); // x264 isn't the same to the bit at such sizes
    EXPECT_EQ(make(mpeg4, ""), make(mpeg4, nullptr));
    EXPECT_LT(make(mp4, "crf=45").size(), usual.size());
    EXPECT_LT(make(mp4, "b=5000").size(), usual.size()); // in the place of the usual quality
    EXPECT_GT(make(mp4, "x264-params=keyint=1\\:bframes=0").size(), 2 * usual.size());
    EXPECT_LT(make(aac, "b=32000").size(), make(aac, nullptr).size());
    const std::string behind = make(mp4, "g=5:movflags=-faststart");
    EXPECT_LT(behind.find("mdat"), behind.find("moov"));
    for (const char* fragmented : {"fragmented=1", "movflags=frag_keyframe+empty_moov"}) {
        EXPECT_NE(make(mp4, fragmented).find("moof"), usual.npos);
        EXPECT_EQ(ReadMedia(Path("file")).pictures.size(), 25u);
    }
    // What x265 is told besides leaves what wpav tells it: to be quiet, here, and not to state its settings.
    const JobParam hevc = JobParam("MKV ").Video("HEVC", 160, 96);
    EXPECT_EQ(make(hevc, "x265-params=info=0").find("x265"), usual.npos);
    make(JobParam("MKV ").Video("FFV1", 160, 96), "slices=16:slicecrc=0:threads=2");
    EXPECT_EQ(ReadMedia(Path("file")).pictures.at(24).planes, TestPicture(160, 96, 24));
}

// What a user gives under one name reaches each encoder under its own.
TEST_F(FileTest, CommonKeysMeanTheSameWithEveryEncoder)
{
    const auto size = [&](const std::string& encoder, const char* options) {
        JobParam param = JobParam("MKV ").Video(encoder, 160, 96);
        KXSetOptions(param.video.dwOptions, options);
        EXPECT_EQ(Make("file", param, 10).status, 0u) << encoder << options;
        return Bytes("file").size();
    };
    for (const std::string encoder : {"H264", "HEVC", "VP8 ", "VP9 ", "AV1 ", "MP4V", "MJPG"}) {
        EXPECT_GT(size(encoder, "crf=10"), size(encoder, "crf=30")) << encoder;
        if (encoder != "MP4V" && encoder != "MJPG") {
            EXPECT_GT(size(encoder, "g=1"), size(encoder, "g=25")) << encoder;
            EXPECT_NE(size(encoder, "preset=ultrafast"), size(encoder, "preset=slow")) << encoder;
        }
    }
}

// The first pass leaves statistics and no file, the second another file than a single pass.
TEST_F(FileTest, TheSecondPassBuildsOnTheFirst)
{
    const std::string options = "stats=" + Path("statistics") + ":pass=";
    for (const std::string encoder : {"H264", "HEVC", "VP9 ", "AV1 "}) {
        JobParam param = JobParam("MP4 ").Video(encoder, 160, 96);
        param.video.nBitRate = 60000;
        EXPECT_EQ(Make("file", param, 75).status, 0u) << encoder;
        const std::string single = Bytes("file");
        std::filesystem::remove(Path("file"));
        for (const char* pass : {"1", "2"}) {
            EXPECT_FALSE(std::filesystem::exists(Path("file"))) << encoder;
            const std::string text = options + pass;
            KXSetOptions(param.video.dwOptions, text.c_str());
            EXPECT_EQ(Make("file", param, 75).status, 0u) << encoder << pass;
        }
        EXPECT_EQ(ReadMedia(Path("file")).pictures.size(), 75u) << encoder;
        EXPECT_NE(Bytes("file"), single) << encoder;
        EXPECT_NEAR(static_cast<double>(Bytes("file").size()), 60000 * 3 / 8.0, 11000) << encoder;
        std::filesystem::remove(Path("file"));
    }
}

// By both streams, before the old file is touched.
TEST_F(FileTest, UnknownOptionsAndBadValuesAreRefused)
{
    std::ofstream(Path("old")) << "kept";
    const auto refuses = [&](JobParam param, const char* video, const char* audio, const wchar_t* log = L"wpav: ") {
        KXSetOptions(param.video.dwOptions, video);
        KXSetOptions(param.audio.dwOptions, audio);
        Log();
        EXPECT_FALSE(Open(Path("old"), param)) << video << audio;
        EXPECT_EQ(LogLines(log), 1) << video << audio;
    };
    const JobParam both = JobParam("MP4 ").Video("MP4V", 64, 48).Audio("AAC ", 48000, 2);
    for (const auto& [options, log] : {std::pair{"nosuchthing=1", L"wpav: neither"},
                                       {"width=32", L"wpav: neither"},
                                       {"bf=some", L"option [bf"},
                                       {"flags=+nosuchthing", L"option [flags="},
                                       {"movflags=+nosuchthing", L"option [movflags="},
                                       {"g", L"options [g] aren't"}}) {
        refuses(both, options, "", log);
        refuses(both, "", options, log);
    }
    for (const auto& [options, log] : {std::pair{"crf=1", L"a crf from 2 to 31"},
                                       {"crf=x", L"a crf from 2 to 31"},
                                       {"pass=1:stats=s", L"in one pass only"},
                                       {"fragmented=2", L"option [fragmented=2]"}})
        refuses(both, options, "", log);
    refuses(JobParam("MKV ").Video("FFV1", 64, 48), "crf=2", "", L"wpav: neither");
    refuses(JobParam("MKV ").Video("VP9 ", 64, 48), "preset=soon", "", L"no preset [soon]; there are: veryslow");
    for (const char* pass : {"pass=1", "pass=3:stats=s", "pass=2:stats=missing"})
        refuses(JobParam("MKV ").Video("VP9 ", 64, 48), pass, "");
    refuses(JobParam("MKV ").Video("H264", 64, 48), "movflags=+faststart", ""); // is another format's
    refuses(JobParam("AVI ").Video("MP4V", 64, 48), "bf=2", "");                // their order isn't the file's
    refuses(JobParam("MKV ").Video("H264", 64, 48), "preset=nosuchthing", "");
    refuses(JobParam("MKV ").Audio("AAC ", 48000, 2), "", "ar=8000");
    const KXDWORD colours[] = {3, KX_COLOUR(1, 99, 1, 1), KX_COLOUR(1, 1, 99, 1), KX_COLOUR(1, 1, 1, 99)};
    for (int i = 0; i < 8; ++i) {
        JobParam param = JobParam("MKV ").Video("H264", 64, 48);
        int* const words[] = {&param.video.nPixelAspectX, &param.video.nPixelAspectY, &param.video.nFieldOrder,
                              &param.video.nRotation};
        if (i < 4)
            param.video.dwColour = colours[i];
        else
            *words[i - 4] = 4;
        refuses(param, "", "", L"wpav: there is no such");
    }
    EXPECT_EQ(Bytes("old"), "kept");
}

TEST_F(FileTest, AudioMayComeBeforePictures)
{
    for (const char* format : {"MP4 ", "MKV ", "AVI "}) {
        SCOPED_TRACE(format);
        void* job = Open(Path("file"), JobParam(format).Video("MP4V", 64, 48).Audio("FLAC", 8000, 2));
        ASSERT_TRUE(job);
        EXPECT_TRUE(WriteSamples(job, TestSamples(8000, 2, 2), 8000, 2, 3200));
        for (int n = 0; n < 50; ++n)
            EXPECT_EQ(WritePicture(job, 64, 48, n), 1);
        const CloseReport report = Close(job);
        EXPECT_EQ(report.status, 0u);
        EXPECT_EQ(report.pictures, 50u);
        EXPECT_EQ(report.milliseconds, 2000u);
        const DecodedFile file = ReadMedia(Path("file"));
        ASSERT_EQ(file.pictures.size(), 50u);
        EXPECT_NEAR(file.pictures.front().seconds, 0, 0.0011);
        EXPECT_NEAR(file.pictures.back().seconds, 1.96, 0.0011);
        EXPECT_GT(Psnr(file.pictures.back().planes, TestPicture(64, 48, 49)), 34.0);
        EXPECT_TRUE(file.samples == TestSamples(8000, 2, 2));
    }
}

TEST_F(FileTest, RatesAndSizesAreWhatTheEncoderHolds)
{
    const struct {
        const char *format, *encoder;
        int width, height;
        double rate;
        int fileWidth, fileHeight;
        double fileRate;
    } cases[] = {
        {"MP4 ", "H264", 161, 97, 29.97, 160, 96, 30000.0 / 1001},
        {"MP4 ", "MP4V", 161, 97, 29.97, 161, 97, 30000.0 / 1001},
        {"MKV ", "H264", 1, 3, 23.976, 2, 2, 24000.0 / 1001},
        {"MKV ", "FFV1", 161, 97, 59.94, 161, 97, 60000.0 / 1001},
        {"AVI ", "H264", 33, 32, 29.97, 32, 32, 30000.0 / 1001},
        {"AVI ", "MP4V", 33, 31, 119.88, 33, 31, 2997.0 / 25},
        {"AVI ", "FFV1", 32, 32, 119.88, 32, 32, 120000.0 / 1001},
        {"AVI ", "FFV1", 32, 32, 0.5, 32, 32, 0.5},
        {"MP4 ", "HEVC", 161, 97, 29.97, 160, 96, 30000.0 / 1001},
        {"MKV ", "HEVC", 3, 3, 25, 64, 64, 25},
        {"WEBM", "VP8 ", 33, 1, 23.976, 33, 1, 24000.0 / 1001},
        {"WEBM", "VP9 ", 33, 1, 59.94, 33, 1, 60000.0 / 1001},
        {"WEBM", "AV1 ", 33, 1, 59.94, 33, 1, 60000.0 / 1001},
        {"AVI ", "MJPG", 33, 31, 29.97, 33, 31, 30000.0 / 1001},
        {"MOV ", "APCN", 33, 31, 23.976, 32, 30, 24000.0 / 1001},
        {"GIF ", "GIF ", 33, 31, 10, 33, 31, 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.format << c.encoder << " " << c.width << "x" << c.height);
        void* job = Open(Path("file"), JobParam(c.format).Video(c.encoder, c.width, c.height, c.rate));
        ASSERT_TRUE(job);
        const Planes planes = TestPicture(c.width, c.height, 0);
        MEDIA_FRAME frame = FrameOf(planes, c.width, c.height);
        for (int n = 0; n < 25; ++n) {
            frame.llStreamTime = static_cast<int64_t>(n * 1e7 / c.rate);
            EXPECT_EQ(FCWriteVideoFrame(job, &frame), 1);
        }
        EXPECT_EQ(Close(job).pictures, 25u);
        const DecodedFile file = ReadMedia(Path("file"));
        ASSERT_EQ(file.pictures.size(), 25u);
        EXPECT_EQ(file.pictures[0].width, c.fileWidth);
        EXPECT_EQ(file.pictures[0].height, c.fileHeight);
        EXPECT_NEAR(file.frameRate, c.fileRate, 1e-5);
        EXPECT_EQ(file.pixelAspect, 1.0);
        EXPECT_NEAR(file.pictures[24].seconds, 24 / c.fileRate, 0.0011);
    }
}

TEST_F(FileTest, AudioIsTheNearestThatTheEncoderHolds)
{
    const struct {
        const char *format, *encoder;
        int rate, channels, fileRate, fileChannels;
    } cases[] = {
        {"MP4 ", "AAC ", 45000, 9, 44100, 2},    {"MP4 ", "AAC ", 192000, 1, 96000, 1},
        {"MKV ", "AAC ", 1, 1, 7350, 1},         {"MKV ", "FLAC", 700000, 1, 655340, 1},
        {"MKV ", "FLAC", 65538, 1, 65540, 1},    {"MKV ", "FLAC", 48000, 12, 48000, 2},
        {"MKV ", "PCMS", 800000, 1, 768000, 1},  {"AVI ", "PCMS", 11025, 33, 11025, 2},
        {"WAV ", "PCM ", 800000, 33, 768000, 2}, {"MP3 ", "MP3 ", 50000, 6, 48000, 2},
        {"WEBM", "OPUS", 44100, 9, 48000, 2},    {"OGG ", "VORB", 500000, 9, 192000, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.format << c.encoder << c.rate);
        JobParam param = JobParam(c.format).Audio(c.encoder, c.rate, c.channels);
        param.audio.nBitsPerSample = 24; // of the source are 16
        const KXAudioInfo source = {c.fileRate, c.fileChannels, 16};
        void* job = FCCreateMediaFile((m_folder / "file").wstring().c_str(), &param, nullptr, &source);
        ASSERT_TRUE(job);
        const std::vector<int16_t> samples = TestSamples(c.fileRate, c.fileChannels, 0.1);
        EXPECT_TRUE(WriteSamples(job, samples, c.fileRate, c.fileChannels, 64000));
        EXPECT_EQ(Close(job).status, 0u);
        const DecodedFile file = ReadMedia(Path("file"));
        EXPECT_EQ(file.sampleRate, c.fileRate);
        EXPECT_EQ(file.channels, c.fileChannels);
    }
}

TEST_F(FileTest, BitRatesDecideTheSize)
{
    const auto sizeOf = [&](const std::string& encoder, int bitRate, int sampleRate = 44100) {
        JobParam param("MKV ");
        const bool isAudio = encoder == "AAC " || encoder == "VORB";
        isAudio ? param.Audio(encoder, sampleRate, 2) : param.Video(encoder, 320, 240);
        param.audio.nBitRate = param.video.nBitRate = bitRate;
        EXPECT_EQ(Make("file", param, isAudio ? 0 : 25, isAudio ? 2 : 0).status, 0u) << encoder << bitRate;
        return std::filesystem::file_size(Path("file"));
    };
    // Without a bit rate, video is as large as its quality asks for; each channel of AAC has 64 kbit/s, or 4 a sample.
    EXPECT_LT(2 * sizeOf("H264", 20000), sizeOf("H264", 0));
    EXPECT_GT(sizeOf("H264", 400000), 2 * sizeOf("H264", 0));
    EXPECT_LT(1.3 * sizeOf("MP4V", 2000), sizeOf("MP4V", 0));
    EXPECT_EQ(sizeOf("FFV1", 20000), sizeOf("FFV1", 0));
    EXPECT_EQ(sizeOf("AAC ", 128000), sizeOf("AAC ", 0));
    EXPECT_EQ(sizeOf("AAC ", 64000, 8000), sizeOf("AAC ", 0, 8000));
    EXPECT_LT(3 * sizeOf("AAC ", 32000), sizeOf("AAC ", 0));
    EXPECT_LT(sizeOf("VORB", 80000), sizeOf("VORB", 0));
    for (const std::string encoder : {"HEVC", "VP8 ", "VP9 ", "AV1 ", "MJPG"})
        EXPECT_LT(sizeOf(encoder, 20000), sizeOf(encoder, 0)) << encoder;
    // What must be a mistake in the unit is a low rate.
    for (const std::string encoder : {"H264", "MP4V", "AAC "})
        EXPECT_EQ(sizeOf(encoder, 1), sizeOf(encoder, 1000)) << encoder;
}

TEST_F(FileTest, JobsOnSeveralThreadsDoNotMix)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([this, t] {
            Make(std::to_string(t), JobParam("MKV ").Video("FFV1", 64 + t, 48).Audio("FLAC", 8000, 1), 25, 1);
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

TEST_F(FileTest, RefusedJobsLeaveTheOldFile)
{
    std::vector<JobParam> jobs = {
        JobParam("MP4 ").Audio("PCMS", 48000, 2), // encoders that the format doesn't hold
        JobParam("MP4 ").Video("FFV1", 64, 48),
        JobParam("MKV ").Video("I420", 64, 48), // of another plug-in
        JobParam("AVI ").Video("TPLV", 64, 48),
        JobParam("MKV ").Audio("PCM ", 48000, 2),
        JobParam("Y4M ").Video("H264", 64, 48),
        JobParam("WAV ").Audio("PCMS", 48000, 2),
        JobParam("TPL ").Video("H264", 64, 48).Audio("TPLA", 48000, 2),
        JobParam("TPL ").Video("TPLV", 64, 48).Audio("AAC ", 48000, 2),
        JobParam("MP4 ").Video("MP4V", 8192, 2),
        JobParam("MP4 ").Video("MP4V", 2, 8192),
        JobParam("MP4 ").Video("H264", 0, 48),
        JobParam("MKV ").Video("FFV1", 64, 0),
        JobParam("AVI ").Video("H264", 64, 48, 0),
        JobParam("AVI ").Video("H264", 64, 48, 0.001),
        JobParam("MKV ").Audio("AAC ", 0, 2),
        JobParam("MKV ").Audio("FLAC", 48000, 0),
        JobParam("MKV "),
        JobParam("MKV ").Video("H264", 64, 48),
        JobParam("MKV ").Audio("AAC ", 48000, 2),
    };
    jobs[jobs.size() - 2].video.nBitRate = jobs.back().audio.nBitRate = -1;
    std::ofstream(Path("old")) << "kept";
    for (const JobParam& job : jobs) {
        const auto number = &job - jobs.data();
        EXPECT_FALSE(Open(Path("old"), job)) << number;
        EXPECT_EQ(Bytes("old"), "kept") << number;
    }
}

// It is told at the close at the latest: encoders and containers have buffers. Only the first fault is logged.
TEST_F(FileTest, AFullDiskIsReported)
{
    for (const auto& [format, encoder, what] :
         {std::tuple{"MKV ", "FFV1", L"can't write [/dev"}, {"TS  ", "H264", L"can't finish [/dev"}}) {
        void* full = Open("/dev/full", JobParam(format).Video(encoder, 320, 240));
        ASSERT_TRUE(full);
        for (int n = 0; n < 50; ++n)
            WritePicture(full, 320, 240, n);
        EXPECT_EQ(Close(full).status, 1u);
        EXPECT_EQ(LogLines(what), 1) << encoder;
    }
}

// Pictures without planes and blocks of another rate leave a gap: the others are there, on time.
TEST_F(FileTest, FramesThatCannotBeReadAreReported)
{
    void* job = Open(Path("gap"), JobParam("MKV ").Video("FFV1", 64, 48).Audio("FLAC", 8000, 1));
    for (int n = 0; n < 10; ++n) {
        MEDIA_FRAME empty = {};
        empty.llStreamTime = n * kPeriod;
        const bool isEmpty = n >= 4 && n < 7;
        EXPECT_EQ(isEmpty ? FCWriteVideoFrame(job, &empty) : WritePicture(job, 64, 48, n), !isEmpty);
    }
    EXPECT_FALSE(WriteSamples(job, TestSamples(8000, 1, 0.1), 16000, 1, 800));
    EXPECT_EQ(Close(job).status, 1u);
    EXPECT_EQ(LogLines(L"wpav: a"), 2); // one of each kind
    const DecodedFile file = ReadMedia(Path("gap"));
    ASSERT_EQ(file.pictures.size(), 7u);
    EXPECT_NEAR(file.pictures.back().seconds, 0.36, 0.001);
}

// A name without a place for a number is that of one picture, and a "%" of a folder belongs to its name.
TEST_F(FileTest, PicturesAreFilesOfTheirOwn)
{
    std::filesystem::create_directory(m_folder / "100%d");
    const JobParam param = JobParam("PNG ").Video("PNG ", 32, 32);
    Make("100%d/a%02d.png", param, 3);
    Make("100%d/b.png", param, 1);
    for (const char* file : {"100%d/a01.png", "100%d/a03.png", "100%d/b.png"})
        EXPECT_TRUE(std::filesystem::exists(Path(file))) << file;
    void* job = Open(Path("one.png"), param);
    for (int n = 0; n < 3; ++n)
        WritePicture(job, 32, 32, n);
    EXPECT_EQ(Close(job).status, 1u);
    EXPECT_EQ(Bytes("one.png"), Bytes("100%d/b.png"));
    EXPECT_EQ(LogLines(L"no place for a number"), 1);
}

TEST_F(FileTest, FileNamesAreUtf8AndNoAddresses)
{
    for (const std::string name : {"\u00e4\u20ac\u65e5\U0001f600.mkv", "http:a%d.mkv"}) {
        Make(name, JobParam("MKV ").Video("FFV1", 16, 16), 1);
        EXPECT_TRUE(std::filesystem::is_regular_file(Path(name))) << name;
    }
}
