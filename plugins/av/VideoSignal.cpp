#include "plugins/av/VideoSignal.h"

#include "log/Log.h"

extern "C" {
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
}

namespace
{

constexpr KXDWORD kRangeByte = KX_COLOUR(0xFF, 0, 0, 0);

// What of kRange, kColour, kFields and kRotation reaches players of the file.
unsigned StatedIn(const EncodeParamVideo& video, const EncoderEntry& entry, const ContainerEntry& container)
{
    unsigned stated = entry.states | container.states;
    if (entry.video.fullRange) // players take JPEG's colours as the standard has them, whatever the header says
        stated &= ~kColour;
    if (stated & kRangeOfColour && (video.dwColour & ~kRangeByte) != 0)
        stated |= kRange;
    if (entry.states & container.states & kProgressive)
        stated &= ~kFields;
    return stated;
}

bool IsInterlaced(const EncodeParamVideo& video)
{
    return video.nFieldOrder == KX_FIELDS_TOP_FIRST || video.nFieldOrder == KX_FIELDS_BOTTOM_FIRST;
}

AVFieldOrder FieldOrder(const EncodeParamVideo& video)
{
    switch (video.nFieldOrder) {
    case KX_FIELDS_PROGRESSIVE:
        return AV_FIELD_PROGRESSIVE;
    case KX_FIELDS_TOP_FIRST:
        return AV_FIELD_TT;
    case KX_FIELDS_BOTTOM_FIRST:
        return AV_FIELD_BB;
    default:
        return AV_FIELD_UNKNOWN;
    }
}

// A code point of 0 isn't said. libav's numbers are the code points.
void SetColour(AVCodecContext& target, KXDWORD colour)
{
    if (KX_COLOUR_MATRIX(colour))
        target.colorspace = static_cast<AVColorSpace>(KX_COLOUR_MATRIX(colour));
    if (KX_COLOUR_PRIMARIES(colour))
        target.color_primaries = static_cast<AVColorPrimaries>(KX_COLOUR_PRIMARIES(colour));
    if (KX_COLOUR_TRANSFER(colour))
        target.color_trc = static_cast<AVColorTransferCharacteristic>(KX_COLOUR_TRANSFER(colour));
}

int SetRotation(AVStream& stream, int degrees)
{
    constexpr size_t kSize = 9 * sizeof(int32_t);
#if LIBAVFORMAT_VERSION_MAJOR >= 61
    AVCodecParameters& parameters = *stream.codecpar;
    AVPacketSideData* const side = av_packet_side_data_new(&parameters.coded_side_data, &parameters.nb_coded_side_data,
                                                           AV_PKT_DATA_DISPLAYMATRIX, kSize, 0);
    uint8_t* const matrix = side ? side->data : nullptr;
#else
    uint8_t* const matrix = av_stream_new_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, kSize);
#endif
    if (!matrix)
        return AVERROR(ENOMEM);
    av_display_rotation_set(reinterpret_cast<int32_t*>(matrix), degrees); // clockwise
    return 0;
}

} // namespace

bool IsKnownSignal(const EncodeParamVideo& video)
{
    const int range = KX_COLOUR_RANGE(video.dwColour), matrix = KX_COLOUR_MATRIX(video.dwColour);
    const int primaries = KX_COLOUR_PRIMARIES(video.dwColour), transfer = KX_COLOUR_TRANSFER(video.dwColour);
    const bool isColour = range <= KX_RANGE_FULL && av_color_space_name(static_cast<AVColorSpace>(matrix)) &&
                          (!primaries || av_color_primaries_name(static_cast<AVColorPrimaries>(primaries))) &&
                          (!transfer || av_color_transfer_name(static_cast<AVColorTransferCharacteristic>(transfer)));
    const int x = video.nPixelAspectX, y = video.nPixelAspectY;
    const wchar_t* unknown = nullptr;
    if (!isColour)
        unknown = L"colour";
    else if (x < 0 || y < 0 || (x == 0) != (y == 0))
        unknown = L"pixel aspect";
    else if (video.nFieldOrder < 0 || video.nFieldOrder > KX_FIELDS_BOTTOM_FIRST)
        unknown = L"field order";
    else if (video.nRotation < 0 || video.nRotation > 270 || video.nRotation % 90 != 0)
        unknown = L"rotation";
    if (unknown)
        KXLogEx(L"wpav: there is no such %ls: colour %08X, pixel aspect %d:%d, field order %d, rotation %d.", unknown,
                static_cast<unsigned>(video.dwColour), x, y, video.nFieldOrder, video.nRotation);
    return !unknown;
}

