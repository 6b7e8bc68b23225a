#include "tests/Pictures.h"

#include <cmath>

Planes TestPicture(int width, int height, int number)
{
    const int cw = (width + 1) / 2, ch = (height + 1) / 2;
    Planes planes;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            planes.push_back(
                static_cast<unsigned char>(128 + 90 * std::sin((x + 2 * number) * 0.05) * std::cos(y * 0.04)));
    for (int plane = 0; plane < 2; ++plane)
        for (int i = 0; i < cw * ch; ++i)
            planes.push_back(static_cast<unsigned char>(100 + 40 * plane + i % cw / 8));
    return planes;
}

Planes FlatPicture(int width, int height, const std::array<unsigned char, 3>& colour)
{
    const auto chroma = static_cast<size_t>((width + 1) / 2 * ((height + 1) / 2));
    Planes planes(static_cast<size_t>(width * height), colour[0]);
    planes.insert(planes.end(), chroma, colour[1]);
    planes.insert(planes.end(), chroma, colour[2]);
    return planes;
}

MEDIA_FRAME FrameOf(const Planes& planes, int width, int height)
{
    const int cw = (width + 1) / 2, ch = (height + 1) / 2;
    MEDIA_FRAME frame = {};
    frame.video.pY = const_cast<unsigned char*>(planes.data()); // the library takes frames as const
    frame.video.pU = frame.video.pY + width * height;
    frame.video.pV = frame.video.pU + cw * ch;
    frame.video.nWidth = frame.video.nPitchY = width;
    frame.video.nHeight = height;
    frame.video.nPitchU = frame.video.nPitchV = cw;
    return frame;
}

std::vector<int16_t> TestSamples(int rate, int channels, double seconds)
{
    std::vector<int16_t> samples(static_cast<size_t>(rate * seconds) * static_cast<size_t>(channels));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] =
            static_cast<int16_t>(9000 * std::sin(static_cast<double>(i) * 0.07) + static_cast<double>(i * 7919 % 601));
    return samples;
}
