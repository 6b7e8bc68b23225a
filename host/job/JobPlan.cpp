#include "host/job/JobPlan.h"

#include "host/job/QualityOptions.h"
#include "host/job/ScalePlan.h"

#include <climits>
#include <cstring>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

constexpr int kBitsPerSample = 16;

// A source above the library's highest rate goes at half its rate, or a quarter, so that pictures are left out evenly.
// A rate below the lowest that can be asked for is that of single pictures.
AVRational OutputRate(AVRational source)
{
    while (av_q2d(source) > kHighestRate && source.den <= INT_MAX / 2)
        source.den *= 2;
    return av_q2d(source) < kLowestRate ? AVRational{1, 1} : source;
}

// Whether each row of the output is one of the source's, and so of one field.
bool KeepsRows(const EncodeParamVideo& param, const KXVideoInfo& info)
{
    const auto method = static_cast<IMAGE_RESIZE_METHOD>(param.nResizeMethod);
    if (param.nHeight != info.height || method == IMAGE_RESIZE_CROP)
        return false;
    tagRECT shown = {0, 0, param.nWidth, param.nHeight};
    ResizeRect(shown, info.aspectx ? tagSIZE{info.aspectx, info.aspecty} : tagSIZE{info.width, info.height}, method);
    return shown.top == 0;
}

void PlanFields(JobPlan& plan, const EncodeOptions& options, Fields fields)
{
    const bool isInterlaced = fields == Fields::kTopFirst || fields == Fields::kBottomFirst || fields == Fields::kMixed;
    const bool isKept = fields != Fields::kMixed && KeepsRows(plan.param.video, plan.videoInfo);
    plan.isDeinterlaced = options.deinterlace.value_or(isInterlaced && !isKept);
    int& order = plan.param.video.nFieldOrder;
    if (plan.isDeinterlaced || fields == Fields::kNone)
        order = KX_FIELDS_PROGRESSIVE;
    else if (isInterlaced && isKept)
        order = fields == Fields::kTopFirst ? KX_FIELDS_TOP_FIRST : KX_FIELDS_BOTTOM_FIRST;
}

void PlanVideo(JobPlan& plan, const EncodeOptions& options, const Choice& choice, const VideoFormat& video)
{
    plan.hasVideo = true;
    plan.frameRate = options.frameRate.value_or(OutputRate(video.frameRate));
    plan.pictures = options.pictures;

    PlanSize(plan, options, video);
    EncodeParamVideo& param = plan.param.video;
    param.dwFourCC = choice.video->dwFourCC;
    param.dFrameRate = av_q2d(plan.frameRate);
    param.nBitRate = options.videoBitRate;
    param.dwColour = KX_COLOUR(KX_RANGE_LIMITED, video.colour.matrix, video.colour.primaries, video.colour.transfer);

    plan.videoInfo.framerate = av_q2d(video.frameRate);
    PlanFields(plan, options, video.fields);
    PlanScaling(plan, options.scaling);
}

void PlanAudio(JobPlan& plan, const EncodeOptions& options, const Choice& choice, const AudioFormat& audio)
{
    plan.hasAudio = true;
    EncodeParamAudio& param = plan.param.audio;
    param.dwFourCC = choice.audio->dwFourCC;
    param.nSampleRate = options.sampleRate ? options.sampleRate : audio.sampleRate;
    param.nChannels = options.channels ? options.channels : audio.channels;
    param.nBitRate = options.audioBitRate;
    param.nBitsPerSample = kBitsPerSample;
    plan.audioInfo = {audio.sampleRate, audio.channels, kBitsPerSample};
}

// With what would end a key or a value kept from it.
std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == '\\' || c == ':' || c == '=')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

} // namespace

void JobPlan::AddVideoOption(const std::string& key, const std::string& value)
{
    if (hasVideo)
        AddOption(param.video.dwOptions, key, value);
}

void JobPlan::AddAudioOption(const std::string& key, const std::string& value)
{
    if (hasAudio)
        AddOption(param.audio.dwOptions, key, value);
}

void JobPlan::AddOption(KXDWORD* words, const std::string& key, const std::string& value)
{
    if (value.empty())
        return;
    const char* const before = KXGetOptions(words);
    const std::string text = (before ? std::string(before) + ":" : "") + Escaped(key) + "=" + Escaped(value);
    m_optionTexts.push_back(std::make_shared<const std::string>(text));
    KXSetOptions(words, m_optionTexts.back()->c_str());
}

JobPlan MakePlan(const EncodeOptions& options, const Choice& choice, const VideoFormat* video, const AudioFormat* audio)
{
    JobPlan plan;
    // Padding, too: plug-ins may copy or compare the record as bytes.
    std::memset(static_cast<void*>(&plan.param), 0, sizeof(plan.param));
    plan.param.dwFileFourCC = choice.format->dwFourCC;
    plan.start = options.start;
    plan.end = options.end;
    if (options.duration)
        plan.end = options.start + *options.duration;
    if (video)
        PlanVideo(plan, options, choice, *video);
    if (audio)
        PlanAudio(plan, options, choice, *audio);
    AddQualityOptions(plan, options);
    plan.longestGap = static_cast<Nanoseconds>(options.longestGap * static_cast<double>(kSecond));
    plan.isStrict = options.isStrict;
    plan.mayLackStream = options.mayLackStream;
    plan.param.bVideoDisabled = !plan.hasVideo;
    plan.param.bAudioDisabled = !plan.hasAudio;
    return plan;
}

} // namespace host
