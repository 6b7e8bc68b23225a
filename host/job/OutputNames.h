// The names under which an output is written.
#ifndef ENCMGR_HOST_OUTPUT_NAMES_H
#define ENCMGR_HOST_OUTPUT_NAMES_H

#include <filesystem>
#include <optional>
#include <string>

namespace host
{

// Whether the name numbers pictures ("%03d"): each is a file of its own.
bool IsSequence(const std::string& path);

// The path with a place for a number before its ending: "out-%05d.png".
std::string SequenceOf(const std::string& path);

// The first file of a sequence.
std::string FirstOf(const std::string& path);

// The file that a path leads to over all symbolic links, the last of which may lead nowhere. Nothing for one of the
// program's own descriptors: others may hold that file open.
std::optional<std::string> TargetOf(std::filesystem::path path);

// A name beside the target that differs each time: "holiday.part-x3k9ab.mp4". It has the target's ending, since formats
// may look at that. Of a long name the end is cut off.
std::string TemporaryName(const std::string& target);

} // namespace host

#endif // ENCMGR_HOST_OUTPUT_NAMES_H
