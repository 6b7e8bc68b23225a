// Decoded pictures and samples of any kind become those that the library takes.
#include "host/sources/PictureConverter.h"
#include "host/sources/SampleConverter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <numbers>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace
{

using namespace host;

// One colour: a value for each plane, or for packed RGB the bytes of a pixel.
std::shared_ptr<AVFrame> Flat(AVPixelFormat format, int width, int height, const std::vector<uint8_t>& values)
{
    auto frame = NewPicture(format, width, height);
    const AVPixFmtDescriptor& layout = *av_pix_fmt_desc_get(format);
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        const int rows = plane ? AV_CEIL_RSHIFT(height, layout.log2_chroma_h) : height;
        for (int i = 0; i < rows * frame->linesize[plane]; ++i)
            frame->data[plane][i] = layout.flags & AV_PIX_FMT_FLAG_PLANAR
                                        ? values[static_cast<size_t>(plane)]
                                        : values[static_cast<size_t>(i % frame->linesize[0] % 3)];
    }
    return frame;
}

// Whether every sample of each plane is within 1 of the value.
void ExpectFlat(const AVFrame* frame, int width, int height, const std::vector<int>& values)
{
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->format, AV_PIX_FMT_YUV420P);
    ASSERT_EQ(frame->width, width);
    ASSERT_EQ(frame->height, height);
    for (int plane = 0; plane < 3; ++plane) {
        const int columns = plane ? (width + 1) / 2 : width, rows = plane ? (height + 1) / 2 : height;
        int least = 255, most = 0;
        for (int y = 0; y < rows; ++y) {
            const uint8_t* const row = frame->data[plane] + y * frame->linesize[plane];
            least = std::min<int>(least, *std::min_element(row, row + columns));
            most = std::max<int>(most, *std::max_element(row, row + columns));
        }
        EXPECT_NEAR(least, values[static_cast<size_t>(plane)], 1) << "plane " << plane;
        EXPECT_NEAR(most, values[static_cast<size_t>(plane)], 1) << "plane " << plane;
    }
}

// 0.1 seconds of a tone at half of full scale, alike in every channel unless only one is to sound.
std::shared_ptr<AVFrame> Tone(AVSampleFormat format, int rate, const AVChannelLayout& layout, int only = -1)
{
    auto frame = NewFrame();
    frame->format = format;
    frame->sample_rate = rate;
    frame->nb_samples = rate / 10;
    av_channel_layout_copy(&frame->ch_layout, &layout);
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        throw std::bad_alloc();
    for (int channel = 0; channel < layout.nb_channels; ++channel) {
        for (int i = 0; i < frame->nb_samples; ++i) {
            const bool isMute = only >= 0 && only != channel;
            const double value = isMute ? 0.0 : std::round(16384 * std::sin(2 * std::numbers::pi * 441 * i / rate));
            if (format == AV_SAMPLE_FMT_FLTP)
                reinterpret_cast<float*>(frame->extended_data[channel])[i] = static_cast<float>(value / 32768);
            else
                reinterpret_cast<int16_t*>(frame->data[0])[i * layout.nb_channels + channel] =
                    static_cast<int16_t>(value);
        }
    }
    return frame;
}

int PeakOf(const std::vector<int16_t>& samples, size_t channel, size_t channels)
{
    int peak = 0;
    for (size_t i = channel; i < samples.size(); i += channels)
        peak = std::max(peak, std::abs(samples[i]));
    return peak;
}

const AVChannelLayout kMono = AV_CHANNEL_LAYOUT_MONO, kStereo = AV_CHANNEL_LAYOUT_STEREO,
                      kSurround = AV_CHANNEL_LAYOUT_5POINT1;

} // namespace

TEST(PictureConverter, WhatIsRightAlreadyPassesAsItIs)
{
    PictureConverter converter(64, 48, AVCOL_SPC_SMPTE170M);
    const auto frame = Flat(AV_PIX_FMT_YUV420P, 64, 48, {200, 90, 160});
    EXPECT_EQ(converter.Convert(frame), frame);
    frame->color_range = AVCOL_RANGE_MPEG;
    EXPECT_EQ(converter.Convert(frame), frame);
}

TEST(PictureConverter, FullRangeBecomesLimitedHoweverItIsTold)
{
    PictureConverter converter(64, 48, AVCOL_SPC_SMPTE170M); // one for all: each frame differs from the one before
    for (const AVPixelFormat format : {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ444P,
                                       AV_PIX_FMT_YUVJ440P, AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV444P}) {
        SCOPED_TRACE(av_get_pix_fmt_name(format));
        const auto white = Flat(format, 64, 48, {255, 128, 255}), black = Flat(format, 64, 48, {0, 0, 128});
        if (format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUV444P) // the others have it in their names
            white->color_range = black->color_range = AVCOL_RANGE_JPEG;
        ExpectFlat(converter.Convert(white).get(), 64, 48, {235, 128, 239});
        ExpectFlat(converter.Convert(black).get(), 64, 48, {16, 16, 128});
    }
    // The range alone changes in mid-stream.
    const auto limited = Flat(AV_PIX_FMT_YUV444P, 64, 48, {235, 16, 240});
    ExpectFlat(converter.Convert(limited).get(), 64, 48, {235, 16, 240});
}

