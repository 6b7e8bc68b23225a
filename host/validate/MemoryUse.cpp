#include "host/validate/MemoryUse.h"

#include "host/validate/ProcessState.h"

#include <algorithm>
#include <climits>
#include <malloc.h>

namespace host
{

ResourceUse UseNow()
{
    const struct mallinfo2 info = mallinfo2();
    return {info.uordblks + info.hblkhd, CountOpenFiles()};
}

Growth GrowthOf(int stretches, const std::function<void()>& stretch)
{
    Growth growth = {LONG_MAX, LONG_MAX};
    ResourceUse before = UseNow();
    for (int i = 0; i < stretches; ++i) {
        stretch();
        const ResourceUse after = UseNow();
        growth.bytes = std::min(growth.bytes, static_cast<long>(after.bytes) - static_cast<long>(before.bytes));
        growth.files = std::min(growth.files, static_cast<long>(after.files) - static_cast<long>(before.files));
        before = after;
    }
    return growth;
}

} // namespace host
