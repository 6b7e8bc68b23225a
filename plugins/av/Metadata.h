// Titles, languages, chapters and covers on their way from a job's options into a file.
#ifndef ENCMGR_PLUGINS_AV_METADATA_H
#define ENCMGR_PLUGINS_AV_METADATA_H

#include "plugins/av/Av.h"
#include "plugins/support/OptionText.h"

// Whether the option is one of the two that FFF_METADATA promises to take, which no encoder is asked for.
bool IsMetadata(const Option& option);

// Sets what such an option of a stream says, before the header is written. The log names what the format has no place
// for. Negative, an error of libav, for a text that can't be read.
int SetMetadata(AVFormatContext& format, AVStream& stream, const Option& option);

// Behind the header: covers that are streams of one picture.
int WriteCovers(AVFormatContext& format);

#endif // ENCMGR_PLUGINS_AV_METADATA_H
