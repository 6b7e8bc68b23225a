// What a job costs beyond its kernels, and what stands around it.
#include "bench/Allocations.h"
#include "bench/CodeSize.h"
#include "bench/DiscardJob.h"
#include "bench/Works.h"

#include "Common/Audio/AudioConverter.h"
#include "Common/Image/ImageResize.h"
#include "encmgr/EncMgr.h"
#include "media_file/MediaFile.h"
#include "media_file/PicturePlan.h"

#include <algorithm>
#include <chrono>
#include <memory>

namespace
{

constexpr JobSizes kScaled = {1920, 1080, 1280, 720, 44100};
constexpr JobSizes kSmall = {160, 90, 320, 180, kTargetRate}; // each picture's columns are worked out anew
constexpr JobSizes kAsIs = {1920, 1080, 1920, 1080, 44100};
constexpr JobSizes kUntouched = {1920, 1080, 1920, 1080, kTargetRate};

// The kernels of a job's picture and of its audio, by themselves.
class Kernels
{
public:
    explicit Kernels(const JobSizes& sizes)
        : m_dst(Layout::I420, sizes.dstWidth, sizes.dstHeight), m_converter(2, 2, sizes.srcRate, kTargetRate, 0),
          m_resampled(size_t{2} * kResampleBufSamples)
    {
    }

    void Scale(const Image& src)
    {
        IMG_PARAM from = src.Record(), to = m_dst.Record();
        const auto method = IMAGE_INTERPOLATION_BILINER;
        ImageResizeY(from, to, method);
        for (int p = 1; p < 3; ++p) {
            from.pBits = src.Bits(p);
            from.nPitch = src.Pitch(p);
            to.pBits = m_dst.Bits(p);
            to.nPitch = m_dst.Pitch(p);
            ImageResizeUV(from, to, method);
        }
    }

    void Resample(const std::vector<int16_t>& audio)
    {
        const int waiting = m_converter.Put(audio.data(), static_cast<int>(audio.size()));
        m_converter.Get(m_resampled.data(), waiting);
    }

private:
    Image m_dst;
    CAudioConverter m_converter;
    std::vector<int16_t> m_resampled;
};

// Members are given up in the reverse order: the job before its plug-ins.
struct LoadedJob {
    DiscardFolder folder;
    DiscardJob job;

    explicit LoadedJob(const JobSizes& sizes) : job(sizes) { folder.Load(); }
};

Contest Prepare(const JobSizes& sizes)
{
    const auto loaded = std::make_shared<LoadedJob>(sizes);
    loaded->job.Open();
    const auto kernels = std::make_shared<Kernels>(sizes);
    const bool scales = sizes.srcWidth != sizes.dstWidth, resamples = sizes.srcRate != kTargetRate;
    Contest contest;
    contest.ours = [=] { loaded->job.Write(); };
    if (scales || resamples)
        contest.peers.push_back({"its kernels", [=] {
                                     if (scales)
                                         kernels->Scale(loaded->job.Picture());
                                     if (resamples)
                                         kernels->Resample(loaded->job.Audio());
                                 }});
    return contest;
}

// The median time of `timed` in microseconds, each with a fresh `before`.
template <class Before, class Timed> double Microseconds(int count, Before before, Timed timed)
{
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        before();
        const auto start = std::chrono::steady_clock::now();
        timed();
        times.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + count / 2, times.end());
    return times[static_cast<size_t>(count / 2)];
}

double LoadTime(int plugins)
{
    const DiscardFolder folder(plugins);
    return Microseconds(15, FCUninitPlugins, [&] { folder.Load(); });
}

double OpenTime()
{
    LoadedJob loaded(kScaled);
    return Microseconds(
        101, [&] { loaded.job.Close(); }, [&] { loaded.job.Open(); });
}

double CloseTime()
{
    LoadedJob loaded(kScaled);
    return Microseconds(
        101, [&] { loaded.job.Open(); }, [&] { loaded.job.Close(); });
}

// What the job has to own: the scaled picture, the resampled block, and the converter's two buffers.
double BuffersOfJob()
{
    EncodeParamVideo video = {};
    video.nWidth = kScaled.dstWidth;
    video.nHeight = kScaled.dstHeight;
    return static_cast<double>(PictureLayout(video).BufferSize()) + 3.0 * sizeof(short) * kResampleBufSamples;
}

double PeakMemory()
{
    LoadedJob loaded(kScaled);
    const AllocationScope scope;
    loaded.job.Open();
    for (int i = 0; i < 25; ++i)
        loaded.job.Write();
    return static_cast<double>(scope.Peak());
}

double AllocationsInJob()
{
    LoadedJob loaded(kScaled);
    loaded.job.Open();
    const AllocationScope scope;
    for (int i = 0; i < 100; ++i)
        loaded.job.Write();
    return static_cast<double>(scope.Count());
}

} // namespace

void RegisterJobs()
{
    RegisterContest("Job/1080p to 720p, 44.1 to 48 kHz", {}, [] { return Prepare(kScaled); });
    RegisterContest("Job/160x90 to 320x180, 48 kHz as is", {}, [] { return Prepare(kSmall); });
    RegisterContest("Job/1080p as is, 44.1 to 48 kHz", {}, [] { return Prepare(kAsIs); });
    RegisterContest("Job/1080p as is, 48 kHz as is", {}, [] { return Prepare(kUntouched); });
    RegisterFigure("Around a job/load 50 plug-ins", "us", [] { return LoadTime(50); });
    RegisterFigure("Around a job/open", "us", OpenTime);
    RegisterFigure("Around a job/close", "us", CloseTime);
    RegisterFigure("Around a job/peak memory", "bytes", PeakMemory);
    RegisterFigure("Around a job/of that, buffers", "bytes", BuffersOfJob);
    RegisterFigure("Around a job/allocations in 100 pictures", "", AllocationsInJob);
    RegisterFigure("Around a job/code of the library", "bytes", [] { return CodeSize(BENCH_LIBRARY); });
}
