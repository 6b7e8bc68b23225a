// Slots that are called through a record of what they do.
#ifndef ENCMGR_HOST_SLOT_LOG_H
#define ENCMGR_HOST_SLOT_LOG_H

#include "encmgr/PluginRecords.h"

#include <string>
#include <vector>

namespace host
{

class Messages;

struct SlotCall {
    const char* slot;       // "pfnEncode"
    KXDWORD fourCC;         // of the record
    bool hasFailed = false; // null or 0 came back
    bool hasThrown = false;
    bool isTold = false; // the log or the standard error stream grew meanwhile, or can't be watched
};

// The calls of one job, in their order.
using SlotLog = std::vector<SlotCall>;

// While it lives, slots that are called on this thread are noted in the log.
class SlotLogScope
{
public:
    explicit SlotLogScope(SlotLog& log);
    ~SlotLogScope();
    SlotLogScope(const SlotLogScope&) = delete;
    SlotLogScope& operator=(const SlotLogScope&) = delete;

private:
    SlotLog* m_before;
};

// From here on, the slots that Recorded gives find their originals in these records, whose FourCCs differ. Both stay in
// place; the messages tell whether something was logged.
void RecordSlotsOf(const std::vector<ENCODER_ITEM>& encoders, const std::vector<FILEFORMAT_ITEM>& formats,
                   const Messages& messages);

// The record with slots that call the original's, note it, and pass on whatever comes back or is thrown.
ENCODER_ITEM Recorded(const ENCODER_ITEM& item);
FILEFORMAT_ITEM Recorded(const FILEFORMAT_ITEM& item);

} // namespace host

#endif // ENCMGR_HOST_SLOT_LOG_H
