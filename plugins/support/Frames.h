// Checks of the frames that arrive, so that no plug-in reads what a frame doesn't hold.
#ifndef ENCMGR_PLUGINS_FRAMES_H
#define ENCMGR_PLUGINS_FRAMES_H

#include "encmgr/PluginRecords.h"

#include <array>
#include <cstddef>
#include <cstdint>

// One plane of a picture: rows of width bytes, pitch bytes apart. A negative pitch is a picture stored upwards.
struct Plane {
    const uint8_t* pixels;
    ptrdiff_t pitch;
    int width;
    int height;

    const uint8_t* Row(int y) const { return pixels + y * pitch; }
};

// Y, U and V of a 4:2:0 picture. They point into the frame's buffers.
std::array<Plane, 3> PlanesOf(const MEDIA_FRAME_VIDEO& picture);

// Whether the picture has this size, all its planes, and no pitch that lets rows overlap.
bool IsReadable(const MEDIA_FRAME_VIDEO& picture, int width, int height);

// Whether the block holds 16-bit audio of the settled format. A word of 0 in the block is taken as settled. Any
// number of bytes will do: blocks may end in the middle of a sample block.
bool IsReadable(const MEDIA_FRAME_AUDIO& block, int sampleRate, int channels);

#endif // ENCMGR_PLUGINS_FRAMES_H
