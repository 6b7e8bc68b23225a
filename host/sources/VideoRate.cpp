#include "host/sources/VideoRate.h"

#include "host/sources/StampGrid.h"
#include "host/sources/StreamInfo.h"

#include <algorithm>

namespace host
{

VideoRate RateOf(const AVStream& stream, std::span<const Nanoseconds> stamps)
{
    const AVRational stated = StatedRateOf(stream);
    const Nanoseconds tick = ToNanoseconds(1, stream.time_base);
    const auto found = FindGrid(stamps, tick, stated);
    const StampGrid grid = found.value_or(StampGrid{stated, 0});
    const AVRational rate = IsOfFields(stream, grid.rate, stated) ? stated : grid.rate;
    const Nanoseconds period = av_rescale(kSecond, rate.den, rate.num);
    if (grid.waver > 0)
        return {RateKind::kWavering, {rate, std::min(2 * grid.waver, period * 9 / 20), true}};
    const RateKind kind = !found ? RateKind::kStated : grid.isMixed ? RateKind::kVariable : RateKind::kSteady;
    return {kind, {rate, std::clamp<Nanoseconds>(tick, 1000, period / 4 + 1000)}};
}

} // namespace host
