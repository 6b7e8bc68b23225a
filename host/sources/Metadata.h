// What a container says of its content beside pictures and sound: titles, languages, chapters and a cover.
#ifndef ENCMGR_HOST_METADATA_H
#define ENCMGR_HOST_METADATA_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

namespace host
{

// streams: numbers in the container, -1 for none. Left out is what belongs to the container rather than to the content:
// its brands, the program that wrote it, counts of bytes.
Metadata ReadMetadata(const AVFormatContext& container, int video, int audio);

// The part of a file from start up to end as the whole: chapters outside go, others are moved and cut.
std::vector<Chapter> ChaptersWithin(const std::vector<Chapter>& chapters, Nanoseconds start,
                                    std::optional<Nanoseconds> end);

// As text in libav's form FFMETADATA1: of a file and one of its streams. Empty if there is nothing to say.
std::string MetadataText(const Tags& file, const Tags& stream, const std::vector<Chapter>& chapters);

// The name of its codec in libav, a comma and the bytes in base64; empty for none.
std::string CoverText(const std::optional<Cover>& cover);

} // namespace host

#endif // ENCMGR_HOST_METADATA_H
