// Small pictures of single moments of a source.
#ifndef ENCMGR_HOST_STILLS_H
#define ENCMGR_HOST_STILLS_H

#include "host/sources/PictureFile.h"
#include "host/sources/Source.h"

#include <span>

namespace host
{

// What stands at the times, which rise and count from the start, turned as it is to be seen, with square pixels and no
// side longer than longestSide. Only plain files and test cards are opened. A moment that can't be had is left out
// together with all behind it; nothing is thrown for that.
std::vector<Bitmap> StillsOf(const std::string& name, std::span<const Nanoseconds> times, int longestSide,
                             Messages& messages);

// Bytes of a file's streams along its length.
struct StreamBytes {
    std::vector<int64_t> video;
    std::vector<int64_t> audio;
};

// For so many buckets of equal length, the last of which takes what lies behind. Reads the file once; empty lists if it
// is no plain file, is larger than 4 GB, or can't be read.
StreamBytes BytesAlong(const std::string& name, double bucketSeconds, size_t buckets, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_STILLS_H
