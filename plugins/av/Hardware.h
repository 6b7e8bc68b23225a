// Encoders that are circuits of this machine: whether they are there and work.
#ifndef ENCMGR_PLUGINS_AV_HARDWARE_H
#define ENCMGR_PLUGINS_AV_HARDWARE_H

#include "plugins/av/Tables.h"

// Opens the encoder for a small picture, in silence. Without a device file of its kind nothing is loaded or opened. May
// take some tenths of a second with one, so it is asked once. True of encoders that need no device. CodecOf(entry)
// isn't null.
bool WorksHere(const EncoderEntry& entry);

#endif // ENCMGR_PLUGINS_AV_HARDWARE_H
