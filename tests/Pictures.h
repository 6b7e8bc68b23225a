// Pictures and samples that tests write and know again.
#ifndef ENCMGR_TESTS_PICTURES_H
#define ENCMGR_TESTS_PICTURES_H

#include "encmgr/PluginRecords.h"

#include <array>
#include <cstdint>
#include <vector>

// The planes of a 4:2:0 picture of any size without gaps, one behind the other: Y, U, V.
using Planes = std::vector<unsigned char>;

// A smooth, moving picture, which every encoder can hold to.
Planes TestPicture(int width, int height, int number);

Planes FlatPicture(int width, int height, const std::array<unsigned char, 3>& colour);

// A frame on the planes, which stay the caller's and are read as long as the frame is.
MEDIA_FRAME FrameOf(const Planes& planes, int width, int height);

// A tone with some noise, interleaved; no two sample blocks in a row are alike.
std::vector<int16_t> TestSamples(int rate, int channels, double seconds);

#endif // ENCMGR_TESTS_PICTURES_H
