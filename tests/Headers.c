/* The headers for hosts and plug-ins stand alone, as C11 here and as C++20 in Headers.cpp. */
#include "plugin_host/EncMgr.h"

#include "log/Log.h"
#include "plugin_host/PluginRecords.h"
