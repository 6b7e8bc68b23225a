#include "plugins/av/PictureConverter.h"

#include "plugins/av/VideoSignal.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <utility>

namespace
{

constexpr int kOne = 1 << 16; // of libswscale's contrast and saturation

// libswscale's rows of a field: every m_fields-th row, from the field's first on.
template <class Byte> std::array<Byte*, 4> FieldPlanes(const AVFrame& frame, int field)
{
    std::array<Byte*, 4> planes{};
    for (size_t i = 0; i < planes.size() && frame.data[i]; ++i)
        planes[i] = frame.data[i] + static_cast<ptrdiff_t>(field) * frame.linesize[i];
    return planes;
}

std::array<int, 4> FieldStrides(const AVFrame& frame, int fields)
{
    return {fields * frame.linesize[0], fields * frame.linesize[1], fields * frame.linesize[2],
            fields * frame.linesize[3]};
}

} // namespace

int PictureConverter::Open(const EncodeParamVideo& video, const AVFrame& output)
{
    const bool isFull = KX_COLOUR_RANGE(video.dwColour) == KX_RANGE_FULL;
    const bool takesFull = output.color_range == AVCOL_RANGE_JPEG;
    const int said = KX_COLOUR_MATRIX(video.dwColour);
    // Code points of matrices are libswscale's own; those that it doesn't know count as BT.601's.
    const int* const matrix = sws_getCoefficients(said ? said : UsualMatrix(video));
    const int* const wanted =
        output.colorspace == AVCOL_SPC_UNSPECIFIED ? matrix : sws_getCoefficients(output.colorspace);
    if (output.format == AV_PIX_FMT_YUV420P && isFull == takesFull && std::equal(matrix, matrix + 4, wanted))
        return 0;
    // A height of 4 n has fields of the same height with whole rows of chroma.
    const bool isInterlaced = video.nFieldOrder == KX_FIELDS_TOP_FIRST || video.nFieldOrder == KX_FIELDS_BOTTOM_FIRST;
    m_fields = isInterlaced && output.height % 4 == 0 ? 2 : 1;
    const int height = output.height / m_fields;
    m_context.reset(sws_alloc_context());
    if (!m_context)
        return AVERROR(ENOMEM);
    const std::pair<const char*, int> settings[] = {
        {"srcw", output.width},
        {"srch", height},
        {"src_format", AV_PIX_FMT_YUV420P},
        {"src_range", isFull},
        {"dstw", output.width},
        {"dsth", height},
        {"dst_format", output.format},
        {"dst_range", takesFull},
        {"sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_BITEXACT},
    };
    for (const auto& [name, value] : settings)
        av_opt_set_int(m_context.get(), name, value, 0);
    if (const int result = sws_init_context(m_context.get(), nullptr, nullptr); result < 0)
        return result;
    sws_setColorspaceDetails(m_context.get(), matrix, isFull, wanted, takesFull, 0, kOne, kOne);

    m_input.reset(av_frame_alloc());
    if (!m_input)
        return AVERROR(ENOMEM);
    m_input->format = AV_PIX_FMT_YUV420P;
    m_input->width = output.width;
    m_input->height = output.height;
    return av_frame_get_buffer(m_input.get(), 0);
}

int PictureConverter::Convert(AVFrame& output)
{
    const auto sourceStrides = FieldStrides(*m_input, m_fields), strides = FieldStrides(output, m_fields);
    for (int field = 0; field < m_fields; ++field) {
        const auto source = FieldPlanes<const uint8_t>(*m_input, field);
        const auto planes = FieldPlanes<uint8_t>(output, field);
        const int result = sws_scale(m_context.get(), source.data(), sourceStrides.data(), 0, output.height / m_fields,
                                     planes.data(), strides.data());
        if (result < 0)
            return result;
    }
    return 0;
}
