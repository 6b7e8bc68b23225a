// What a job takes from the system, and what becomes of it when the system gives nothing: the C library's allocations
// are counted and fail one by one, and so do writes.
#include "encmgr/Log.h"
#include "tests/FileJob.h"
#include "tests/Interposer.h"

#include <algorithm>
#include <csignal>
#include <cwchar>
#include <sys/resource.h>
#include <tuple>

namespace
{

int s_lines;
bool s_isStreamLost; // a job goes on without a stream whose encoder can't be made

// A job with everything: pictures are scaled and some repeated or left out, audio is converted, filled and cut.
class PromiseTest : public FileJobTest
{
protected:
    PromiseTest()
    {
        const auto take = [](void*, const wchar_t* line) {
            ++s_lines;
            s_isStreamLost = s_isStreamLost || std::wcsstr(line, L"encoder failure");
        };
        KXLogSetSink(take, nullptr);
        std::signal(SIGXFSZ, SIG_IGN);
    }

    static JobParam Job(const std::string& format, const char* video, const char* audio)
    {
        JobParam job(format);
        if (video)
            job.Video(video, 160, 120).video.nResizeMethod = 1;
        if (audio)
            job.Audio(audio, 48000, 2);
        if (format == "MKV ") // the same bytes each time
            KXSetOptions(job.video.dwOptions, "fflags=+bitexact:threads=1");
        return job;
    }

    // Null where the job is refused. The rates leave the converter's balance as it is, so that jobs are alike.
    void* Begin(const JobParam& job) const
    {
        const KXVideoInfo video = {64, 64, 25, 0, 0, 0, {}};
        const KXAudioInfo audio = {24000, 1, 16};
        return FCCreateMediaFile(m_path.c_str(), &job, &video, &audio);
    }

    // The pictures and blocks of a second from the i-th on. False if one of them wasn't taken though it was due.
    bool Run(void* job, int i) const
    {
        bool areTaken = true;
        for (int n = 0; n < 23; ++n) {
            MEDIA_FRAME frame = {};
            frame.audio = {24000, 1, 16, const_cast<int16_t*>(m_samples.data()), 2048, 2048};
            frame.llStreamTime = i * int64_t{10000000} + n * 426667;
            if (n == 10)
                continue; // a gap
            if (n == 15)
                frame.llStreamTime -= 1000000; // late, and thrown away
            const int written = FCWriteAudioData(job, &frame);
            areTaken = areTaken && (written > 0 || n == 15);
        }
        for (int n = 0; n < 25; ++n) {
            MEDIA_FRAME frame = FrameOf(m_planes, 64, 64);
            const int unsteady[] = {0, 0, 1, 1, 0}; // in frames: drops one, and repeats one
            frame.llStreamTime = i * int64_t{10000000} + (n + unsteady[n % 5]) * kPeriod;
            const int written = FCWriteVideoFrame(job, &frame);
            areTaken = areTaken && (written > 0 || n % 5 == 4 || n % 5 == 0);
        }
        return areTaken;
    }

    bool Succeeds(const JobParam& param);

