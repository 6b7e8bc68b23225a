// The options of an encoder as hosts list them.
#ifndef ENCMGR_PLUGINS_AV_OPTION_TABLE_H
#define ENCMGR_PLUGINS_AV_OPTION_TABLE_H

#include "encmgr/PluginRecords.h"

// The array that GetEncoderOptions returns, or null. It is made when it is first asked for, since the encoder is opened
// to try words that it doesn't list. It stays in place.
const ENCODER_OPTION* OptionItems(KXDWORD fourCC);

#endif // ENCMGR_PLUGINS_AV_OPTION_TABLE_H
