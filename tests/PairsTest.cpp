// Every format with each pair of its encoders: nothing is lost, and what belongs together comes together.
#include "tests/FileJob.h"
#include "tests/MediaReader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace
{

constexpr int kWidth = 160, kHeight = 96, kPictures = 100, kSampleRate = 48000, kSeconds = 4;
constexpr int kFlashes[] = {25, 75}; // the pictures that are bright, for whose time a tone sounds

std::vector<int16_t> Beeps()
{
    std::vector<int16_t> samples(size_t{2} * kSampleRate * kSeconds);
    for (const int flash : kFlashes)
        for (int i = 0; i < kSampleRate / kRate; ++i)
            for (const int channel : {0, 1})
                samples[static_cast<size_t>(2 * (flash * kSampleRate / kRate + i) + channel)] =
                    static_cast<int16_t>(std::lrint(16000 * std::cos(i * 0.13)));
    return samples;
}

// How far the beep is behind the flash, in seconds; that of the pair that is worse.
double WorstDelay(const DecodedFile& file)
{
    double worst = 0;
    for (const int flash : kFlashes) {
        const double due = flash / double{kRate};
        const auto bright =
            std::find_if(file.pictures.begin(), file.pictures.end(), [due](const DecodedPicture& picture) {
                return picture.seconds > due - 0.5 && picture.MeanLuma(kHeight) > 120;
            });
        const auto from = static_cast<size_t>(std::lrint((due - 0.5 - file.firstSampleSeconds) * kSampleRate)) * 2;
        size_t loud = from;
        while (loud < file.samples.size() && std::abs(file.samples[loud]) < 6000)
            ++loud;
        if (bright == file.pictures.end() || loud == file.samples.size())
            return 1e9;
        const double beep = file.firstSampleSeconds + static_cast<double>(loud) / 2 / kSampleRate;
        if (std::abs(beep - bright->seconds) >= std::abs(worst))
            worst = beep - bright->seconds;
    }
    return worst;
}

class PairsTest : public FileJobTest
{
protected:
    DecodedFile MakePair(const std::string& format, const std::string& video, const std::string& audio) const
    {
        void* const job =
            Open(Path("file"), JobParam(format).Video(video, kWidth, kHeight).Audio(audio, kSampleRate, 2));
        EXPECT_TRUE(job);
        std::vector<unsigned char> luma(kWidth * kHeight), chroma(kWidth * kHeight / 4, 128);
        for (int n = 0; n < kPictures; ++n) {
            const bool isBright = std::find(std::begin(kFlashes), std::end(kFlashes), n) != std::end(kFlashes);
            for (size_t i = 0; i < luma.size(); ++i) // a little moves all the time
                luma[i] = static_cast<unsigned char>((isBright ? 200 : 40) + (static_cast<int>(i % kWidth) + n) % 16);
            MEDIA_FRAME frame = {};
            frame.video.nWidth = frame.video.nPitchY = kWidth;
            frame.video.nHeight = kHeight;
            frame.video.nPitchU = frame.video.nPitchV = kWidth / 2;
            frame.video.pY = luma.data();
            frame.video.pU = frame.video.pV = chroma.data();
            frame.llStreamTime = frame.llTimeStamp = n * kPeriod;
            EXPECT_EQ(FCWriteVideoFrame(job, &frame), 1);
        }
        EXPECT_TRUE(WriteSamples(job, Beeps(), kSampleRate, 2, 4096));
        const CloseReport report = Close(job);
        EXPECT_EQ(report.status, 0u);
        EXPECT_EQ(report.pictures, static_cast<unsigned>(kPictures));
        return ReadMedia(Path("file"));
    }
};

} // namespace

TEST_F(PairsTest, PicturesAndAudioStayTogether)
{
    for (const FILEFORMAT_INFO* format = FCGetFileFormatInfos(); format && format->dwFourCC; ++format) {
        if (Text(format->dwFourCC) == "TPL " || format->nAudioEncoders == 0)
            continue;
        for (int v = 0; v < format->nVideoEncoders; ++v) {
            const ENCODER_INFO& video = *format->ppVideoEncoders[v];
            std::printf("pair | %ls | %ls |", format->szShortName, video.szName);
            for (int a = 0; a < format->nAudioEncoders; ++a) {
                const ENCODER_INFO& audio = *format->ppAudioEncoders[a];
                SCOPED_TRACE(testing::Message() << format->szShortName << " " << video.szName << " " << audio.szName);
                const DecodedFile file = MakePair(Text(format->dwFourCC), Text(video.dwFourCC), Text(audio.dwFourCC));
                EXPECT_EQ(file.pictures.size(), static_cast<size_t>(kPictures));
                EXPECT_NEAR(file.AudioSeconds(), kSeconds, 1152.0 / kSampleRate + 0.001); // a frame of MP3
                const double delay = WorstDelay(file);
                EXPECT_LT(std::abs(delay), 0.020);
                std::printf("%s %ls %.1f", a ? "," : "", audio.szName, std::round(10000 * delay) / 10 + 0.0);
            }
            std::printf(" |\n");
        }
    }
}
