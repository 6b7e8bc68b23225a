#include "bench/DiscardJob.h"

#include "Common/Audio/AudioConverter.h"
#include "encmgr/EncMgr.h"
#include "encmgr/Log.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace
{

constexpr int64_t kPictureTime = 10000000 / kPictureRate;

} // namespace

DiscardFolder::DiscardFolder(int copies)
{
    std::string name = (fs::temp_directory_path() / "encmgr-bench-XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("no temporary folder");
    m_path = name;
    fs::create_directory(m_path / "PlugIns");
    for (int i = 0; i < copies; ++i)
        fs::copy_file(BENCH_PLUGIN, m_path / "PlugIns" / ("wp" + std::to_string(i) + ".dylib"));
    KXLogSetAppPath(m_path.wstring().c_str());
    KXLogSetSink([](void*, const wchar_t*) {}, nullptr);
}

DiscardFolder::~DiscardFolder()
{
    FCUninitPlugins();
    KXLogSetSink(nullptr, nullptr);
    KXLogSetAppPath(nullptr);
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

void DiscardFolder::Load() const
{
    if (!FCInitPlugins() || !FCGetFileFormatInfos())
        throw std::runtime_error("the discarding plug-in doesn't load");
}

DiscardJob::DiscardJob(const JobSizes& sizes)
    : m_sizes(sizes), m_picture(Layout::I420, sizes.srcWidth, sizes.srcHeight),
      m_audio(static_cast<size_t>(2 * sizes.srcRate / kPictureRate))
{
    m_picture.Draw();
    for (size_t i = 0; i < m_audio.size(); ++i)
        m_audio[i] = static_cast<int16_t>(i * 37 % 20000);
    MEDIA_FRAME_VIDEO& video = m_videoFrame.video;
    video.nWidth = sizes.srcWidth;
    video.nHeight = sizes.srcHeight;
    video.pY = m_picture.Bits(0);
    video.pU = m_picture.Bits(1);
    video.pV = m_picture.Bits(2);
    video.nPitchY = m_picture.Pitch(0);
    video.nPitchU = m_picture.Pitch(1);
    video.nPitchV = m_picture.Pitch(2);
    MEDIA_FRAME_AUDIO& audio = m_audioFrame.audio;
    audio.nSampleRate = sizes.srcRate;
    audio.nChannels = 2;
    audio.nBitsPerSample = 16;
    audio.pData = m_audio.data();
    audio.nDataSize = static_cast<int>(m_audio.size() * sizeof(int16_t));
    m_videoFrame.nDuration = m_audioFrame.nDuration = kPictureTime;
}

DiscardJob::~DiscardJob()
{
    Close();
}

void DiscardJob::Open()
{
    EncodeParam param = {};
    param.dwFileFourCC = KX_FOURCC('N', 'O', 'N', 'E');
    param.video.dwFourCC = KX_FOURCC('N', 'O', 'N', 'V');
    param.video.nWidth = m_sizes.dstWidth;
    param.video.nHeight = m_sizes.dstHeight;
    param.video.dFrameRate = kPictureRate;
    param.audio.dwFourCC = KX_FOURCC('N', 'O', 'N', 'A');
    param.audio.nSampleRate = kTargetRate;
    param.audio.nChannels = 2;
    param.audio.nBitsPerSample = 16;
    KXVideoInfo video = {};
    video.width = m_sizes.srcWidth;
    video.height = m_sizes.srcHeight;
    video.framerate = kPictureRate;
    const KXAudioInfo audio = {m_sizes.srcRate, 2, 16};
    Close();
    CAudioConverter::Spare() = 0.0; // what other converters left would shift the blocks
    m_job = FCCreateMediaFile(L"none", &param, &video, &audio);
    if (!m_job)
        throw std::runtime_error("no job");
    m_time = 0;
}

void DiscardJob::Close()
{
    if (m_job)
        FCCloseMediaFile(m_job, nullptr, nullptr);
    m_job = nullptr;
}

void DiscardJob::Write()
{
    m_videoFrame.llStreamTime = m_videoFrame.llTimeStamp = m_time;
    m_audioFrame.llStreamTime = m_audioFrame.llTimeStamp = m_time;
    m_time += kPictureTime;
    if (FCWriteVideoFrame(m_job, &m_videoFrame) != 1 || FCWriteAudioData(m_job, &m_audioFrame) != 1)
        throw std::runtime_error("a job repeats, fills or drops");
}