int UsualMatrix(const EncodeParamVideo& video)
{
    return video.nWidth >= 1280 || video.nHeight > 576 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

KXDWORD EncodedColour(const EncodeParamVideo& video, const EncoderEntry& entry, const ContainerEntry* container)
{
    int range = KX_COLOUR_RANGE(video.dwColour), matrix = KX_COLOUR_MATRIX(video.dwColour);
    const unsigned stated = container ? StatedIn(video, entry, *container) : kRange | kColour;
    if (entry.video.fullRange) {
        range = KX_RANGE_FULL;
        matrix = AVCOL_SPC_BT470BG;
    } else if (entry.TakesBitRate()) {
        if (!(stated & kRange) && range)
            range = KX_RANGE_LIMITED;
        if (!(stated & kColour) && matrix)
            matrix = UsualMatrix(video);
    }
    return KX_COLOUR(range, matrix, KX_COLOUR_PRIMARIES(video.dwColour), KX_COLOUR_TRANSFER(video.dwColour));
}

void SetSignal(AVCodecContext& context, const EncodeParamVideo& video, const EncoderEntry& entry, KXDWORD colour)
{
    context.sample_aspect_ratio = {1, 1};
    if (video.nPixelAspectX > 0)
        av_reduce(&context.sample_aspect_ratio.num, &context.sample_aspect_ratio.den, video.nPixelAspectX,
                  video.nPixelAspectY, entry.video.maxAspectTerm);
    SetColour(context, colour);
    if (KX_COLOUR_RANGE(colour) == KX_RANGE_FULL)
        context.color_range = AVCOL_RANGE_JPEG;
    else if (KX_COLOUR_RANGE(colour) == KX_RANGE_LIMITED)
        context.color_range = AVCOL_RANGE_MPEG;
    context.field_order = FieldOrder(video);
    if (IsInterlaced(video) && entry.states & kFields)
        context.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
}

void SetSignal(AVFrame& frame, const EncodeParamVideo& video, const AVCodecContext& context)
{
    frame.color_range = context.color_range;
    frame.colorspace = context.colorspace;
    frame.color_primaries = context.color_primaries;
    frame.color_trc = context.color_trc;
    const bool isTopFirst = video.nFieldOrder == KX_FIELDS_TOP_FIRST;
#ifdef AV_FRAME_FLAG_INTERLACED
    frame.flags |= IsInterlaced(video) ? AV_FRAME_FLAG_INTERLACED : 0;
    frame.flags |= isTopFirst ? AV_FRAME_FLAG_TOP_FIELD_FIRST : 0;
#else
    frame.interlaced_frame = IsInterlaced(video);
    frame.top_field_first = isTopFirst;
#endif
}

int SetSignal(AVStream& stream, const EncodeParamVideo& video, const EncoderEntry& entry,
              const ContainerEntry& container)
{
    const bool hasColour = (video.dwColour & ~kRangeByte) != 0;
    const struct {
        bool said;
        unsigned statement;
        const wchar_t* name;
    } cases[] = {
        {KX_COLOUR_RANGE(video.dwColour) != 0 && !entry.video.fullRange, kRange, L"range of values"},
        {hasColour, kColour, L"colours"},
        {video.nFieldOrder != 0, kFields, L"field order"},
        {video.nRotation != 0, kRotation, L"rotation"},
    };
    const unsigned stated = StatedIn(video, entry, container);
    for (const auto& c : cases) {
        if (c.said && !(stated & c.statement))
            KXLogEx(L"wpav: %ls with %ls doesn't state the %ls.", container.name, entry.name, c.name);
    }
    if (!entry.video.fullRange && EncodedColour(video, entry, &container) != video.dwColour)
        KXLogEx(L"wpav: the pictures have the range and the matrix that players take for them then.");
    if (video.nFieldOrder)
        stream.codecpar->field_order = FieldOrder(video);
    return video.nRotation ? SetRotation(stream, video.nRotation) : 0;
}
