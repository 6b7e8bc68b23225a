#include "host/job/JobWriter.h"

#include "encmgr/EncMgr.h"
#include "host/base/ExitCode.h"
#include "host/base/Messages.h"
#include "host/base/Text.h"

#include <algorithm>
#include <climits>
#include <cstring>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

constexpr Nanoseconds kTick = 100; // the library's unit of time

int64_t Ticks(Nanoseconds time)
{
    return av_rescale_rnd(time, 1, kTick, AV_ROUND_DOWN);
}

int32_t DurationTicks(Nanoseconds duration)
{
    return static_cast<int32_t>(std::clamp<int64_t>(Ticks(duration), 0, INT32_MAX));
}

// All bytes of a frame, the ones without a meaning here included.
MEDIA_FRAME EmptyFrame()
{
    MEDIA_FRAME frame;
    std::memset(static_cast<void*>(&frame), 0, sizeof(frame));
    return frame;
}

unsigned int TakeCloseReport(void* context, unsigned int failed, unsigned int pictures, unsigned int milliseconds)
{
    auto& report = *static_cast<CloseReport*>(context);
    report = {true, failed == 0, pictures, milliseconds};
    return 0;
}

// The library goes on without a stream whose encoder can't be made, and only logs it.
std::string LostStream(const std::vector<std::string>& log, const JobPlan& plan)
{
    for (const std::string& line : log) {
        if (plan.hasVideo && line.starts_with("Create video encoder failure"))
            return "the video encoder can't be set up";
        if (plan.hasAudio && line.starts_with("Create audio encoder failure"))
            return "the audio encoder can't be set up";
    }
    return {};
}

} // namespace

JobWriter::JobWriter(const JobPlan& plan, const OutputFile& output, Messages& messages) : m_plan(plan)
{
    const uint64_t mark = messages.Mark();
    m_job = FCCreateMediaFile(output.WidePath().c_str(), &plan.param, plan.hasVideo ? &plan.videoInfo : nullptr,
                              plan.hasAudio ? &plan.audioInfo : nullptr);
    const std::vector<std::string> log = messages.LinesSince(mark);
    if (!m_job) {
        const bool isFile = std::any_of(log.begin(), log.end(), [](const std::string& line) {
            return line.starts_with("Fail to create the file");
        });
        throw HostError(isFile ? kExitOutput : kExitJob, Format("can't create %s", output.Path().c_str()));
    }
    if (const std::string lost = LostStream(log, plan); !lost.empty()) {
        Close();
        throw HostError(kExitJob, lost);
    }
}

JobWriter::~JobWriter()
{
    Close();
}

int JobWriter::WritePicture(const AVFrame& picture, Nanoseconds time, Nanoseconds duration)
{
    MEDIA_FRAME frame = EmptyFrame();
    frame.video.pY = picture.data[0];
    frame.video.pU = picture.data[1];
    frame.video.pV = picture.data[2];
    frame.video.nWidth = picture.width;
    frame.video.nHeight = picture.height;
    frame.video.nPitchY = picture.linesize[0];
    frame.video.nPitchU = picture.linesize[1];
    frame.video.nPitchV = picture.linesize[2];
    frame.llTimeStamp = Ticks(time);
    frame.llStreamTime = frame.llTimeStamp;
    frame.nDuration = DurationTicks(duration);
    return FCWriteVideoFrame(m_job, &frame);
}

int JobWriter::WriteSamples(std::span<const int16_t> samples, Nanoseconds time)
{
    const KXAudioInfo& format = m_plan.audioInfo;
    MEDIA_FRAME frame = EmptyFrame();
    frame.audio.nSampleRate = format.samplerate;
    frame.audio.nChannels = format.channels;
    frame.audio.nBitsPerSample = format.bitspersample;
    frame.audio.pData = const_cast<int16_t*>(samples.data());
    frame.audio.nDataSize = static_cast<int>(samples.size_bytes());
    frame.audio.nBufferSize = frame.audio.nDataSize;
    frame.llTimeStamp = av_rescale(time, 1, kTick);
    frame.llStreamTime = frame.llTimeStamp;
    const auto blocks = static_cast<int64_t>(samples.size()) / format.channels;
    frame.nDuration = DurationTicks(av_rescale(blocks, kSecond, format.samplerate));
    return FCWriteAudioData(m_job, &frame);
}

CloseReport JobWriter::Close()
{
    CloseReport report;
    if (m_job)
        FCCloseMediaFile(m_job, TakeCloseReport, &report);
    m_job = nullptr;
    return report;
}

} // namespace host
