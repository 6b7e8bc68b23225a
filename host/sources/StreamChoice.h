// Which of a container's streams are taken, and the names of the others.
#ifndef ENCMGR_HOST_STREAM_CHOICE_H
#define ENCMGR_HOST_STREAM_CHOICE_H

#include "host/sources/Libav.h"

#include <string>
#include <vector>

namespace host
{

// Whether both are codes of one language: of two letters or three (ISO 639), "de", "deu" and "ger" say.
bool IsSameLanguage(std::string_view a, std::string_view b);

// The number in the container of the stream that a user names: by its place among its kind, from 0 on, or by its
// language, of which it is the first. Throws HostError with a list of what there is. name is the file's, for people.
int FindStream(const AVFormatContext& container, AVMediaType kind, const std::string& wish, const std::string& name);

// Names of the streams that aren't used, "audio 1 (eng)" say; null for a kind means that none of it is wanted, and then
// none is named. Covers and the tracks that hold chapters are no streams to name.
struct UsedStreams {
    const int* video;
    const int* audio;
};
std::vector<std::string> NamesOfOthers(const AVFormatContext& container, const UsedStreams& used);

} // namespace host

#endif // ENCMGR_HOST_STREAM_CHOICE_H
