// The layout of the scaled picture in the job's buffer: header, Y, V, U, spare bytes.
#ifndef ENCMGR_PICTURE_PLAN_H
#define ENCMGR_PICTURE_PLAN_H

#include "Common/Image/ImageParam.h"
#include "encmgr/PluginRecords.h"

#include <algorithm>
#include <cstdint>

// Columns or rows of a chroma plane.
constexpr int ChromaSize(int lumaSize)
{
    return static_cast<int>((int64_t{lumaSize} + 1) / 2);
}

// Sizes in bytes; an empty picture has none.
struct PictureLayout {
    uint64_t ySize;
    uint64_t cSize; // of each chroma plane
    uint64_t spare;

    explicit constexpr PictureLayout(const EncodeParamVideo& video)
        : ySize(Side(video.nWidth) * Side(video.nHeight)),
          cSize((Side(video.nWidth) + 1) / 2 * ((Side(video.nHeight) + 1) / 2)), spare(Side(video.nWidth))
    {
    }

    static constexpr uint64_t headerSize = sizeof(tagBITMAPINFOHEADER);
    constexpr uint64_t ImageSize() const { return ySize + 2 * cSize; }
    constexpr uint64_t BufferSize() const { return headerSize + ImageSize() + spare; }

private:
    static constexpr uint64_t Side(int side) { return static_cast<uint64_t>(std::max(side, 0)); }
};

#endif // ENCMGR_PICTURE_PLAN_H
