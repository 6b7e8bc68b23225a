// What becomes of a stream's pictures on their way to the form in which sources give them, for people.
#ifndef ENCMGR_HOST_PICTURE_CHANGES_H
#define ENCMGR_HOST_PICTURE_CHANGES_H

#include "host/sources/StreamInfo.h"

namespace host
{

// A line for each: how they are turned, brought to 4:2:0 of 8 bits and limited range, and by which matrix they are
// understood.
std::vector<std::string> ChangesOf(const AVCodecParameters& stream, const Turn& turn, const PictureColour& colour);

} // namespace host

#endif // ENCMGR_HOST_PICTURE_CHANGES_H