    const std::wstring m_path = (m_folder / "job").wstring();
    const Planes m_planes = TestPicture(64, 64, 0);
    const std::vector<int16_t> m_samples = TestSamples(24000, 1, 1);
    std::vector<int16_t> m_large = std::vector<int16_t>(300000);
};

TEST_F(PromiseTest, FramesAllocateNothingButTheFillAndWhatLargerBlocksNeed)
{
    const long threads = g_interposer.threads;
    const long picture = 160 * 120 * 3 / 2, samples = 0x40000 * 2, stream = 4096;
    const std::tuple<JobParam, int, long> jobs[] = {
        {Job("Y4M ", "I420", nullptr), 0, picture + stream},
        {Job("TPL ", "TPLV", nullptr), 0, 3 * picture + stream}, // run lengths may need twice the bytes
        {Job("WAV ", nullptr, "PCM "), 0, 3 * samples + stream}, // isn't paced
        {Job("TPL ", "TPLV", "TPLR"), 1, 3 * picture + 3 * samples + 2 * stream},
    };
    for (const auto& [param, fills, memory] : jobs) {
        const long held = g_interposer.bytes;
        g_interposer.peak = held;
        void* const job = Begin(param);
        ASSERT_TRUE(job);
        const long before = g_interposer.allocations;
        for (int i = 0; i < 120; ++i)
            Run(job, i);
        EXPECT_EQ(g_interposer.allocations - before, fills) << Text(param.dwFileFourCC);
        EXPECT_NEAR(static_cast<double>(g_interposer.peak - held), static_cast<double>(memory), 24000);
        const long grown = g_interposer.allocations;
        MEDIA_FRAME large = {};
        large.audio = {24000, 1, 16, m_large.data(), static_cast<int>(m_large.size() * 2), 0};
        for (int i = 0; i < 2; ++i)
            FCWriteAudioData(job, &large);
        EXPECT_LE(g_interposer.allocations - grown, param.bAudioDisabled ? 0 : 2);
        Close(job);
        EXPECT_EQ(g_interposer.bytes, held);
    }
    EXPECT_EQ(g_interposer.threads, threads);
    EXPECT_GT(s_lines, 200);
}

// A whole job, and whether it says that it has succeeded.
bool PromiseTest::Succeeds(const JobParam& param)
{
    s_isStreamLost = false;
    void* const job = Begin(param);
    if (!job)
        return false;
    const bool areTaken = !s_isStreamLost && Run(job, 0);
    CloseReport report;
    report.status = 1; // if it isn't called
    const auto take = [](void* taken, unsigned status, unsigned, unsigned) {
        return static_cast<CloseReport*>(taken)->status = status;
    };
    FCCloseMediaFile(job, take, &report);
    return areTaken && report.status == 0;
}

const std::tuple<const char*, const char*, const char*> kJobs[] = {
    {"Y4M ", "I420", nullptr}, {"WAV ", nullptr, "PCM "}, {"TPL ", "TPLV", "TPLA"}, {"MKV ", "FFV1", "PCMS"}};

// Of what the plug-in's libraries couldn't finish some keep a little.
long KeptBy(const std::string& format)
{
    return format == "MKV " ? 1000 : 0;
}

// Each allocation of a job, one at a time: an error, or the same file; and nothing is kept.
TEST_F(PromiseTest, AJobWithoutMemoryFailsOrIsWhole)
{
    for (const auto& [format, video, audio] : kJobs) {
        const JobParam job = Job(format, video, audio);
        if (!Succeeds(job) && job.dwFileFourCC == Code("MKV "))
            continue; // there is no libav
        const std::string whole = Bytes("job");
        int failures = 0;
        for (int n = 1, left = 0; left == 0; ++n) {
            const long held = g_interposer.bytes;
            g_interposer.modules = "libEncMgr:libLog:wp:libstdc++:libc."; // libavformat's own faults are others'
            g_interposer.failing = n;
            const bool isGood = Succeeds(job);
            left = static_cast<int>(g_interposer.failing.exchange(0));
            g_interposer.modules = nullptr;
            EXPECT_LE(g_interposer.bytes - held, KeptBy(format)) << n;
            EXPECT_TRUE(!isGood || Bytes("job") == whole) << format << n;
            failures += !isGood;
        }
        EXPECT_GT(failures, 3) << format;
    }
}

// Each place of a file at which the system may refuse to go on.
TEST_F(PromiseTest, AJobWithoutRoomFails)
{
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlim_t before = limit.rlim_cur;
    for (const auto& [format, video, audio] : kJobs) {
        const JobParam job = Job(format, video, audio);
        if (!Succeeds(job) && job.dwFileFourCC == Code("MKV "))
            continue;
        const auto size = std::filesystem::file_size(Path("job"));
        for (rlim_t room = 0; room < size; room += room < 200 ? 13 : size / 40) {
            const long held = g_interposer.bytes;
            limit.rlim_cur = room;
            setrlimit(RLIMIT_FSIZE, &limit);
            const bool isGood = Succeeds(job);
            limit.rlim_cur = before;
            setrlimit(RLIMIT_FSIZE, &limit);
            EXPECT_FALSE(isGood) << format << room << " of " << size;
            EXPECT_LE(g_interposer.bytes - held, KeptBy(format)) << room;
        }
    }
}

} // namespace
