// Jobs into a format that throws everything away.
#ifndef ENCMGR_BENCH_DISCARD_JOB_H
#define ENCMGR_BENCH_DISCARD_JOB_H

#include "bench/Image.h"
#include "encmgr/PluginRecords.h"

#include <cstdint>
#include <filesystem>
#include <vector>

// An application's folder of its own, with copies of the discarding plug-in; the library looks for plug-ins there, and
// its log goes nowhere, as long as the object lives. One at a time, and no job outlives it.
class DiscardFolder
{
public:
    explicit DiscardFolder(int copies = 1);
    ~DiscardFolder();
    DiscardFolder(const DiscardFolder&) = delete;
    DiscardFolder& operator=(const DiscardFolder&) = delete;

    void Load() const; // FCInitPlugins

private:
    std::filesystem::path m_path;
};

// Pictures at 25 to the second, and the stereo audio that belongs to each: 1920 sample frames at 48 kHz.
struct JobSizes {
    int srcWidth, srcHeight, dstWidth, dstHeight;
    int srcRate; // of the audio, a multiple of 25
};
constexpr int kTargetRate = 48000;
constexpr int kPictureRate = 25;

class DiscardJob
{
public:
    explicit DiscardJob(const JobSizes& sizes); // only what the host owns
    ~DiscardJob();
    DiscardJob(const DiscardJob&) = delete;
    DiscardJob& operator=(const DiscardJob&) = delete;

    void Open(); // REQUIRES: a DiscardFolder that has loaded
    void Close();
    // One picture and its audio. Throws if the job didn't hand on exactly one of each.
    void Write();
    const Image& Picture() const { return m_picture; }
    std::vector<int16_t>& Audio() { return m_audio; }

private:
    JobSizes m_sizes;
    Image m_picture;
    std::vector<int16_t> m_audio;
    MEDIA_FRAME m_videoFrame = {};
    MEDIA_FRAME m_audioFrame = {};
    int64_t m_time = 0;
    void* m_job = nullptr;
};

#endif // ENCMGR_BENCH_DISCARD_JOB_H
