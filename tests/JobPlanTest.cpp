// What becomes of the source's shape and rate, and of what is asked for.
#include "host/job/JobPlan.h"
#include "host/job/PlanReport.h"
#include "host/job/Revisions.h"

#include <functional>
#include <gtest/gtest.h>
#include <tuple>

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

// The shape of pixels goes into the file; where a size or a shape is asked for, pixels become square.
TEST(JobPlan, PicturesKeepTheShapeInWhichTheyAreShown)
{
    const struct {
        const char* what;
        PictureSize source;
        AVRational pixels;
        EncodeOptions options;
        PictureSize out;
        AVRational stated, shown; // 0: not said
    } cases[] = {
        {"square", {641, 361}, {1, 1}, {}, {641, 361}, {0, 0}, {0, 0}},
        {"as good as square", {640, 360}, {401, 400}, {}, {640, 360}, {0, 0}, {0, 0}},
        {"wide PAL", {720, 576}, {64, 45}, {}, {720, 576}, {64, 45}, {16, 9}},
        {"wide PAL, in its own shape", {720, 576}, {64, 45}, {.fit = IMAGE_RESIZE_KEEP}, {1024, 576}, {0, 0}, {16, 9}},
        {"made even", {99, 99}, {3, 2}, {.fit = IMAGE_RESIZE_KEEP}, {148, 99}, {0, 0}, {3, 2}},
        {"a free side", {720, 576}, {64, 45}, {.size = PictureSize{1280, kFree}}, {1280, 720}, {0, 0}, {16, 9}},
        {"even", {720, 480}, {8, 9}, {.size = PictureSize{kFreeEven, 301}}, {402, 301}, {0, 0}, {4, 3}},
        {"any", {720, 480}, {8, 9}, {.size = PictureSize{kFreeAny, 301}}, {401, 301}, {0, 0}, {4, 3}},
        {"of a shape",
         {640, 480},
         {1, 1},
         {.size = PictureSize{640, kFree}, .fit = IMAGE_RESIZE_16_9},
         {640, 360},
         {},
         {}},
        {"as much as there is room", {16000, 16}, {1, 1}, {.size = PictureSize{kFree, 720}}, {16384, 720}, {}, {}},
    };
    for (const auto& [what, source, pixels, options, out, stated, shown] : cases) {
        SCOPED_TRACE(what);
        const VideoFormat video = {source.width, source.height, {25, 1}, pixels};
        const JobPlan plan = Plan(options, &video);
        EXPECT_EQ(plan.param.video.nWidth, out.width);
        EXPECT_EQ(plan.param.video.nHeight, out.height);
        EXPECT_EQ(plan.param.video.nPixelAspectX, stated.num);
        EXPECT_EQ(plan.param.video.nPixelAspectY, stated.den);
        EXPECT_EQ(plan.videoInfo.aspectx, shown.num);
        EXPECT_EQ(plan.videoInfo.aspecty, shown.den);
        const auto method = options.size ? IMAGE_RESIZE_STRETCH : options.fit.value_or(IMAGE_RESIZE_STRETCH);
        EXPECT_EQ(plan.param.video.nResizeMethod, method) << "a rounding is no reason for bars";
    }
}

