#include "host/sources/PictureChanges.h"

#include "host/base/Text.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace host
{

namespace
{

const char* TurnText(const std::string& filter)
{
    constexpr std::pair<const char*, const char*> turns[] = {
        {"vflip,copy", "mirrored upside down"},
        {"hflip", "mirrored"},
        {"vflip,hflip", "turned by 180 degrees"},
        {"transpose=clock", "turned right by 90 degrees"},
        {"transpose=cclock", "turned left by 90 degrees"},
        {"transpose=clock_flip", "turned right by 90 degrees and mirrored"},
        {"transpose=cclock_flip", "turned left by 90 degrees and mirrored"},
    };
    for (const auto& [name, text] : turns)
        if (filter == name)
            return text;
    return "turned";
}

} // namespace

std::vector<std::string> ChangesOf(const AVCodecParameters& stream, const Turn& turn, const PictureColour& colour)
{
    std::vector<std::string> changes;
    if (!turn.filter.empty())
        changes.emplace_back(TurnText(turn.filter));
    const auto format = static_cast<AVPixelFormat>(stream.format);
    const AVPixFmtDescriptor* const pixels = av_pix_fmt_desc_get(format);
    if (!pixels)
        return changes;
    const bool isRgb = (pixels->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    const std::string name = av_get_pix_fmt_name(format);
    const bool isFull = !isRgb && (StoredNumber(stream.color_range) == AVCOL_RANGE_JPEG || name.starts_with("yuvj"));
    if (format != AV_PIX_FMT_YUV420P && format != AV_PIX_FMT_YUVJ420P)
        changes.push_back(Format("brought from %s to 4:2:0 of 8 bits", name.c_str()));
    if (isFull)
        changes.emplace_back("brought from full range to limited range");
    const char* const matrix = av_color_space_name(static_cast<AVColorSpace>(colour.matrix));
    const bool isNamed = !isRgb && StoredNumber(stream.color_space) == colour.matrix;
    changes.push_back(Format(isRgb     ? "brought from RGB to YUV by the matrix %s"
                             : isNamed ? "left in the matrix %s"
                                       : "taken to have the matrix %s, which is usual for their size",
                             matrix ? matrix : "unknown"));
    return changes;
}

} // namespace host