// Red in BT.601 and BT.709.
TEST(PictureConverter, EveryPictureHasTheMatrixThatIsAnnounced)
{
    const std::vector<uint8_t> red601 = {81, 90, 240}, red709 = {63, 102, 240};
    PictureConverter small(64, 48, AVCOL_SPC_SMPTE170M), large(64, 48, AVCOL_SPC_BT709);
    const auto rgb = Flat(AV_PIX_FMT_RGB24, 64, 48, {255, 0, 0});
    ExpectFlat(small.Convert(rgb).get(), 64, 48, {81, 90, 240});
    ExpectFlat(large.Convert(rgb).get(), 64, 48, {63, 102, 240});
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV444P}) {
        const auto frame = Flat(format, 64, 48, red601);
        ExpectFlat(large.Convert(frame).get(), 64, 48, {81, 90, 240}); // names none
        frame->colorspace = AVCOL_SPC_BT470BG;                         // another name of small's
        ExpectFlat(small.Convert(frame).get(), 64, 48, {81, 90, 240});
        ExpectFlat(large.Convert(frame).get(), 64, 48, {63, 102, 240});
    }
}

TEST(PictureColour, IsTheStreamsWithAMatrixInAnyCase)
{
    AVCodecParameters stream = {};
    stream.width = 720;
    stream.height = 576;
    stream.format = AV_PIX_FMT_YUV420P;
    stream.color_space = AVCOL_SPC_UNSPECIFIED;
    stream.color_primaries = AVCOL_PRI_UNSPECIFIED;
    stream.color_trc = AVCOL_TRC_RESERVED;
    EXPECT_EQ(ColourOf(stream).matrix, AVCOL_SPC_SMPTE170M);
    EXPECT_EQ(ColourOf(stream).primaries, 0);
    EXPECT_EQ(ColourOf(stream).transfer, 0);
    stream.height = 577;
    EXPECT_EQ(ColourOf(stream).matrix, AVCOL_SPC_BT709);
    stream.color_space = AVCOL_SPC_BT2020_NCL;
    stream.color_primaries = AVCOL_PRI_BT2020;
    stream.color_trc = AVCOL_TRC_SMPTE2084;
    EXPECT_EQ(ColourOf(stream).matrix, AVCOL_SPC_BT2020_NCL);
    EXPECT_EQ(ColourOf(stream).primaries, AVCOL_PRI_BT2020);
    EXPECT_STREQ(HdrTransferName(ColourOf(stream)), "PQ");
    stream.format = AV_PIX_FMT_GBRP;
    EXPECT_EQ(ColourOf(stream).matrix, AVCOL_SPC_BT709);
    EXPECT_FALSE(IsHighDefinition(1279, 576));
    EXPECT_TRUE(IsHighDefinition(1280, 576));
}

TEST(PictureConverter, OddSizesAndOtherSizesFillTheWholePicture)
{
    PictureConverter converter(65, 33, AVCOL_SPC_SMPTE170M);
    ExpectFlat(converter.Convert(Flat(AV_PIX_FMT_YUV422P, 65, 33, {100, 50, 200})).get(), 65, 33, {100, 50, 200});
    ExpectFlat(converter.Convert(Flat(AV_PIX_FMT_YUV420P, 31, 99, {100, 50, 200})).get(), 65, 33, {100, 50, 200});
    ExpectFlat(converter.Convert(Flat(AV_PIX_FMT_YUV444P, 65, 33, {90, 60, 70})).get(), 65, 33, {90, 60, 70});
    for (const auto& [width, height] : {std::pair(1, 1), {1, 64}, {3, 5}, {65, 33}}) {
        PictureConverter small(width, height, AVCOL_SPC_SMPTE170M);
        ExpectFlat(small.Convert(Flat(AV_PIX_FMT_RGB24, width, height, {255, 0, 0})).get(), width, height,
                   {81, 90, 240});
    }
}

TEST(SampleConverter, SixteenBitsPassAndFloatsAreScaled)
{
    SampleConverter converter({48000, 2});
    const auto tone = Tone(AV_SAMPLE_FMT_S16, 48000, kStereo);
    const auto* const begin = reinterpret_cast<const int16_t*>(tone->data[0]);
    const std::vector<int16_t> wanted(begin, begin + 2 * 4800);
    EXPECT_EQ(converter.Convert(*tone), wanted);
    EXPECT_EQ(converter.Convert(*Tone(AV_SAMPLE_FMT_FLTP, 48000, kStereo)), wanted);
}

