// The options of quality on their way to encoders and format.
#ifndef ENCMGR_HOST_QUALITY_OPTIONS_H
#define ENCMGR_HOST_QUALITY_OPTIONS_H

#include "host/job/JobPlan.h"

namespace host
{

// Puts them into the plan's options, under the keys that all encoders share, and behind them the user's own.
void AddQualityOptions(JobPlan& plan, const EncodeOptions& options);

} // namespace host

#endif // ENCMGR_HOST_QUALITY_OPTIONS_H
