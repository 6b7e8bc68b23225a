#include "host/job/Revisions.h"

#include "host/base/Text.h"

namespace host
{

namespace
{

std::string SizeOf(const EncodeParamVideo& video)
{
    return Format("%dx%d pixels", video.nWidth, video.nHeight);
}

std::string RateOf(const EncodeParamVideo& video)
{
    return Format("%.6g pictures/s", video.dFrameRate);
}

std::string Bits(int bitRate)
{
    return Format("%d bits/s", bitRate);
}

} // namespace

std::string Revision::Text() const
{
    return Format("%s is written with %s rather than %s", stream, made.c_str(), asked.c_str());
}

std::vector<Revision> FindRevisions(const JobPlan& plan, const EncodeParam& made)
{
    std::vector<Revision> revisions;
    const auto compare = [&revisions](const char* stream, const std::string& asked, const std::string& now) {
        if (asked != now)
            revisions.push_back({stream, asked, now});
    };
    if (plan.hasVideo && !made.bVideoDisabled) {
        const EncodeParamVideo &asked = plan.param.video, &now = made.video;
        compare("video", SizeOf(asked), SizeOf(now));
        compare("video", RateOf(asked), RateOf(now));
        if (asked.nBitRate) // 0 leaves it to the encoder
            compare("video", Bits(asked.nBitRate), Bits(now.nBitRate));
    }
    if (plan.hasAudio && !made.bAudioDisabled) {
        const EncodeParamAudio &asked = plan.param.audio, &now = made.audio;
        compare("audio", Format("%d Hz", asked.nSampleRate), Format("%d Hz", now.nSampleRate));
        compare("audio", Format("%d channels", asked.nChannels), Format("%d channels", now.nChannels));
        if (asked.nBitRate)
            compare("audio", Bits(asked.nBitRate), Bits(now.nBitRate));
    }
    return revisions;
}

} // namespace host
