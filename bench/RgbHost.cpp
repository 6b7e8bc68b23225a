// What bench/from_python.py compares with: a host in C++ that writes pictures of RGB to Y4M.
//
//   RgbHost OUTPUT WIDTH HEIGHT PICTURES    prints the seconds that the pictures took, without opening and closing
#include "encmgr/EncMgr.h"
#include "encmgr/encmgr_toolbox.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{

constexpr int kDifferent = 4; // pictures, so that they don't all lie in the caches

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5 || !FCInitPlugins())
        return 2;
    const std::string path = argv[1];
    const int width = std::atoi(argv[2]), height = std::atoi(argv[3]), count = std::atoi(argv[4]);
    if (width <= 0 || height <= 0 || count <= 0)
        return 2;
    EncodeParam param = {};
    param.dwFileFourCC = KX_FOURCC('Y', '4', 'M', ' ');
    param.video.dwFourCC = KX_FOURCC('I', '4', '2', '0');
    param.video.nWidth = width;
    param.video.nHeight = height;
    param.video.dFrameRate = 25.0;
    param.bAudioDisabled = 1;
    KXVideoInfo source = {};
    source.width = width;
    source.height = height;
    source.framerate = 25.0;
    void* const job = FCCreateMediaFile(std::wstring(path.begin(), path.end()).c_str(), &param, &source, nullptr);
    if (!job)
        return 1;

    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::vector<std::vector<unsigned char>> pictures(kDifferent, std::vector<unsigned char>(3 * pixels));
    unsigned value = 1;
    for (auto& picture : pictures)
        for (unsigned char& sample : picture)
            sample = static_cast<unsigned char>((value = value * 1664525U + 1013904223U) >> 24);
    const int chromaWidth = (width + 1) / 2;
    const size_t chroma = static_cast<size_t>(chromaWidth) * static_cast<size_t>((height + 1) / 2);
    std::vector<unsigned char> y(pixels), u(chroma), v(chroma);
    const encmgr_planes planes = {y.data(), u.data(), v.data(), width, chromaWidth, chromaWidth, width, height};

    const auto start = std::chrono::steady_clock::now();
    int written = 0;
    for (int i = 0; i < count; ++i) {
        const encmgr_rgb rgb = {pictures[static_cast<size_t>(i % kDifferent)].data(), width, height, 3 * width, 3};
        MEDIA_FRAME frame = {};
        frame.video.nWidth = width;
        frame.video.nHeight = height;
        frame.video.pY = planes.y;
        frame.video.pU = planes.u;
        frame.video.pV = planes.v;
        frame.video.nPitchY = planes.pitch_y;
        frame.video.nPitchU = planes.pitch_u;
        frame.video.nPitchV = planes.pitch_v;
        frame.llTimeStamp = frame.llStreamTime = i * 400000LL;
        written += encmgr_rgb_to_i420(&rgb, &planes) ? FCWriteVideoFrame(job, &frame) : 0;
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    FCCloseMediaFile(job, nullptr, nullptr);
    FCUninitPlugins();
    std::printf("%.9f\n", seconds.count());
    return written == count ? 0 : 1;
}
