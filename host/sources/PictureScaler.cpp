#include "host/sources/PictureScaler.h"

#include "Common/Image/ImageResize.h"

#include <algorithm>
#include <array>

extern "C" {
#include <libavutil/opt.h>
}

namespace host
{

namespace
{

// The convolution refuses sides below 2, and a chroma plane has half the pixels.
constexpr int kLeastForCubic = 4;

constexpr int kPlanes = 3;

PictureSize PlaneSize(PictureSize picture, int plane)
{
    return plane == 0 ? picture : PictureSize{(picture.width + 1) / 2, (picture.height + 1) / 2};
}

// Area averaging, with the same bytes on every processor. Chroma of 4:2:0 lies on the left of its two columns.
LibavOwned<SwsContext> MakeContext(AVPixelFormat format, PictureSize from, PictureSize to)
{
    LibavOwned<SwsContext> context(sws_alloc_context());
    const std::pair<const char*, int> options[] = {
        {"srcw", from.width},
        {"srch", from.height},
        {"dstw", to.width},
        {"dsth", to.height},
        {"src_format", format},
        {"dst_format", format},
        {"src_range", 0},
        {"dst_range", 0},
        {"src_h_chr_pos", 0},
        {"dst_h_chr_pos", 0},
        {"src_v_chr_pos", 128},
        {"dst_v_chr_pos", 128},
        {"sws_flags", SWS_AREA | SWS_ACCURATE_RND | SWS_BITEXACT},
    };
    for (const auto& [name, value] : options)
        if (context)
            av_opt_set_int(context.get(), name, value, 0);
    if (!context || sws_init_context(context.get(), nullptr, nullptr) < 0)
        throw std::bad_alloc();
    return context;
}

bool IsLarge(PictureSize size)
{
    return size.width >= kLeastForCubic && size.height >= kLeastForCubic;
}

} // namespace

PictureScaler::PictureScaler(const PictureScaling& scaling)
    : m_scaling(scaling), m_source(NewFrame()),
      m_scaled(NewPicture(AV_PIX_FMT_YUV420P, scaling.to.width, scaling.to.height))
{
    if (scaling.method != Scaling::kCubic || !IsLarge(scaling.from) || !IsLarge(scaling.to)) {
        m_scaling.method = Scaling::kSmooth;
        m_context = MakeContext(AV_PIX_FMT_YUV420P, scaling.from, scaling.to);
        return;
    }
    for (const int plane : {0, 1}) {
        const PictureSize from = PlaneSize(scaling.from, plane), to = PlaneSize(scaling.to, plane);
        m_sources.emplace_back(from.width, from.height);
        m_targets.emplace_back(to.width, to.height);
    }
}

const AVFrame& PictureScaler::Scale(const AVFrame& picture)
{
    if (picture.buf[0] && m_source->buf[0] && picture.data[0] == m_source->data[0])
        return *m_scaled;
    const uint8_t* planes[4] = {};
    for (int plane = 0; plane < kPlanes; ++plane)
        planes[plane] = picture.data[plane] +
                        static_cast<ptrdiff_t>(plane ? m_scaling.y / 2 : m_scaling.y) * picture.linesize[plane] +
                        (plane ? m_scaling.x / 2 : m_scaling.x);
    if (m_scaling.method == Scaling::kCubic)
        Convolve(planes, picture.linesize);
    else
        Smooth(planes, picture.linesize);
    CopyFieldMarks(*m_scaled, picture);
    av_frame_unref(m_source.get());
    if (picture.buf[0] && av_frame_ref(m_source.get(), &picture) < 0)
        throw std::bad_alloc();
    return *m_scaled;
}

void PictureScaler::Smooth(const uint8_t* const* planes, const int* pitches) const
{
    sws_scale(m_context.get(), planes, pitches, 0, m_scaling.from.height, m_scaled->data, m_scaled->linesize);
}

// The library's convolution takes pixels of four bytes, of which it filters three, each for itself: luma is one, the
// two chroma planes are two. Its pictures lie bottom-up.
void PictureScaler::Convolve(const uint8_t* const* planes, const int* pitches)
{
    for (int plane = 0; plane < kPlanes; ++plane) {
        Bitmap& bitmap = m_sources[plane ? 1 : 0];
        for (int y = 0; y < bitmap.height; ++y) {
            const uint8_t* const in = planes[plane] + static_cast<ptrdiff_t>(y) * pitches[plane];
            unsigned char* const out = bitmap.MemoryRow(bitmap.height - 1 - y) + (plane == 2);
            for (ptrdiff_t x = 0; x < bitmap.width; ++x)
                out[4 * x] = in[x];
        }
    }
    for (size_t i = 0; i < m_sources.size(); ++i) {
        IMG_PARAM target = m_targets[i].Param();
        DIB_ResizeConvolve(m_sources[i].Param(), target);
    }
    for (int plane = 0; plane < kPlanes; ++plane) {
        Bitmap& bitmap = m_targets[plane ? 1 : 0];
        for (int y = 0; y < bitmap.height; ++y) {
            const unsigned char* const in = bitmap.MemoryRow(bitmap.height - 1 - y) + (plane == 2);
            uint8_t* const out = m_scaled->data[plane] + static_cast<ptrdiff_t>(y) * m_scaled->linesize[plane];
            for (ptrdiff_t x = 0; x < bitmap.width; ++x)
                out[x] = in[4 * x];
        }
    }
}

// Each byte of a pixel as a plane of 16 bits, so that nothing is lost but by the scaling.
Bitmap ScaledSmoothly(const Bitmap& bitmap, PictureSize size)
{
    const auto context = MakeContext(AV_PIX_FMT_GRAY16, {bitmap.width, bitmap.height}, size);
    const auto from = NewPicture(AV_PIX_FMT_GRAY16, bitmap.width, bitmap.height);
    std::array<std::shared_ptr<AVFrame>, 4> planes;
    for (size_t byte = 0; byte < planes.size(); ++byte) {
        for (int y = 0; y < bitmap.height; ++y) {
            const unsigned char* const in =
                bitmap.bytes.data() + static_cast<size_t>(y) * static_cast<size_t>(bitmap.Pitch());
            auto* const out =
                reinterpret_cast<uint16_t*>(from->data[0] + static_cast<ptrdiff_t>(y) * from->linesize[0]);
            for (int x = 0; x < bitmap.width; ++x)
                out[x] = static_cast<uint16_t>(byte == 3 ? in[4 * x + 3] * 257
                                                         : in[4 * x + static_cast<int>(byte)] * in[4 * x + 3]);
        }
        planes[byte] = NewPicture(AV_PIX_FMT_GRAY16, size.width, size.height);
        sws_scale(context.get(), from->data, from->linesize, 0, bitmap.height, planes[byte]->data,
                  planes[byte]->linesize);
    }
    Bitmap scaled(size.width, size.height);
    for (int y = 0; y < size.height; ++y) {
        unsigned char* const out = scaled.MemoryRow(y);
        const auto row = [&planes, y](size_t byte) {
            return reinterpret_cast<const uint16_t*>(planes[byte]->data[0] +
                                                     static_cast<ptrdiff_t>(y) * planes[byte]->linesize[0]);
        };
        for (int x = 0; x < size.width; ++x) {
            const int opacity = row(3)[x];
            for (int byte = 0; byte < 3; ++byte)
                out[4 * x + byte] = static_cast<unsigned char>(
                    opacity ? std::min((row(static_cast<size_t>(byte))[x] * 257 + opacity / 2) / opacity, 255) : 0);
            out[4 * x + 3] = static_cast<unsigned char>((opacity + 128) / 257);
        }
    }
    return scaled;
}

} // namespace host
