#include "plugins/av/Hardware.h"

#include "plugins/av/CodecOptions.h"
#include "plugins/av/CommonKeys.h"
#include "plugins/av/Surfaces.h"

#include <string>

extern "C" {
#include <libavutil/log.h>
}

namespace
{

// Devices print under names of their own, which an encoder's level doesn't reach. So libav's level for all is lowered
// for the moment; callbacks of applications are to obey it, as libav's own does.
class Silence
{
public:
    Silence() : m_level(av_log_get_level()) { av_log_set_level(AV_LOG_QUIET); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence() { av_log_set_level(m_level); }

private:
    const int m_level;
};

bool Opens(const EncoderEntry& entry)
{
    const AVCodec* codec = CodecOf(entry);
    const CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context)
        return false;
    context->log_level_offset = kSilent;
    context->pix_fmt = entry.video.pixelFormat;
    context->width = 320; // more than the least that devices take
    context->height = 240;
    context->time_base = {1, 25};
    context->framerate = {25, 1};
    int result = SetKnown(*context, OptionsOf(entry.options));
    if (result >= 0 && entry.quality.options)
        result = SetKnown(*context, QualityOptions(entry.quality, std::to_string(entry.quality.usual)));
    if (result >= 0 && entry.device == Device::kVaapi)
        result = AttachSurfaces(*context);
    return result >= 0 && avcodec_open2(context.get(), codec, nullptr) >= 0;
}

} // namespace

bool WorksHere(const EncoderEntry& entry)
{
    if (entry.device == Device::kNone)
        return true;
    if (!HasDevice(entry.device))
        return false;
    const Silence silence;
    return Opens(entry);
}
