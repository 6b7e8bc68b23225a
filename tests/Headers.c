/* The headers for hosts and plug-ins stand alone, as C11 here and as C++20 in Headers.cpp. */
#include "encmgr/EncMgr.h"

#include "encmgr/Log.h"
#include "encmgr/PluginRecords.h"
#include "encmgr/encmgr_toolbox.h"
