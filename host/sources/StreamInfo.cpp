#include "host/sources/StreamInfo.h"

#include "host/base/Values.h"

#include <algorithm>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/display.h>
}

namespace host
{

namespace
{

const uint8_t* DisplayMatrixOf(const AVStream& stream)
{
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 102)
    const AVPacketSideData* data = av_packet_side_data_get(
        stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    return data && data->size >= 9 * sizeof(int32_t) ? data->data : nullptr;
#else
    size_t size = 0;
    const uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    return data && size >= 9 * sizeof(int32_t) ? data : nullptr;
#endif
}

bool IsVideo(const AVStream& stream)
{
    return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !IsCover(stream);
}

bool IsAudio(const AVStream& stream)
{
    return stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
}

// The number of the first stream of a kind, -1 if there is none.
int FirstOf(const AVFormatContext& container, bool (*isKind)(const AVStream&))
{
    for (unsigned i = 0; i < container.nb_streams; ++i)
        if (isKind(*container.streams[i]))
            return static_cast<int>(i);
    return -1;
}

// The stream that libavformat prefers of a kind, otherwise the first.
int BestOf(AVFormatContext& container, AVMediaType type, int related, bool (*isKind)(const AVStream&))
{
    const int best = av_find_best_stream(&container, type, -1, related, nullptr, 0);
    return best >= 0 && isKind(*container.streams[best]) ? best : FirstOf(container, isKind);
}

} // namespace

bool IsCover(const AVStream& stream)
{
    return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

int BestVideo(AVFormatContext& container)
{
    return BestOf(container, AVMEDIA_TYPE_VIDEO, -1, IsVideo);
}

int BestAudio(AVFormatContext& container, int video)
{
    return BestOf(container, AVMEDIA_TYPE_AUDIO, video, IsAudio);
}

bool IsUsable(AVRational ratio)
{
    return ratio.num > 0 && ratio.den > 0;
}

// The average rate, except that the measured average of a file with steady pictures lies a
// little beside the rate they are at.
AVRational StatedRateOf(const AVStream& stream)
{
    const AVRational average = stream.avg_frame_rate;
    const AVRational steady = stream.r_frame_rate;
    if (!IsUsable(average))
        return IsUsable(steady) && av_q2d(steady) <= kHighestRate ? steady : AVRational{25, 1};
    const bool isUsual = average.den == 1 || average.den == 1001;
    if (!isUsual && IsUsable(steady) && std::fabs(av_q2d(steady) / av_q2d(average) - 1.0) < 0.002)
        return steady;
    return average;
}

bool IsOfFields(const AVStream& stream, AVRational measured, AVRational stated)
{
    return StoredNumber(stream.codecpar->field_order) > AV_FIELD_PROGRESSIVE &&
           std::fabs(av_q2d(measured) / av_q2d(stated) - 2.0) < 0.01;
}

// The matrix [a b; c d] takes the point (x, y), y counting down, to (ax + cy, bx + dy). What is meant for 0 may be off
// a little. Behind vflip, which makes pitches negative, another filter makes a picture of its own.
Turn TurnOf(const AVStream& stream)
{
    const uint8_t* const data = DisplayMatrixOf(stream);
    if (!data)
        return {};
    int32_t matrix[9];
    std::memcpy(matrix, data, sizeof(matrix));
    const double a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];
    const double straight = std::min(std::fabs(a), std::fabs(d)), across = std::min(std::fabs(b), std::fabs(c));
    constexpr double nothing = 0.0175; // a degree
    if (std::max(std::fabs(b), std::fabs(c)) < straight * nothing) {
        if (a > 0)
            return d > 0 ? Turn{} : Turn{"vflip,copy", false, 0.0, 180, true};
        return d > 0 ? Turn{"hflip", false, 0.0, 0, true} : Turn{"vflip,hflip", false, 0.0, 180, false};
    }
    if (std::max(std::fabs(a), std::fabs(d)) < across * nothing) {
        if (c > 0)
            return b > 0 ? Turn{"transpose=cclock_flip", true, 0.0, 270, true}
                         : Turn{"transpose=cclock", true, 0.0, 270, false};
        return b > 0 ? Turn{"transpose=clock", true, 0.0, 90, false}
                     : Turn{"transpose=clock_flip", true, 0.0, 90, true};
    }
    const double angle = av_display_rotation_get(matrix);
    return {"", false, std::isfinite(angle) ? angle : 0.0};
}

Fields FieldsOf(const AVStream& stream)
{
    switch (StoredNumber(stream.codecpar->field_order)) {
    case AV_FIELD_PROGRESSIVE:
        return Fields::kNone;
    case AV_FIELD_TT: // the second letter is that of the field shown first
    case AV_FIELD_BT:
        return Fields::kTopFirst;
    case AV_FIELD_BB:
    case AV_FIELD_TB:
        return Fields::kBottomFirst;
    default: // DV's containers don't tell, but the standard does for 480 and 576 rows
        return stream.codecpar->codec_id == AV_CODEC_ID_DVVIDEO && stream.codecpar->height <= 576 ? Fields::kBottomFirst
                                                                                                  : Fields::kUnknown;
    }
}

} // namespace host
