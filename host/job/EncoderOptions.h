// The options of encoders, as their plug-ins state them.
#ifndef ENCMGR_HOST_ENCODER_OPTIONS_H
#define ENCMGR_HOST_ENCODER_OPTIONS_H

#include "encmgr/PluginRecords.h"

#include <span>
#include <string_view>

namespace host
{

// Of the encoder that jobs take by this FourCC; nothing if its plug-in doesn't state them. Valid as long as the
// plug-ins are loaded.
std::span<const ENCODER_OPTION> OptionsOfEncoder(KXDWORD fourCC);

// The one of this key, or null.
const ENCODER_OPTION* FindOption(std::span<const ENCODER_OPTION> options, std::string_view key);

} // namespace host

#endif // ENCMGR_HOST_ENCODER_OPTIONS_H
