// What becomes of the source's shape and rate, and of what is asked for.
#include "host/job/JobPlan.h"

#include <gtest/gtest.h>

namespace
{

using namespace host;

JobPlan Plan(const EncodeOptions& options, const VideoFormat* video, const AudioFormat* audio = nullptr)
{
    static const FILEFORMAT_INFO format = {.dwFourCC = KX_FOURCC('M', 'K', 'V', ' ')};
    static const ENCODER_INFO videoEncoder = {.dwFourCC = KX_FOURCC('H', '2', '6', '4')};
    static const ENCODER_INFO audioEncoder = {.dwFourCC = KX_FOURCC('A', 'A', 'C', ' ')};
    return MakePlan(options, {&format, &videoEncoder, &audioEncoder}, video, audio);
}

} // namespace

TEST(JobPlan, PicturesGetTheWidthThatTheyAreShownWith)
{
    const struct {
        const char* what;
        int width, height;
        AVRational pixels;
        int outWidth, aspectX, aspectY; // 0: square pixels are no news to the library
    } cases[] = {
        {"square", 641, 361, {1, 1}, 641, 0, 0},
        {"as good as square", 640, 360, {401, 400}, 640, 0, 0},
        {"wide PAL", 720, 576, {64, 45}, 1024, 16, 9},
        {"narrow NTSC", 720, 480, {8, 9}, 640, 4, 3},
        {"made even", 99, 99, {3, 2}, 148, 3, 2},
        {"no wider than there is room", 16000, 100, {2, 1}, 16384, 320, 1},
        {"never nothing", 16, 16, {1, 100}, 2, 1, 100},
    };
    for (const auto& [what, width, height, pixels, outWidth, aspectX, aspectY] : cases) {
        SCOPED_TRACE(what);
        const VideoFormat video = {width, height, {25, 1}, pixels};
        const JobPlan plan = Plan({}, &video);
        EXPECT_EQ(plan.param.video.nWidth, outWidth);
        EXPECT_EQ(plan.param.video.nHeight, height);
        EXPECT_EQ(plan.videoInfo.width, width);
        EXPECT_EQ(plan.videoInfo.aspectx, aspectX);
        EXPECT_EQ(plan.videoInfo.aspecty, aspectY);
        EXPECT_EQ(plan.param.video.nResizeMethod, IMAGE_RESIZE_STRETCH) << "a rounding is no reason for bars";
    }
}

TEST(JobPlan, TheRateIsTheSourcesWithinTheLibrarysLimits)
{
    const struct {
        const char* what;
        AVRational source;
        std::optional<AVRational> asked;
        AVRational out;
    } cases[] = {
        {"the source's", {30000, 1001}, {}, {30000, 1001}},
        {"the highest", {200, 1}, {}, {200, 1}},
        {"halved", {240, 1}, {}, {240, 2}},
        {"halved until it fits", {1000, 1}, {}, {1000, 8}},
        {"single pictures", {1, 200}, {}, {1, 1}},
        {"as asked", {240, 1}, AVRational{50, 1}, {50, 1}},
    };
    for (const auto& [what, source, asked, out] : cases) {
        SCOPED_TRACE(what);
        const VideoFormat video = {64, 64, source, {1, 1}};
        const JobPlan plan = Plan({.frameRate = asked}, &video);
        EXPECT_EQ(plan.frameRate.num, out.num);
        EXPECT_EQ(plan.frameRate.den, out.den);
        EXPECT_EQ(plan.param.video.dFrameRate, av_q2d(out));
        EXPECT_EQ(plan.videoInfo.framerate, av_q2d(source));
    }
}

TEST(JobPlan, FieldsStayWhereTheirRowsDo)
{
    const struct {
        const char* what;
        Fields source;
        EncodeOptions options;
        int order;
        bool isDeinterlaced;
    } cases[] = {
        {"unknown", Fields::kUnknown, {.size = PictureSize{320, 240}}, 0, false},
        {"whole", Fields::kNone, {}, KX_FIELDS_PROGRESSIVE, false},
        {"kept", Fields::kTopFirst, {}, KX_FIELDS_TOP_FIRST, false},
        {"wider", Fields::kBottomFirst, {.size = PictureSize{1280, 576}}, KX_FIELDS_BOTTOM_FIRST, false},
        {"narrower, with bars", Fields::kTopFirst, {.size = PictureSize{640, 576}}, KX_FIELDS_PROGRESSIVE, true},
        {"lower", Fields::kTopFirst, {.size = PictureSize{720, 288}}, KX_FIELDS_PROGRESSIVE, true},
        {"turned", Fields::kMixed, {}, KX_FIELDS_PROGRESSIVE, true},
        {"asked for", Fields::kUnknown, {.deinterlace = true}, KX_FIELDS_PROGRESSIVE, true},
        {"refused", Fields::kTopFirst, {.size = PictureSize{720, 288}, .deinterlace = false}, 0, false},
    };
    for (const auto& [what, source, options, order, isDeinterlaced] : cases) {
        const VideoFormat video = {720, 576, {25, 1}, {1, 1}, {}, source};
        const JobPlan plan = Plan(options, &video);
        EXPECT_EQ(plan.param.video.nFieldOrder, order) << what;
        EXPECT_EQ(plan.isDeinterlaced, isDeinterlaced) << what;
    }
}

TEST(JobPlan, WhatIsAskedForGoesBeforeTheSources)
{
    const VideoFormat video = {720, 576, {25, 1}, {64, 45}, {.matrix = 9, .primaries = 8, .transfer = 16}};
    const AudioFormat audio = {44100, 2};
    const JobPlan asked = Plan({.size = PictureSize{321, 123},
                                .interpolation = IMAGE_INTERPOLATION_NEAR,
                                .videoBitRate = 800000,
                                .audioBitRate = 96000,
                                .sampleRate = 48000,
                                .channels = 1,
                                .pictures = 7},
                               &video, &audio);
    EXPECT_EQ(asked.param.video.nWidth, 321);
    EXPECT_EQ(asked.param.video.nHeight, 123);
    EXPECT_EQ(asked.param.video.nResizeMethod, IMAGE_RESIZE_KEEP);
    EXPECT_EQ(asked.param.video.nInterpolation, IMAGE_INTERPOLATION_NEAR);
    EXPECT_EQ(asked.param.video.nBitRate, 800000);
    EXPECT_EQ(asked.param.audio.nBitRate, 96000);
    EXPECT_EQ(asked.param.audio.nSampleRate, 48000);
    EXPECT_EQ(asked.param.audio.nChannels, 1);
    EXPECT_EQ(asked.audioInfo.samplerate, 44100);
    EXPECT_EQ(asked.audioInfo.channels, 2);
    EXPECT_EQ(asked.pictures, 7);
    EXPECT_EQ(asked.param.video.dwColour, KX_COLOUR(KX_RANGE_LIMITED, 9, 8, 16));
    EXPECT_EQ(Plan({.size = PictureSize{99, 99}, .fit = IMAGE_RESIZE_CROP}, &video).param.video.nResizeMethod,
              IMAGE_RESIZE_CROP);

    const JobPlan mute = Plan({}, &video), blind = Plan({}, nullptr, &audio);
    EXPECT_TRUE(mute.param.bAudioDisabled);
    EXPECT_FALSE(mute.param.bVideoDisabled);
    EXPECT_TRUE(blind.param.bVideoDisabled);
    EXPECT_EQ(blind.param.audio.nSampleRate, 44100);
    EXPECT_EQ(blind.param.audio.nChannels, 2);
}
