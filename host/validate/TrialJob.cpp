#include "host/validate/TrialJob.h"

#include "encmgr/EncMgr.h"
#include "host/base/Text.h"
#include "host/validate/StepNote.h"
#include "media_file/MediaFile.h"
#include "text/Strings.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace host
{

namespace
{

constexpr int kVideoBits = 400000, kAudioBits = 96000; // in a second

unsigned int TakeReport(void* context, unsigned int n1, unsigned int n2, unsigned int n3)
{
    auto& report = *static_cast<TrialReport*>(context);
    report = {report.calls + 1, n1, n2, n3, errno};
    return 0;
}

EncodeParam ParamOf(const TrialSetup& setup)
{
    EncodeParam param = {};
    param.dwFileFourCC = setup.pair.format;
    param.bVideoDisabled = !setup.pair.video;
    param.bAudioDisabled = !setup.pair.audio;
    param.video.dwFourCC = setup.pair.video;
    param.video.nWidth = setup.shape.width;
    param.video.nHeight = setup.shape.height;
    param.video.dFrameRate = setup.shape.rate;
    param.video.nBitRate = kVideoBits;
    param.audio.dwFourCC = setup.pair.audio;
    param.audio.nSampleRate = setup.shape.sampleRate;
    param.audio.nChannels = setup.shape.channels;
    param.audio.nBitsPerSample = 16;
    param.audio.nBitRate = kAudioBits;
    return param;
}

} // namespace

TrialJob::TrialJob(const TrialSetup& setup) : m_setup(setup), m_frames(setup.shape, setup.memory)
{
    const StepNote note(setup.pair.Text() + " was set up");
    const EncodeParam param = ParamOf(setup);
    KXVideoInfo video = {};
    video.width = setup.shape.width;
    video.height = setup.shape.height;
    video.framerate = setup.shape.rate;
    const KXAudioInfo audio = {setup.shape.sampleRate, setup.shape.channels, 16};
    const std::wstring path = text::WideFromUtf8(setup.path).value_or(L"");

    const SlotLogScope scope(m_slots);
    m_handle = FCCreateMediaFile(path.c_str(), &param, &video, &audio);
    const auto failed =
        std::find_if(m_slots.rbegin(), m_slots.rend(), [](const SlotCall& call) { return call.hasFailed; });
    const std::string slot = failed == m_slots.rend()
                                 ? ""
                                 : Format(": %s of %s", failed->slot, FourCCText(failed->fourCC).c_str()) +
                                       (failed->hasThrown ? " has thrown" : " returns 0");
    if (!m_handle) {
        m_refusal = "the job can't be set up" + slot;
        return;
    }
    m_param = static_cast<MediaFile*>(m_handle)->m_EncParam;
    if ((setup.pair.video && m_param.bVideoDisabled) || (setup.pair.audio && m_param.bAudioDisabled))
        m_refusal = "a stream is lost" + slot;
}

TrialJob::~TrialJob()
{
    Close();
}

void TrialJob::WritePicture(int number)
{
    const SlotLogScope scope(m_slots);
    const MEDIA_FRAME frame = m_frames.Picture(number);
    errno = 0;
    Note(FCWriteVideoFrame(m_handle, &frame));
}

void TrialJob::WriteBlock(int number)
{
    const SlotLogScope scope(m_slots);
    const MEDIA_FRAME frame = m_frames.Block(number);
    errno = 0;
    Note(FCWriteAudioData(m_handle, &frame));
}

void TrialJob::Note(int result)
{
    if (result <= 0 && !m_writeError)
        m_writeError = errno;
    m_results.push_back(result);
    m_frames.TakeBack();
}

void TrialJob::WriteBoth(int number)
{
    if (m_setup.pair.video && !m_param.bVideoDisabled)
        WritePicture(number);
    if (m_setup.pair.audio && !m_param.bAudioDisabled)
        WriteBlock(number);
}

void TrialJob::Close(bool hasCallback)
{
    if (!m_handle)
        return;
    const StepNote note(m_setup.pair.Text() + " was closed");
    const SlotLogScope scope(m_slots);
    errno = 0;
    FCCloseMediaFile(m_handle, hasCallback ? TakeReport : nullptr, hasCallback ? &m_report : nullptr);
    m_handle = nullptr;
    if (m_writeError)
        m_report.error = m_writeError;
}

size_t TrialJob::Calls(const char* slot) const
{
    return static_cast<size_t>(std::count_if(
        m_slots.begin(), m_slots.end(), [slot](const SlotCall& call) { return std::strcmp(call.slot, slot) == 0; }));
}

bool TrialJob::HasThrown() const
{
    return std::any_of(m_slots.begin(), m_slots.end(), [](const SlotCall& call) { return call.hasThrown; });
}

std::string TrialPath(const Subject& subject, const TrialPair& pair)
{
    static std::atomic<int> count = 0;
    return Format("%s/%06d%s.out", subject.folder.c_str(), ++count,
                  TrialCatalogue::IsSequence(pair.format) ? "-%05d" : "");
}

void RunToEnd(TrialJob& job, int pictures, bool hasCallback)
{
    for (int i = 0; i < pictures && job.IsOpen(); ++i)
        job.WriteBoth(i);
    job.Close(hasCallback);
}

std::string TakeOutputs(const Subject& subject)
{
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(subject.folder))
        paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::string bytes;
    for (const auto& path : paths) {
        std::ifstream stream(path, std::ios::binary);
        bytes.append(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    return bytes;
}

} // namespace host
