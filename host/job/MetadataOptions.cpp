#include "host/job/MetadataOptions.h"

#include "host/sources/Metadata.h"
#include "plugin_host/PluginMgr.h"

#include <algorithm>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

std::optional<Nanoseconds> EndOf(const JobPlan& plan)
{
    if (!plan.hasVideo || !plan.pictures)
        return plan.end;
    const Nanoseconds end = plan.start + av_rescale(*plan.pictures, kSecond * plan.frameRate.den, plan.frameRate.num);
    return std::min(end, plan.end.value_or(end));
}

} // namespace

bool TakesMetadata(KXDWORD format)
{
    const auto& formats = PluginMgr::m_arFileFormat; // jobs take the first of a FourCC
    const auto found =
        std::find_if(formats.begin(), formats.end(), [format](const auto& item) { return item.dwFourCC == format; });
    return found != formats.end() && (found->dwFlags & FFF_METADATA) != 0;
}

void AddMetadata(JobPlan& plan, const Metadata& main, const Metadata& audio)
{
    const auto chapters = ChaptersWithin(main.chapters, plan.start, EndOf(plan));
    if (plan.hasVideo) {
        plan.AddVideoOption("metadata", MetadataText(main.file, main.video, chapters));
        plan.AddVideoOption("cover", CoverText(main.cover));
        plan.AddAudioOption("metadata", MetadataText({}, audio.audio, {}));
    } else {
        plan.AddAudioOption("metadata", MetadataText(main.file, audio.audio, chapters));
        plan.AddAudioOption("cover", CoverText(main.cover));
    }
}

} // namespace host
