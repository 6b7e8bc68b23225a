// A job's options on their way to libav: an encoder takes the keys that it knows, the file format the others.
#ifndef ENCMGR_PLUGINS_AV_CODEC_OPTIONS_H
#define ENCMGR_PLUGINS_AV_CODEC_OPTIONS_H

#include "encmgr/PluginRecords.h"
#include "plugins/av/Av.h"
#include "plugins/support/OptionText.h"

#include <string>
#include <vector>

// The options of a line of our own tables.
std::vector<Option> OptionsOf(const char* text);

// The text of a job's stream, by its type: empty if there is none.
std::string OptionText(const EncodeParam& job, int type);

// Its options. Nothing, with a log line, if they can't be read.
std::optional<std::vector<Option>> OptionsOf(const EncodeParam& job, int type);

// Whether the key is one of the encoder's own or of those that libavcodec has for every encoder of its kind.
bool Knows(const AVCodecContext& context, const std::string& key);

// Sets the options that the encoder knows, in their order, before it is opened; one that is a list, such as
// x264-params, adds to what the list has. What libav says of the first that it
// refuses, whose place is left in *refused where that isn't null; or 0.
int SetKnown(AVCodecContext& context, const std::vector<Option>& options, const Option** refused = nullptr);

// Whether the codec takes the values of all options that it knows, as far as that shows before it is opened. Logs the
// first that it doesn't, under the encoder's name.
bool TakesValues(const AVCodec* codec, const std::vector<Option>& options, const wchar_t* name);

// Sets an option of the file format, before its header is written. AVERROR_OPTION_NOT_FOUND if it knows no such key.
int SetOption(AVFormatContext& format, const Option& option);

#endif // ENCMGR_PLUGINS_AV_CODEC_OPTIONS_H
