#include "host/job/JobWriter.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/base/WriteError.h"

#include <algorithm>
#include <cerrno>
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
    report = {true, failed == 0, pictures, milliseconds, failed ? WriteErrorOf(errno) : 0};
    return 0;
}

} // namespace

JobWriter::JobWriter(const JobPlan& plan, const OutputFile& output, Tally& tally) : m_plan(plan), m_tally(tally)
{
    if (plan.hasVideo && plan.scaling)
        m_scaler.emplace(*plan.scaling);
    errno = 0;
    const int isCreated =
        m_file.Create(output.WidePath().c_str(), &plan.param, plan.hasVideo ? &plan.videoInfo : nullptr,
                      plan.hasAudio ? &plan.audioInfo : nullptr);
    const int error = isCreated ? 0 : WriteErrorOf(errno);
    RefuseLostStreams();
    if (error)
        throw HostError(kExitWrite, Format("can't write %s: %s", output.Path().c_str(), WriteErrorText(error).c_str()));
    if (!isCreated)
        throw HostError(kExitJob, Format("can't create %s", output.Path().c_str()));
    m_tally.SetSampleRate(m_file.m_EncParam.audio.nSampleRate);
}

// The library goes on without a stream whose encoder it can't make.
void JobWriter::RefuseLostStreams() const
{
    const Streams made = Made();
    const bool isVideoLost = m_plan.hasVideo && !made.video;
    const bool isAudioLost = m_plan.hasAudio && !made.audio;
    if (!isVideoLost && !isAudioLost)
        return;
    const KXDWORD fourCC = isVideoLost ? m_plan.param.video.dwFourCC : m_plan.param.audio.dwFourCC;
    const std::string lost =
        Format("the %s encoder %s can't be set up", isVideoLost ? "video" : "audio", FourCCText(fourCC).c_str());
    if (!made.video && !made.audio)
        throw HostError(kExitStream, lost);
    if (!m_plan.mayLackStream)
        throw HostError(kExitStream, lost + "; --allow-missing-stream makes a file without it");
}

Streams JobWriter::Made() const
{
    return {m_plan.hasVideo && !m_file.m_EncParam.bVideoDisabled, m_plan.hasAudio && !m_file.m_EncParam.bAudioDisabled};
}

int JobWriter::WritePicture(const AVFrame& picture, Nanoseconds time, Nanoseconds duration)
{
    const AVFrame& scaled = m_scaler ? m_scaler->Scale(picture) : picture;
    MEDIA_FRAME frame = EmptyFrame();
    frame.video.pY = scaled.data[0];
    frame.video.pU = scaled.data[1];
    frame.video.pV = scaled.data[2];
    frame.video.nWidth = scaled.width;
    frame.video.nHeight = scaled.height;
    frame.video.nPitchY = scaled.linesize[0];
    frame.video.nPitchU = scaled.linesize[1];
    frame.video.nPitchV = scaled.linesize[2];
    frame.llTimeStamp = Ticks(time);
    frame.llStreamTime = frame.llTimeStamp;
    frame.nDuration = DurationTicks(duration);
    errno = 0;
    return Noted(m_file.WriteVideoFrame(&frame));
}

// The library converts a block in one piece as long as its buffer holds what comes out, and then shows how much that
// is.
int JobWriter::WriteSamples(std::span<const int16_t> samples, Nanoseconds time)
{
    const KXAudioInfo& from = m_plan.audioInfo;
    const EncodeParamAudio& to = m_file.m_EncParam.audio;
    const int64_t most =
        av_rescale(kResampleBufSamples / 4, from.samplerate, std::max(to.nSampleRate, from.samplerate));
    const auto longest = static_cast<size_t>(std::max<int64_t>(most, 1) * from.channels);
    int result = 0;
    for (size_t done = 0; done < samples.size(); done += longest) {
        const Nanoseconds offset = av_rescale(static_cast<int64_t>(done) / from.channels, kSecond, from.samplerate);
        const auto piece = samples.subspan(done, std::min(longest, samples.size() - done));
        result = std::max(result, WriteBlock(piece, time + offset));
    }
    return result;
}

int JobWriter::WriteBlock(std::span<const int16_t> samples, Nanoseconds time)
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

    const int64_t before = m_file.m_llAudioBytes;
    errno = 0;
    const int result = Noted(m_file.WriteAudioData(&frame));
    const int made = m_file.m_pAudioConverter ? m_file.m_OutFrame.audio.nDataSize : frame.audio.nDataSize;
    const int align = std::max(m_file.m_nBlockAlign, 1);
    m_tally.WriteAudio(time, blocks, made / align, (m_file.m_llAudioBytes - before) / align);
    return result;
}

// Formats leave errno of the write that has failed.
int JobWriter::Noted(int result)
{
    if (result <= 0 && !m_writeError)
        m_writeError = WriteErrorOf(errno);
    return result;
}

CloseReport JobWriter::Close()
{
    CloseReport report;
    errno = 0;
    m_file.Close(TakeCloseReport, &report);
    if (m_writeError)
        report.writeError = m_writeError;
    return report;
}

} // namespace host
