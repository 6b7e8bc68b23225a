// The text of options that a job hands to the encoder of a stream and to the format.
#ifndef ENCMGR_HOST_STREAM_OPTIONS_H
#define ENCMGR_HOST_STREAM_OPTIONS_H

#include "host/job/EncodeOptions.h"

namespace host
{

// The text with another option behind it, as KXSetOptions takes it.
std::string WithOption(const std::string& text, const std::string& key, const std::string& value);

// What is asked for, the common keys first; empty if nothing is.
std::string VideoOptionText(const EncodeOptions& options);
std::string AudioOptionText(const EncodeOptions& options, bool hasVideo);

} // namespace host

#endif // ENCMGR_HOST_STREAM_OPTIONS_H
