/* The headers for hosts and plug-ins stand alone, as C11 here and as C++20 in Headers.cpp; in both languages every
 * field that a record's checks name lies at the same place and has the same size. */
#include "encmgr/EncMgr.h"

#include "encmgr/Log.h"
#include "encmgr/PluginRecords.h"
#include "encmgr/encmgr_toolbox.h"

#define FIELD(record, field) offsetof(record, field), sizeof(((record*)0)->field), sizeof(record),
static const size_t s_layout[] = {
#include "layout.inc"
};

#ifndef __cplusplus
const size_t* LayoutInC(size_t* count);
const size_t* LayoutInC(size_t* count)
{
    *count = sizeof(s_layout) / sizeof(s_layout[0]);
    return s_layout;
}
#endif
