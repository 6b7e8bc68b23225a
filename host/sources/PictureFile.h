// Single pictures from and to files, through libav.
#ifndef ENCMGR_HOST_PICTURE_FILE_H
#define ENCMGR_HOST_PICTURE_FILE_H

#include "Common/Image/ImageParam.h"
#include "host/base/Messages.h"

#include <string>
#include <vector>

namespace host
{

// Pixels of blue, green, red and opacity, as the library's toolbox takes them: bottom-up, rows of 4 * width bytes.
struct Bitmap {
    int width;
    int height;
    std::vector<unsigned char> bytes;

    Bitmap(int columns, int rows)
        : width(columns), height(rows), bytes(static_cast<size_t>(columns) * static_cast<size_t>(rows) * 4)
    {
    }

    int Pitch() const { return 4 * width; }
    unsigned char* MemoryRow(int row) { return bytes.data() + static_cast<size_t>(row) * static_cast<size_t>(Pitch()); }
    // The whole of it, as source or target of a scaler.
    IMG_PARAM Param() { return {bytes.data(), width, height, Pitch(), 32, 0, 0, width, height}; }
    tagBITMAPINFOHEADER Header() const;
};

// The first picture of a file, PNG and PPM among them. Throws HostError.
Bitmap ReadPicture(const std::string& name, Messages& messages);

// The bytes of a PNG file, with the opacity unless all of it is opaque. Throws HostError.
std::vector<unsigned char> EncodePng(Bitmap& bitmap);

// The same to a file. Throws HostError; part of the file may be left then.
void WritePicture(const std::string& path, Bitmap& bitmap);

} // namespace host

#endif // ENCMGR_HOST_PICTURE_FILE_H
