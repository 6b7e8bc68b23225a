// The slots of the plug-in's records, by the file that fills them.
#ifndef ENCMGR_PLUGINS_AV_SLOTS_H
#define ENCMGR_PLUGINS_AV_SLOTS_H

#include "encmgr/PluginRecords.h"

void FillVideoSlots(ENCODER_ITEM& item);     // VideoEncoder.cpp
void FillAudioSlots(ENCODER_ITEM& item);     // AudioEncoder.cpp
void FillFormatSlots(FILEFORMAT_ITEM& item); // Muxer.cpp

#endif // ENCMGR_PLUGINS_AV_SLOTS_H