TEST(SampleConverter, EveryChannelOfSurroundIsHeardButTheLowOne)
{
    for (int only = 0; only < 6; ++only) {
        SampleConverter converter({48000, 2});
        const auto samples = converter.Convert(*Tone(AV_SAMPLE_FMT_FLTP, 48000, kSurround, only));
        ASSERT_TRUE(samples);
        ASSERT_EQ(samples->size(), 9600u);
        const bool left = only == 0 || only == 2 || only == 4, right = only == 1 || only == 2 || only == 5;
        EXPECT_EQ(PeakOf(*samples, 0, 2) > 2000, left) << only;
        EXPECT_EQ(PeakOf(*samples, 1, 2) > 2000, right) << only;
    }
}

TEST(SampleConverter, ARateThatChangesInMidStreamIsBroughtToTheFirst)
{
    SampleConverter converter({48000, 1});
    for (const int rate : {48000, 24000, 24000, 44100, 96000, 48000}) {
        const AVSampleFormat format = rate == 24000 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_FLTP;
        const auto samples = converter.Convert(*Tone(format, rate, rate == 44100 ? kStereo : kMono));
        ASSERT_TRUE(samples) << rate;
        EXPECT_NEAR(static_cast<double>(samples->size()), 4800, 40) << rate;
        EXPECT_NEAR(PeakOf(*samples, 0, 1), 16384, 1200) << rate;
    }
    EXPECT_FALSE(converter.Convert(*NewFrame()));

    // Nameless channels are no change: what the filter holds back of a frame comes with the next.
    const AVChannelLayout nameless = {.order = AV_CHANNEL_ORDER_UNSPEC, .nb_channels = 1, .u = {}, .opaque = nullptr};
    converter.Convert(*Tone(AV_SAMPLE_FMT_FLTP, 24000, nameless));
    EXPECT_EQ(converter.Convert(*Tone(AV_SAMPLE_FMT_FLTP, 24000, nameless))->size(), 4800u);
}

// 10 kHz at 44.1 kHz come out at 48 kHz as 10 kHz and hardly anything else; what lies above the lower rate's reach is
// gone.
TEST(SampleConverter, TonesStayPureAndHighOnesDontFoldBack)
{
    const auto run = [](int rateIn, int rateOut, double hertz) {
        SampleConverter converter({rateOut, 2});
        std::vector<int16_t> samples;
        for (int block = 0; block < 50; ++block) {
            auto frame = Tone(AV_SAMPLE_FMT_S16, rateIn, kMono);
            frame->nb_samples = 1001;
            for (int i = 0; i < 1001; ++i)
                reinterpret_cast<int16_t*>(frame->data[0])[i] = static_cast<int16_t>(
                    std::lround(16384 * std::sin(2 * std::numbers::pi * hertz * (block * 1001 + i) / rateIn)));
            const auto part = converter.Convert(*frame);
            samples.insert(samples.end(), part->begin(), part->end());
        }
        const auto rest = converter.Flush();
        samples.insert(samples.end(), rest.begin(), rest.end());
        EXPECT_EQ(samples.size(), 2u * static_cast<size_t>(std::ceil(50050.0 * rateOut / rateIn))) << rateIn;
        return samples;
    };
    // The part of the tone by projection, over whole periods in the middle; the rest is junk.
    const auto samples = run(44100, 48000, 10000.0);
    constexpr size_t first = 4800, count = 38400;
    double sine = 0, cosine = 0, power = 0;
    for (size_t i = first; i < first + count; ++i) {
        EXPECT_EQ(samples[2 * i], samples[2 * i + 1]);
        const double angle = 2 * std::numbers::pi * 10000.0 * static_cast<double>(i) / 48000;
        sine += samples[2 * i] * std::sin(angle) * 2 / count;
        cosine += samples[2 * i] * std::cos(angle) * 2 / count;
        power += samples[2 * i] * samples[2 * i] * 2.0 / count;
    }
    const double tone = sine * sine + cosine * cosine;
    EXPECT_NEAR(std::sqrt(tone), 16384, 20);
    EXPECT_GT(10 * std::log10(tone / (power - tone)), 80.0);

    const auto folded = run(96000, 44100, 30000.0);
    EXPECT_LT(PeakOf(std::vector<int16_t>(folded.begin() + 2000, folded.end() - 2000), 0, 2), 4);
    SampleConverter brief({48000, 1});
    const auto few = Tone(AV_SAMPLE_FMT_S16, 44100, kMono);
    few->nb_samples = 7;
    EXPECT_TRUE(brief.Convert(*few)->empty());
    EXPECT_EQ(brief.Flush().size(), 8u); // shorter than the filter, but there
}