// The library gets pictures in the size at which it shows them, and finds the same place for them.
TEST(JobPlan, WhatIsScaledBeforehandStandsWhereTheLibraryWouldPutIt)
{
    const struct {
        const char* what;
        EncodeOptions options;
        Scaling method; // kUsual: the library scales
        PictureSize to;
        int left; // of the area of the source
    } cases[] = {
        {"half is enough", {.size = PictureSize{640, 360}}, Scaling::kUsual, {}, 0},
        {"below half", {.size = PictureSize{638, 400}}, Scaling::kSmooth, {638, 358}, 0},
        {"not wished", {.size = PictureSize{160, 90}, .scaling = Scaling::kNear}, Scaling::kUsual, {}, 0},
        {"cubic", {.size = PictureSize{1000, 1000}, .scaling = Scaling::kCubic}, Scaling::kCubic, {1000, 562}, 0},
        {"cut", {.size = PictureSize{300, 300}, .fit = IMAGE_RESIZE_CROP}, Scaling::kSmooth, {300, 300}, 280},
    };
    const VideoFormat video = {1280, 720, {25, 1}, {1, 1}};
    for (const auto& [what, options, method, to, left] : cases) {
        SCOPED_TRACE(what);
        const JobPlan plan = Plan(options, &video);
        ASSERT_EQ(plan.scaling.has_value(), method != Scaling::kUsual);
        if (!plan.scaling)
            continue;
        EXPECT_EQ(plan.scaling->method, method);
        EXPECT_EQ(plan.scaling->to.width, to.width);
        EXPECT_EQ(plan.scaling->x, left);
        tagRECT place = {0, 0, plan.param.video.nWidth, plan.param.video.nHeight};
        ResizeRect(place, {plan.videoInfo.aspectx, plan.videoInfo.aspecty},
                   static_cast<IMAGE_RESIZE_METHOD>(plan.param.video.nResizeMethod));
        EXPECT_EQ(place.right - place.left, plan.videoInfo.width);
        EXPECT_EQ(place.bottom - place.top, plan.videoInfo.height);
        EXPECT_EQ(plan.scaling->to.height, plan.videoInfo.height);
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
                                .scaling = Scaling::kNear,
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
    EXPECT_EQ(Plan({.size = PictureSize{399, 399}, .fit = IMAGE_RESIZE_CROP}, &video).param.video.nResizeMethod,
              IMAGE_RESIZE_CROP);

    const JobPlan mute = Plan({}, &video), blind = Plan({}, nullptr, &audio);
    EXPECT_TRUE(mute.param.bAudioDisabled);
    EXPECT_FALSE(mute.param.bVideoDisabled);
    EXPECT_TRUE(blind.param.bVideoDisabled);
    EXPECT_EQ(blind.param.audio.nSampleRate, 44100);
    EXPECT_EQ(blind.param.audio.nChannels, 2);
}

TEST(Revisions, AreWhatTheEncodersHaveMadeOfThePlan)
{
    JobPlan plan;
    plan.hasVideo = plan.hasAudio = true;
    plan.param.video = {.nWidth = 64, .nHeight = 48, .dFrameRate = 30000.0 / 1001, .nBitRate = 800000};
    plan.param.audio = {.nSampleRate = 44100, .nChannels = 2, .nBitRate = 96000};
    const auto texts = [&plan](const EncodeParam& made) {
        std::string all;
        for (const Revision& revision : FindRevisions(plan, made))
            all += revision.Text() + "; ";
        return all;
    };
    EncodeParam made = plan.param;
    EXPECT_EQ(texts(made), "");
    made.video = {.nWidth = 64, .nHeight = 46, .dFrameRate = 25, .nBitRate = 1};
    made.audio = {.nSampleRate = 48000, .nChannels = 1, .nBitRate = 2};
    const std::string video = "video is written with 64x46 pixels rather than 64x48 pixels; "
                              "video is written with 25 pictures/s rather than 29.97 pictures/s; ";
    const std::string audio = "audio is written with 48000 Hz rather than 44100 Hz; "
                              "audio is written with 1 channels rather than 2 channels; ";
    EXPECT_EQ(texts(made), video + "video is written with 1 bits/s rather than 800000 bits/s; " + audio +
                               "audio is written with 2 bits/s rather than 96000 bits/s; ");
    plan.param.video.nBitRate = plan.param.audio.nBitRate = 0; // left to the encoders
    EXPECT_EQ(texts(made), video + audio);
    made.bVideoDisabled = 1;
    EXPECT_EQ(texts(made), audio);
    plan.hasAudio = false;
    EXPECT_EQ(texts(made), "");
}

TEST(PlanReport, TellsWhatTheLibraryWasAskedForAndSettled)
{
    FILEFORMAT_INFO format = {.dwFourCC = KX_FOURCC('M', 'K', 'V', ' '), .szName = L"Matroska"};
    ENCODER_INFO video = {.dwFourCC = KX_FOURCC('H', '2', '6', '4'), .szName = L"H264"};
    ENCODER_INFO audio = {.dwFourCC = KX_FOURCC('A', 'A', 'C', ' '), .szName = L"AAC-LC"};
    const Choice choice = {&format, &video, &audio};
    const VideoFormat pictures = {1280, 720, {25, 1}, {1, 1}};
    const AudioFormat sound = {44100, 2};
    const auto plan = [&](const EncodeOptions& options) { return MakePlan(options, choice, &pictures, &sound); };
    const auto lines = [&choice](const JobPlan& job, const std::function<void(MediaFile&)>& settle) {
        MediaFile file;
        file.m_EncParam = job.param;
        settle(file);
        std::string all;
        for (const std::string& line : SettledLines({choice, job, file}))
            all += line + "\n";
        all += JsonLine(PlanJson({choice, job, file}));
        file.m_pResizeBuf = nullptr;
        return all;
    };
    unsigned char buffer = 0;
    EXPECT_EQ(lines(plan({.size = PictureSize{800, 800}, .videoBitRate = 1000, .pictures = 7}),
                    [&](MediaFile& file) {
                        file.m_pResizeBuf = &buffer;
                        file.m_DstY = {nullptr, 0, 0, 0, 0, 0, 176, 800, 448};
                        file.m_EncParam.audio.nChannels = 1;
                    }),
              R"(file format: Matroska (MKV)
video encoder: H264
picture: 1280x720 at 0,0 of 1280x720 goes to 800x448 at 0,176 of 800x800 (keep, bilinear)
audio encoder: AAC-LC (AAC)
changed: audio is written with 1 channels rather than 2 channels
{"format":{"fourcc":"MKV","name":"Matroska"},"video":{"encoder":{"fourcc":"H264","name":"H264"},)"
              R"("source":{"width":1280,"height":720,"rate":25.0,"rectangle":{"x":0,"y":0,"width":1280,"height":720}},)"
              R"("target":{"width":800,"height":800,"rate":25.0,"rate_asked":"25/1",)"
              R"("rectangle":{"x":0,"y":176,"width":800,"height":448}},"fit":"keep","scaling":"bilinear",)"
              R"("deinterlaced":false,"bit_rate":1000,"pictures_at_most":7},"audio":{"encoder":{"fourcc":"AAC",)"
              R"("name":"AAC-LC"},"source":{"sample_rate":44100,"channels":2},"target":{"sample_rate":44100,)"
              R"("channels":1},"bit_rate":null},)"
              R"("changed":[{"stream":"audio","asked":"2 channels","made":"1 channels"}]})");
    const auto none = [](MediaFile&) {};
    for (const auto& [options, settle, part] :
         std::vector<std::tuple<EncodeOptions, std::function<void(MediaFile&)>, const char*>>{
             {{}, none, "goes to 1280x720 at 0,0 of 1280x720 (stretch, not scaled)\n"},
             {{}, none, "\nchanged: nothing; the encoders take what is asked for\n"},
             {{.size = PictureSize{160, 90}},
              none,
              "1280x720 at 0,0 of 1280x720 goes to 160x90 at 0,0 of 160x90 (keep, smooth)"},
             {{.size = PictureSize{300, 300}, .fit = IMAGE_RESIZE_CROP, .scaling = Scaling::kCubic},
              none,
              "720x720 at 280,0 of 1280x720 goes to 300x300 at 0,0 of 300x300 (stretch, cubic)"},
             {{.fit = IMAGE_RESIZE_16_9, .scaling = Scaling::kNear},
              [&](MediaFile& file) { file.m_pResizeBuf = &buffer; },
              "(16:9, near)"},
             {{.fit = IMAGE_RESIZE_4_3}, none, "\"fit\":\"4:3\",\"scaling\":\"none\""},
             {{},
              [](MediaFile& file) { file.m_EncParam.bVideoDisabled = 1; },
              "(MKV)\naudio encoder: AAC-LC (AAC)\nvideo: its encoder can't be set up; the file gets none\nchanged: "
              "no"},
             {{},
              [](MediaFile& file) { file.m_EncParam.bAudioDisabled = 1; },
              "not scaled)\naudio: its encoder can't be set up; the file gets none\nchanged: no"}}) {
        const std::string all = lines(plan(options), settle);
        EXPECT_NE(all.find(part), std::string::npos) << part << "\n" << all;
    }
}
