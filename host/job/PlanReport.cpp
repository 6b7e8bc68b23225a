#include "host/job/PlanReport.h"

#include "host/base/Text.h"
#include "host/job/Revisions.h"
#include "text/Strings.h"

#include <cstring>

namespace host
{

namespace
{

struct Rectangle {
    int x, y, width, height;
};

// A stream that has been lost in the set-up has no plan.
bool HasVideo(const SettledJob& job)
{
    return job.plan.hasVideo && !job.file.m_EncParam.bVideoDisabled;
}

bool HasAudio(const SettledJob& job)
{
    return job.plan.hasAudio && !job.file.m_EncParam.bAudioDisabled;
}

// Without a scaler the library leaves its records alone.
Rectangle RectangleOf(const IMG_PARAM& plane, int width, int height)
{
    if (plane.cx == 0 || plane.cy == 0)
        return {0, 0, width, height};
    return {plane.x, plane.y, plane.cx, plane.cy};
}

PictureSize SourceSize(const SettledJob& job)
{
    return job.plan.scaling ? job.plan.scaling->whole
                            : PictureSize{job.plan.videoInfo.width, job.plan.videoInfo.height};
}

Rectangle SourceRectangle(const SettledJob& job)
{
    if (const auto& scaling = job.plan.scaling)
        return {scaling->x, scaling->y, scaling->from.width, scaling->from.height};
    return RectangleOf(job.file.m_SrcY, job.plan.videoInfo.width, job.plan.videoInfo.height);
}

Rectangle TargetRectangle(const SettledJob& job)
{
    const EncodeParamVideo& video = job.file.m_EncParam.video;
    return RectangleOf(job.file.m_DstY, video.nWidth, video.nHeight);
}

const char* ScalingName(const SettledJob& job)
{
    if (job.plan.scaling)
        return job.plan.scaling->method == Scaling::kSmooth ? "smooth" : "cubic";
    if (!job.file.m_pResizeBuf)
        return "none";
    return job.file.m_EncParam.video.nInterpolation == IMAGE_INTERPOLATION_NEAR ? "near" : "bilinear";
}

const char* FitName(int method)
{
    switch (method) {
    case IMAGE_RESIZE_STRETCH:
        return "stretch";
    case IMAGE_RESIZE_16_9:
        return "16:9";
    case IMAGE_RESIZE_4_3:
        return "4:3";
    case IMAGE_RESIZE_CROP:
        return "crop";
    default:
        return "keep";
    }
}

Json RationalJson(AVRational value)
{
    return Format("%d/%d", value.num, value.den);
}

Json RectangleJson(const Rectangle& rectangle)
{
    return {{"x", rectangle.x}, {"y", rectangle.y}, {"width", rectangle.width}, {"height", rectangle.height}};
}

// Of a format or an encoder.
template <class Info> Json NameJson(const Info& info)
{
    return {{"fourcc", FourCCText(info.dwFourCC)}, {"name", text::ShownUtf8(info.szName)}};
}

template <class Info> std::string NameText(const Info& info)
{
    const std::string fourCC = FourCCText(info.dwFourCC), name = text::ShownUtf8(info.szName);
    return name == fourCC ? name : Format("%s (%s)", name.c_str(), fourCC.c_str());
}

std::string RectangleText(const Rectangle& rectangle)
{
    return Format("%dx%d at %d,%d", rectangle.width, rectangle.height, rectangle.x, rectangle.y);
}

Json BitRateJson(int bitRate)
{
    return bitRate ? Json(bitRate) : Json(); // the encoder's own
}

Json VideoJson(const SettledJob& job)
{
    const EncodeParamVideo& video = job.file.m_EncParam.video;
    const KXVideoInfo& info = job.plan.videoInfo;
    return {{"encoder", NameJson(*job.choice.video)},
            {"source",
             {{"width", SourceSize(job).width},
              {"height", SourceSize(job).height},
              {"rate", info.framerate},
              {"rectangle", RectangleJson(SourceRectangle(job))}}},
            {"target",
             {{"width", video.nWidth},
              {"height", video.nHeight},
              {"rate", video.dFrameRate},
              {"rate_asked", RationalJson(job.plan.frameRate)},
              {"rectangle", RectangleJson(TargetRectangle(job))}}},
            {"fit", FitName(video.nResizeMethod)},
            {"scaling", ScalingName(job)},
            {"deinterlaced", job.plan.isDeinterlaced},
            {"bit_rate", BitRateJson(video.nBitRate)},
            {"pictures_at_most", job.plan.pictures ? Json(*job.plan.pictures) : Json()}};
}

Json AudioJson(const SettledJob& job)
{
    const EncodeParamAudio& audio = job.file.m_EncParam.audio;
    const KXAudioInfo& info = job.plan.audioInfo;
    return {{"encoder", NameJson(*job.choice.audio)},
            {"source", {{"sample_rate", info.samplerate}, {"channels", info.channels}}},
            {"target", {{"sample_rate", audio.nSampleRate}, {"channels", audio.nChannels}}},
            {"bit_rate", BitRateJson(audio.nBitRate)}};
}

} // namespace

std::vector<std::string> SettledLines(const SettledJob& job)
{
    const EncodeParam& made = job.file.m_EncParam;
    std::vector<std::string> lines = {"file format: " + NameText(*job.choice.format)};
    if (HasVideo(job)) {
        lines.push_back("video encoder: " + NameText(*job.choice.video));
        const char* const scaling = ScalingName(job);
        lines.push_back(Format("picture: %s of %dx%d goes to %s of %dx%d (%s%s)",
                               RectangleText(SourceRectangle(job)).c_str(), SourceSize(job).width,
                               SourceSize(job).height, RectangleText(TargetRectangle(job)).c_str(), made.video.nWidth,
                               made.video.nHeight, FitName(made.video.nResizeMethod),
                               std::strcmp(scaling, "none") == 0 ? ", not scaled" : Format(", %s", scaling).c_str()));
    }
    if (HasAudio(job))
        lines.push_back("audio encoder: " + NameText(*job.choice.audio));
    if (job.plan.hasVideo && !HasVideo(job))
        lines.emplace_back("video: its encoder can't be set up; the file gets none");
    if (job.plan.hasAudio && !HasAudio(job))
        lines.emplace_back("audio: its encoder can't be set up; the file gets none");
    const std::vector<Revision> revisions = FindRevisions(job.plan, made);
    for (const Revision& revision : revisions)
        lines.push_back("changed: " + revision.Text());
    if (revisions.empty())
        lines.emplace_back("changed: nothing; the encoders take what is asked for");
    return lines;
}

Json PlanJson(const SettledJob& job)
{
    Json plan = {{"format", NameJson(*job.choice.format)}};
    plan["video"] = HasVideo(job) ? VideoJson(job) : Json();
    plan["audio"] = HasAudio(job) ? AudioJson(job) : Json();
    plan["changed"] = Json::array();
    for (const Revision& revision : FindRevisions(job.plan, job.file.m_EncParam))
        plan["changed"].push_back({{"stream", revision.stream}, {"asked", revision.asked}, {"made", revision.made}});
    return plan;
}

} // namespace host
