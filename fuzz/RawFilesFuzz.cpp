// Y4M and WAV files of frames from the input, some of which the formats must refuse, read back byte by byte.
#include "encmgr/Log.h"
#include "fuzz/FuzzInput.h"
#include "plugins/raw/RawFiles.h"
#include "plugins/support/FrameRate.h"

#include <cmath>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

// A file without a place, by whose path a plug-in opens it.
class MemoryFile
{
public:
    MemoryFile() : m_descriptor(memfd_create("fuzz", 0)) {}
    ~MemoryFile() { close(m_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::wstring Path() const { return L"/proc/self/fd/" + std::to_wstring(m_descriptor); }
    std::string Content() const
    {
        std::string text(static_cast<size_t>(lseek(m_descriptor, 0, SEEK_END)), '\0');
        Expect(pread(m_descriptor, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "pread");
        return text;
    }

private:
    int m_descriptor;
};

// What the close callback says: whether all was taken, pictures, milliseconds.
struct Report {
    unsigned status = 9, pictures = 0, milliseconds = 0;

    static unsigned Take(void* report, unsigned n1, unsigned n2, unsigned n3)
    {
        *static_cast<Report*>(report) = {n1, n2, n3};
        return 0;
    }
};

void WriteY4m(FuzzInput& input)
{
    const int w = input.Hostile(input.Random(1, 70)), h = input.Hostile(input.Random(1, 40));
    EncodeParam param = {};
    param.video.dwFourCC = kRawVideo;
    param.video.nWidth = w;
    param.video.nHeight = h;
    param.video.dFrameRate = input.Random(0, 3) ? input.Random(0, 1200) / 10.0 : input.Raw<double>();
    param.video.nPixelAspectX = input.Hostile(16);
    param.video.nPixelAspectY = input.Hostile(15);
    const double asked = param.video.dFrameRate;
    const bool isFit = w > 0 && h > 0 && asked >= kLowestFrameRate && asked <= kHighestFrameRate;
    Expect((ReviseRawVideo(&param) != 0) == isFit, "the revision of video");
    const FILEFORMAT_ITEM format = Y4mFormat();
    const MemoryFile file;
    void* const handle = format.pfnCreate(file.Path().c_str(), &param);
    Expect((handle != nullptr) == isFit, "the creation of a Y4M file");
    if (!handle)
        return;
    std::string pictures;
    unsigned count = 0;
    bool refused = false;
    for (int i = input.Random(0, 4); i > 0; --i) {
        const int width = input.Random(0, 7) ? w : input.Hostile(w), height = input.Random(0, 7) ? h : input.Hostile(h);
        if (w > 100 || h > 100) {
            MEDIA_FRAME frame = {};
            frame.video.nWidth = w;
            frame.video.nHeight = h;
            Expect(format.pfnWriteVideo(handle, &frame) == 0, "a picture without planes");
            refused = true;
            continue;
        }
        const int pitch = w + input.Random(0, 5), cw = (w + 1) / 2, ch = (h + 1) / 2;
        Bytes y(size_t(pitch) * h), u(size_t(cw) * ch), v(u.size());
        for (Bytes* plane : {&y, &u, &v})
            input.Fill(*plane);
        MEDIA_FRAME frame = {};
        const bool upward = input.Random(0, 1) != 0;
        frame.video = {{},       y.data() + (upward ? size_t(pitch) * (h - 1) : 0),
                       u.data(), v.data(),
                       0,        width,
                       height,   upward ? -pitch : pitch,
                       cw,       cw};
        if (input.Random(0, 15) == 0)
            frame.video.pV = nullptr;
        const bool isTaken = width == w && height == h && frame.video.pV;
        Expect(format.pfnWriteVideo(handle, &frame) == isTaken, "a picture");
        refused |= !isTaken;
        if (!isTaken)
            continue;
        ++count;
        pictures += "FRAME\n";
        for (int row = 0; row < h; ++row)
            pictures.append(reinterpret_cast<char*>(frame.video.pY) + ptrdiff_t{row} * frame.video.nPitchY, w);
        pictures.append(u.begin(), u.end()).append(v.begin(), v.end());
    }
    Report report;
    format.pfnClose(handle, Report::Take, &report);
    Expect(report.status == refused && report.pictures == count, "the report of a Y4M file");
    const std::string content = file.Content(), header = content.substr(0, content.find('\n') + 1);
    int width = 0, height = 0, num = 0, den = 0;
    Expect(std::sscanf(header.c_str(), "YUV4MPEG2 W%d H%d F%d:%d Ip A", &width, &height, &num, &den) == 4 &&
               width == w && height == h && std::abs(double(num) / den - asked) < 0.006 * std::max(1.0, asked) &&
               header.ends_with(" C420jpeg\n"),
           header.c_str());
    Expect(content.substr(header.size()) == pictures, "the pictures of a Y4M file");
}

unsigned WordAt(const std::string& bytes, size_t at, int size)
{
    unsigned word = 0;
    for (int i = size - 1; i >= 0; --i)
        word = word << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<size_t>(i)));
    return word;
}

void WriteWav(FuzzInput& input)
{
    EncodeParam param = {};
    param.audio.dwFourCC = kRawAudio;
    const int askedRate = param.audio.nSampleRate = input.Hostile(input.Random(1, 800000));
    const int askedChannels = param.audio.nChannels = input.Hostile(input.Random(1, 40));
    param.audio.nBitsPerSample = input.Hostile(16);
    const bool isFit = askedRate > 0 && askedChannels > 0;
    Expect((ReviseRawAudio(&param.audio) != 0) == isFit, "the revision of audio");
    const FILEFORMAT_ITEM format = WavFormat();
    const MemoryFile file;
    void* const handle = format.pfnCreate(file.Path().c_str(), &param);
    Expect((handle != nullptr) == isFit, "the creation of a WAV file");
    if (!handle)
        return;
    const int rate = param.audio.nSampleRate, channels = param.audio.nChannels;
    std::string samples;
    bool refused = false;
    for (int i = input.Random(0, 6); i > 0; --i) {
        Bytes block(input.Random(0, 15) < 15 ? input.Random(1, 3000) : 1100000);
        input.Fill(block);
        MEDIA_FRAME frame = {};
        frame.audio = {input.Random(0, 7) ? rate : input.Hostile(0),
                       input.Random(0, 7) ? channels : input.Hostile(0),
                       input.Random(0, 7) ? 16 : input.Hostile(0),
                       input.Random(0, 15) ? block.data() : nullptr,
                       input.Random(0, 15) ? static_cast<int>(block.size()) : input.Random(-2, 0),
                       0};
        const auto& a = frame.audio;
        const bool isTaken = a.pData && a.nDataSize > 0 && (!a.nSampleRate || a.nSampleRate == rate) &&
                             (!a.nChannels || a.nChannels == channels) && (!a.nBitsPerSample || a.nBitsPerSample == 16);
        Expect(format.pfnWriteAudio(handle, &frame, 0) == isTaken, "a block");
        refused |= !isTaken;
        if (isTaken)
            samples.append(block.begin(), block.end());
    }
    Report report;
    format.pfnClose(handle, Report::Take, &report);
    samples.resize((samples.size() + channels * 2 - 1) / (channels * 2) * (channels * 2)); // silence
    Expect(report.status == refused && report.milliseconds == samples.size() / (channels * 2) * 1000 / rate,
           "the report of a WAV file");
    const std::string content = file.Content();
    const size_t format16 = content.find("fmt "), all = content.find("data");
    Expect(content.starts_with("RIFF") && WordAt(content, 4, 4) == content.size() - 8 && format16 < all &&
               WordAt(content, format16 + 10, 2) == unsigned(channels) &&
               WordAt(content, format16 + 12, 4) == unsigned(rate) && WordAt(content, all + 4, 4) == samples.size(),
           "the header of a WAV file");
    Expect(content.substr(all + 8) == samples, "the samples of a WAV file");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    KXLogSetSink([](void*, const wchar_t*) {}, nullptr);
    if (input.Random(0, 1))
        WriteWav(input);
    else
        WriteY4m(input);
    return 0;
}
