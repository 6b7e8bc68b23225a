// Decoded pictures and samples of any kind become those that the library takes.
#include "Common/Image/ImageResize.h"
#include "host/sources/PictureConverter.h"
#include "host/sources/PictureScaler.h"
#include "host/sources/SampleConverter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <numbers>
#include <numeric>

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

namespace
{

// Samples that no filter leaves as they are.
std::shared_ptr<AVFrame> Noise(int width, int height)
{
    auto frame = NewPicture(AV_PIX_FMT_YUV420P, width, height);
    unsigned state = 1;
    for (int plane = 0; plane < 3; ++plane)
        for (int i = 0; i < (plane ? (height + 1) / 2 : height) * frame->linesize[plane]; ++i)
            frame->data[plane][i] = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    return frame;
}

// The mean of the square of the source behind a pixel of luma.
double MeanBehind(const AVFrame& frame, int x, int y, int side)
{
    int sum = 0;
    for (int row = y; row < y + side; ++row)
        sum += std::accumulate(frame.data[0] + row * frame.linesize[0] + x,
                               frame.data[0] + row * frame.linesize[0] + x + side, 0);
    return static_cast<double>(sum) / side / side;
}

} // namespace

TEST(PictureScaler, SmoothIsTheMeanOfEachArea)
{
    const auto picture = Noise(99, 63);
    for (const int factor : {3, 4}) {
        const PictureSize from = {80 / factor * factor, 48}, to = {from.width / factor, from.height / factor};
        PictureScaler scaler({Scaling::kSmooth, {99, 63}, 10, 6, from, to});
        const AVFrame& scaled = scaler.Scale(*picture);
        for (int y = 0; y < to.height; ++y)
            for (int x = 0; x < to.width; ++x)
                ASSERT_NEAR(scaled.data[0][y * scaled.linesize[0] + x],
                            MeanBehind(*picture, 10 + x * factor, 6 + y * factor, factor), 0.6)
                    << x << " " << y << " of " << factor;
    }
}

// By the definition in the toolbox, each plane for itself.
TEST(PictureScaler, CubicIsTheLibrarysConvolution)
{
    const auto picture = Noise(41, 31);
    PictureScaler scaler({Scaling::kCubic, {41, 31}, 0, 0, {41, 31}, {57, 20}});
    const AVFrame& scaled = scaler.Scale(*picture);
    Bitmap source(41, 31), target(57, 20);
    for (int y = 0; y < 31; ++y)
        for (int x = 0; x < 41; ++x)
            source.MemoryRow(30 - y)[4 * x + 2] = picture->data[0][y * picture->linesize[0] + x];
    IMG_PARAM param = target.Param();
    ASSERT_EQ(ImageResize(source.Param(), param, IMAGE_INTERPOLATION_CONVOLVE), 1);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 57; ++x)
            ASSERT_EQ(scaled.data[0][y * scaled.linesize[0] + x], target.MemoryRow(19 - y)[4 * x + 2]);
    // Neither chroma plane has anything of the other, and the next picture isn't taken for this one.
    const auto flat = Flat(AV_PIX_FMT_YUV420P, 41, 31, {50, 90, 200});
    ExpectFlat(&scaler.Scale(*flat), 57, 20, {50, 90, 200});
    for (const PictureSize tiny : {PictureSize{1, 1}, PictureSize{3, 500}}) {
        PictureScaler least({Scaling::kCubic, {41, 31}, 0, 0, {41, 31}, tiny});
        ExpectFlat(&least.Scale(*flat), tiny.width, tiny.height, {50, 90, 200});
    }
}

TEST(PictureScaler, WhatCantBeSeenLeavesNoEdge)
{
    Bitmap picture(9, 9);
    for (int i = 0; i < 81; ++i) { // white in the left, black that can't be seen in the right
        const bool isSeen = i % 9 < 4;
        std::fill_n(picture.bytes.begin() + 4 * i, 4, static_cast<unsigned char>(isSeen ? 255 : 0));
    }
    Bitmap small = ScaledSmoothly(picture, {3, 3});
    const std::vector<int> opacities = {255, 85, 0};
    for (int x = 0; x < 3; ++x) {
        EXPECT_EQ(small.MemoryRow(1)[4 * x + 3], opacities[static_cast<size_t>(x)]);
        EXPECT_EQ(small.MemoryRow(1)[4 * x], x < 2 ? 255 : 0);
    }
}

