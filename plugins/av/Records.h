// The plug-in's records, built from the lines of the tables that are present. They stay in place.
#ifndef ENCMGR_PLUGINS_AV_RECORDS_H
#define ENCMGR_PLUGINS_AV_RECORDS_H

#include "encmgr/PluginRecords.h"

const ENCODER_ITEM* EncoderItems();
const FILEFORMAT_ITEM* FormatItems();

#endif // ENCMGR_PLUGINS_AV_RECORDS_H
