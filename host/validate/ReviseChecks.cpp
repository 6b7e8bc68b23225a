// Level 6: what the revise slots make of parameters that nobody would set.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/TrialJob.h"

#include <climits>
#include <cmath>
#include <functional>
#include <limits>

namespace host
{

namespace
{

constexpr double kHighestRate = 1000.0; // of pictures: the library's clock has 100 ns, its own limit is lower
constexpr int kMostChannels = 32;       // 64 bytes in a sample of all channels

constexpr int kSides[] = {INT_MIN, -1, 0, 1, 2, 3, 17, 8191, 65535, 1 << 24, INT_MAX};
constexpr double kRates[] = {-25.0, 0.0, 1e-9, 0.5, 23.976, 240.0, 1e9};
constexpr int kBitRates[] = {INT_MIN, 0, 1, INT_MAX};
constexpr int kSampleRates[] = {INT_MIN, 0, 1, 7999, 44100, 96000, 1 << 24, INT_MAX};
constexpr int kChannels[] = {-1, 0, 1, 2, 3, 6, 8, 255, INT_MAX};
constexpr int kBits[] = {-1, 0, 8, 16, 24, 32};

EncodeParam UsualParam(const ENCODER_ITEM& item)
{
    EncodeParam param = {};
    param.dwFileFourCC = KX_FOURCC('#', 'n', 'u', 'l');
    (item.nType == ENCODER_TYPE_VIDEO ? param.video.dwFourCC : param.audio.dwFourCC) = item.dwFourCC;
    (item.nType == ENCODER_TYPE_VIDEO ? param.bAudioDisabled : param.bVideoDisabled) = 1;
    param.video.nWidth = 320;
    param.video.nHeight = 240;
    param.video.dFrameRate = 25.0;
    param.video.nBitRate = 400000;
    param.audio.nSampleRate = 44100;
    param.audio.nChannels = 2;
    param.audio.nBitsPerSample = 16;
    param.audio.nBitRate = 128000;
    return param;
}

// Every usual parameter set with one extreme, and some with two.
std::vector<EncodeParam> ExtremeVideo(const ENCODER_ITEM& item)
{
    std::vector<EncodeParam> params;
    const auto add = [&](const std::function<void(EncodeParamVideo&)>& change) {
        params.push_back(UsualParam(item));
        change(params.back().video);
    };
    for (const int side : kSides) {
        add([side](EncodeParamVideo& video) { video.nWidth = side; });
        add([side](EncodeParamVideo& video) { video.nHeight = side; });
        add([side](EncodeParamVideo& video) { video.nWidth = video.nHeight = side; });
    }
    for (const double rate : kRates)
        add([rate](EncodeParamVideo& video) { video.dFrameRate = rate; });
    for (const double rate : {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()})
        add([rate](EncodeParamVideo& video) { video.dFrameRate = rate; });
    for (const int bits : kBitRates)
        add([bits](EncodeParamVideo& video) { video.nBitRate = bits; });
    add([](EncodeParamVideo& video) {
        video.nPixelAspectX = INT_MIN;
        video.nPixelAspectY = -1;
        video.dwColour = 0xFFFFFFFF;
        video.nFieldOrder = -1;
        video.nRotation = 33;
    });
    return params;
}

std::vector<EncodeParam> ExtremeAudio(const ENCODER_ITEM& item)
{
    std::vector<EncodeParam> params;
    const auto add = [&](const std::function<void(EncodeParamAudio&)>& change) {
        params.push_back(UsualParam(item));
        change(params.back().audio);
    };
    for (const int rate : kSampleRates)
        add([rate](EncodeParamAudio& audio) { audio.nSampleRate = rate; });
    for (const int channels : kChannels)
        add([channels](EncodeParamAudio& audio) { audio.nChannels = channels; });
    for (const int bits : kBits)
        add([bits](EncodeParamAudio& audio) { audio.nBitsPerSample = bits; });
    for (const int bits : kBitRates)
        add([bits](EncodeParamAudio& audio) { audio.nBitRate = bits; });
    return params;
}

std::string TextOf(const EncodeParamVideo& video)
{
    return Format("%dx%d, %g fps, %d bit/s", video.nWidth, video.nHeight, video.dFrameRate, video.nBitRate);
}

std::string TextOf(const EncodeParamAudio& audio)
{
    return Format("%d Hz, %d channels, %d bits, %d bit/s", audio.nSampleRate, audio.nChannels, audio.nBitsPerSample,
                  audio.nBitRate);
}

// What is wrong with parameters that were taken; empty if nothing is.
std::string FaultOf(const EncodeParamVideo& video)
{
    if (video.nWidth < 1 || video.nHeight < 1)
        return "a picture without an area";
    if (!std::isfinite(video.dFrameRate) || video.dFrameRate <= 0.0 || video.dFrameRate > kHighestRate)
        return "no usable frame rate";
    return "";
}

// The library converts between one and two channels, of 16 bits; others pass as they came or not at all.
std::string FaultOf(const EncodeParamAudio& audio, const EncodeParamAudio& asked)
{
    if (audio.nSampleRate < 1)
        return "no usable sample rate";
    if (audio.nChannels < 1 || audio.nChannels > kMostChannels)
        return "a count of channels that no job can have";
    if (audio.nChannels > 2 && audio.nChannels != asked.nChannels)
        return "a count of channels that the library doesn't convert to";
    if (audio.nBitsPerSample != 16 && audio.nBitsPerSample != asked.nBitsPerSample)
        return "samples that the library doesn't convert to";
    return "";
}

// Calls see(item, asked, left) for each extreme that the slot takes. isVideo: its kind.
template <class See> void ForEachTaken(const Subject& subject, int type, See see)
{
    const TrialCatalogue catalogue(subject);
    for (const ENCODER_ITEM& own : catalogue.OwnEncoders()) {
        const bool isVideo = own.nType == ENCODER_TYPE_VIDEO;
        const ENCODER_ITEM item = Recorded(own);
        if (own.nType != type || !(isVideo ? item.pfnReviseVideo != nullptr : item.pfnReviseAudio != nullptr))
            continue;
        for (const EncodeParam& asked : isVideo ? ExtremeVideo(own) : ExtremeAudio(own)) {
            EncodeParam left = asked;
            try {
                if (isVideo ? item.pfnReviseVideo(&left) : item.pfnReviseAudio(&left.audio))
                    see(item, asked, left);
            } catch (...) { // no-exceptions tells that
                continue;
            }
        }
    }
}

void CheckRevisedVideo(const Subject& subject, Verdict& verdict)
{
    ForEachTaken(subject, ENCODER_TYPE_VIDEO,
                 [&verdict](const ENCODER_ITEM& item, const EncodeParam& asked, const EncodeParam& left) {
                     if (const std::string fault = FaultOf(left.video); !fault.empty())
                         verdict.Fail(Format("%s takes %s and leaves %s: %s", FourCCText(item.dwFourCC).c_str(),
                                             TextOf(asked.video).c_str(), TextOf(left.video).c_str(), fault.c_str()));
                 });
}

void CheckRevisedAudio(const Subject& subject, Verdict& verdict)
{
    ForEachTaken(subject, ENCODER_TYPE_AUDIO,
                 [&verdict](const ENCODER_ITEM& item, const EncodeParam& asked, const EncodeParam& left) {
                     if (const std::string fault = FaultOf(left.audio, asked.audio); !fault.empty())
                         verdict.Fail(Format("%s takes %s and leaves %s: %s", FourCCText(item.dwFourCC).c_str(),
                                             TextOf(asked.audio).c_str(), TextOf(left.audio).c_str(), fault.c_str()));
                 });
}

bool IsSame(const EncodeParam& a, const EncodeParam& b)
{
    return a.video.nWidth == b.video.nWidth && a.video.nHeight == b.video.nHeight &&
           a.video.dFrameRate == b.video.dFrameRate && a.audio.nSampleRate == b.audio.nSampleRate &&
           a.audio.nChannels == b.audio.nChannels;
}

// A host shows people what they will get, and asks for that.
void CheckRevisedTwice(const Subject& subject, Verdict& verdict)
{
    for (const int type : {ENCODER_TYPE_VIDEO, ENCODER_TYPE_AUDIO})
        ForEachTaken(subject, type, [&](const ENCODER_ITEM& item, const EncodeParam& asked, const EncodeParam& left) {
            const bool isVideo = type == ENCODER_TYPE_VIDEO;
            if (!(isVideo ? FaultOf(left.video) : FaultOf(left.audio, asked.audio)).empty())
                return; // found already
            EncodeParam again = left;
            const int taken = isVideo ? item.pfnReviseVideo(&again) : item.pfnReviseAudio(&again.audio);
            if (!taken || !IsSame(again, left))
                verdict.Fail(Format("%s: of %s it makes %s, and of that %s", FourCCText(item.dwFourCC).c_str(),
                                    isVideo ? TextOf(asked.video).c_str() : TextOf(asked.audio).c_str(),
                                    isVideo ? TextOf(left.video).c_str() : TextOf(left.audio).c_str(),
                                    !taken    ? "nothing"
                                    : isVideo ? TextOf(again.video).c_str()
                                              : TextOf(again.audio).c_str()));
        });
}

void FailOfThrown(const SlotLog& slots, Verdict& verdict)
{
    for (const SlotCall& call : slots)
        if (call.hasThrown) {
            verdict.Fail(Format("an exception leaves %s of %s", call.slot, FourCCText(call.fourCC).c_str()));
            return;
        }
}

void CheckExceptions(const Subject& subject, Verdict& verdict)
{
    SlotLog revisions;
    {
        const SlotLogScope scope(revisions);
        for (const int type : {ENCODER_TYPE_VIDEO, ENCODER_TYPE_AUDIO})
            ForEachTaken(subject, type, [](const ENCODER_ITEM&, const EncodeParam&, const EncodeParam&) {});
    }
    FailOfThrown(revisions, verdict);
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        TrialJob job({pair, TrialPath(subject, pair)});
        RunToEnd(job, 6);
        FailOfThrown(job.Slots(), verdict);
        const TrialJob nowhere({pair, subject.folder + "/no folder/x.out"});
        FailOfThrown(nowhere.Slots(), verdict);
        TakeOutputs(subject);
    }
}

constexpr Check kChecks[] = {
    {"revise-video", 6, Stage::kRecords, false, "Whatever pfnReviseVideo is asked for, it leaves what can be had.",
     CheckRevisedVideo},
    {"revise-audio", 6, Stage::kRecords, false, "Whatever pfnReviseAudio is asked for, it leaves what can be had.",
     CheckRevisedAudio},
    {"revise-twice", 6, Stage::kRecords, false, "What a revise slot has left, it leaves alone the next time.",
     CheckRevisedTwice},
    {"no-exceptions", 6, Stage::kRecords, false, "No exception leaves a slot.", CheckExceptions},
};

} // namespace

std::span<const Check> ReviseChecks()
{
    return kChecks;
}

} // namespace host
