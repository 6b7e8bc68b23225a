#include "plugins/support/Frames.h"

#include <algorithm>

namespace
{

bool IsPlaneReadable(const Plane& plane)
{
    if (!plane.pixels || plane.height == 1)
        return plane.pixels;
    const int64_t pitch = std::abs(static_cast<int64_t>(plane.pitch));
    return pitch >= plane.width && pitch <= PTRDIFF_MAX / plane.height;
}

} // namespace

std::array<Plane, 3> PlanesOf(const MEDIA_FRAME_VIDEO& picture)
{
    const int chromaWidth = picture.nWidth / 2 + picture.nWidth % 2;
    const int chromaHeight = picture.nHeight / 2 + picture.nHeight % 2;
    return {Plane{picture.pY, picture.nPitchY, picture.nWidth, picture.nHeight},
            Plane{picture.pU, picture.nPitchU, chromaWidth, chromaHeight},
            Plane{picture.pV, picture.nPitchV, chromaWidth, chromaHeight}};
}

bool IsReadable(const MEDIA_FRAME_VIDEO& picture, int width, int height)
{
    if (picture.nWidth != width || picture.nHeight != height)
        return false;
    const auto planes = PlanesOf(picture);
    return std::all_of(planes.begin(), planes.end(), IsPlaneReadable);
}

bool IsReadable(const MEDIA_FRAME_AUDIO& block, int sampleRate, int channels)
{
    const auto agrees = [](int word, int settled) { return word == 0 || word == settled; };
    return block.pData && block.nDataSize > 0 && agrees(block.nSampleRate, sampleRate) &&
           agrees(block.nChannels, channels) && agrees(block.nBitsPerSample, 16);
}
