// The names of files that hold a picture each.
#ifndef ENCMGR_PLUGINS_AV_SEQUENCE_NAME_H
#define ENCMGR_PLUGINS_AV_SEQUENCE_NAME_H

#include <string>

// Whether the file name, behind the last "/", has just one place for a number, as in "out-%05d.png".
bool HasNumber(const std::string& path);

// Such a path as libavformat takes it, for which a "%" of a folder's name must be doubled.
std::string SequencePath(const std::string& path);

#endif // ENCMGR_PLUGINS_AV_SEQUENCE_NAME_H