TEST(PictureConverter, WhatIsRightAlreadyPassesAsItIs)
{
    PictureConverter converter(64, 48, AVCOL_SPC_SMPTE170M);
    const auto frame = Flat(AV_PIX_FMT_YUV420P, 64, 48, {200, 90, 160});
    EXPECT_EQ(converter.Convert(frame), frame);
    frame->color_range = AVCOL_RANGE_MPEG;
    EXPECT_EQ(converter.Convert(frame), frame);

    const auto onDevice = Flat(AV_PIX_FMT_YUV444P, 64, 48, {200, 90, 160});
    onDevice->format = AV_PIX_FMT_VAAPI; // which isn't in memory
    EXPECT_EQ(converter.Convert(onDevice), nullptr);
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
    const auto colour = [](int height, AVPixelFormat format, AVColorSpace matrix) {
        AVCodecParameters stream = {};
        stream.width = 1279;
        stream.height = height;
        stream.format = format;
        stream.color_space = matrix;
        stream.color_primaries = AVCOL_PRI_UNSPECIFIED;
        stream.color_trc = AVCOL_TRC_SMPTE2084;
        return ColourOf(stream);
    };
    EXPECT_EQ(colour(576, AV_PIX_FMT_YUV420P, AVCOL_SPC_UNSPECIFIED).matrix, AVCOL_SPC_SMPTE170M);
    EXPECT_EQ(colour(577, AV_PIX_FMT_YUV420P, AVCOL_SPC_UNSPECIFIED).matrix, AVCOL_SPC_BT709);
    EXPECT_EQ(colour(577, AV_PIX_FMT_GBRP, AVCOL_SPC_RGB).matrix, AVCOL_SPC_BT709);
    const PictureColour hdr = colour(576, AV_PIX_FMT_YUV420P10, AVCOL_SPC_BT2020_NCL);
    EXPECT_EQ(hdr.matrix, AVCOL_SPC_BT2020_NCL);
    EXPECT_EQ(hdr.primaries, 0);
    EXPECT_STREQ(HdrTransferName(hdr), "PQ");
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

TEST(SampleConverter, TonesStayPureAndHighOnesDontFoldBack)
{
    const auto wave = [](double hertz, int rate, int i) {
        return 16384 * std::sin(2 * std::numbers::pi * hertz * i / rate);
    };
    // What comes out at 30 to 70 % of a second is the tone, or silence if the rate is too low for it, but for 4 steps
    // of 16384: 70 dB. The count is right to the sample.
    for (const auto& [in, out, hertz] :
         {std::tuple(44100, 48000, 10000), {48000, 44100, 15000}, {96000, 44100, 30000}}) {
        SampleConverter converter({out, 2});
        std::vector<int16_t> samples;
        const auto add = [&samples](const std::vector<int16_t>& part) {
            samples.insert(samples.end(), part.begin(), part.end());
        };
        for (int first = 0; first + 1001 <= in; first += 1001) {
            auto frame = Tone(AV_SAMPLE_FMT_S16, in, kMono);
            frame->nb_samples = 1001;
            for (int i = 0; i < 1001; ++i)
                reinterpret_cast<int16_t*>(frame->data[0])[i] =
                    static_cast<int16_t>(std::lround(wave(hertz, in, first + i)));
            add(*converter.Convert(*frame));
        }
        add(converter.Flush());
        const int64_t given = in / 1001 * 1001; // whole frames
        ASSERT_EQ(samples.size(), 2u * static_cast<size_t>((given * out + in - 1) / in));
        double most = 0;
        for (int i = out * 3 / 10; i < out * 7 / 10; ++i)
            for (size_t side = 0; side < 2; ++side)
                most = std::max(most, std::fabs(samples[2 * static_cast<size_t>(i) + side] -
                                                (2 * hertz < out ? wave(hertz, out, i) : 0)));
        EXPECT_LT(most, 4) << in << " to " << out;
    }
    SampleConverter brief({48000, 1}); // shorter than the filter
    const auto few = Tone(AV_SAMPLE_FMT_S16, 44100, kMono);
    few->nb_samples = 7;
    EXPECT_EQ(brief.Convert(*few)->size() + brief.Flush().size(), 8u);
}
