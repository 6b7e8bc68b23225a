#include "host/job/QualityOptions.h"

#include "host/base/Text.h"

namespace host
{

void AddQualityOptions(JobPlan& plan, const EncodeOptions& options)
{
    plan.AddVideoOption("crf", options.quality ? Format("%.12g", *options.quality) : "");
    plan.AddVideoOption("preset", options.preset);
    plan.AddVideoOption("tune", options.tune);
    plan.AddVideoOption("g", options.keyDistance ? std::to_string(*options.keyDistance) : "");
    if (options.isFragmented && plan.hasVideo)
        plan.AddVideoOption("fragmented", "1");
    else if (options.isFragmented)
        plan.AddAudioOption("fragmented", "1");
    for (const std::string& pair : options.videoOptions)
        plan.AddVideoOption(pair.substr(0, pair.find('=')), pair.substr(pair.find('=') + 1));
    for (const std::string& pair : options.audioOptions)
        plan.AddAudioOption(pair.substr(0, pair.find('=')), pair.substr(pair.find('=') + 1));
}

} // namespace host
