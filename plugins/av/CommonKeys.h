// The keys of a job's options that mean the same with every encoder, brought to what libavcodec calls them.
#ifndef ENCMGR_PLUGINS_AV_COMMON_KEYS_H
#define ENCMGR_PLUGINS_AV_COMMON_KEYS_H

#include "plugins/av/PassStatistics.h"
#include "plugins/av/Tables.h"
#include "plugins/support/OptionText.h"

#include <string>
#include <vector>

// libavcodec's options for a constant quality of this value, by the encoder's scale.
std::vector<Option> QualityOptions(const QualityScale& scale, const std::string& value);

// Puts what "crf" and "preset" mean to the encoder before the other options, which may so add to it, and takes "pass"
// and "stats" out. Keys that the encoder has by itself stay. False, with a log line, if it can't do what they ask for.
bool TranslateCommonKeys(const EncoderEntry& entry, std::vector<Option>& options, PassStatistics& statistics);

#endif // ENCMGR_PLUGINS_AV_COMMON_KEYS_H
