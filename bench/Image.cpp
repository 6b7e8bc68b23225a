#include "bench/Image.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace
{

constexpr size_t kAlignment = 64;
constexpr size_t kSpare = 256; // some peers write whole vectors beyond a row's end
constexpr int kTiles = 8;

size_t Aligned(size_t size)
{
    return (size + kAlignment - 1) / kAlignment * kAlignment;
}

// Bytes after which the meaning of a byte comes again.
int PeriodOf(Layout layout)
{
    switch (layout) {
    case Layout::Yuy2:
    case Layout::Bgra32:
        return 4;
    case Layout::Bgr24:
        return 3;
    default:
        return 1;
    }
}

std::vector<double> Wave(int length, double height, double period, double phase)
{
    std::vector<double> wave(static_cast<size_t>(length));
    for (int i = 0; i < length; ++i)
        wave[static_cast<size_t>(i)] = height * std::sin(i / period + phase);
    return wave;
}

} // namespace

Image::Image(Layout layout, int width, int height, bool bottomUp)
    : m_layout(layout), m_width(width), m_height(height), m_bottomUp(bottomUp)
{
    PlanMemory();
    auto* memory = static_cast<unsigned char*>(std::aligned_alloc(kAlignment, Aligned(m_bytes + kSpare)));
    if (!memory)
        throw std::bad_alloc();
    std::memset(memory, 255, m_bytes + kSpare);
    m_memory.reset(memory, std::free);
    size_t offset = 0;
    for (int p = 0; p < Planes(); ++p) {
        m_bits[p] = memory + offset;
        offset += static_cast<size_t>(m_pitch[p]) * static_cast<size_t>(PlaneHeight(p));
    }
}

int Image::BytesPerPixel() const
{
    return m_layout == Layout::Yuy2 ? 2 : PeriodOf(m_layout);
}

void Image::PlanMemory()
{
    for (int p = 0; p < Planes(); ++p) {
        const auto row = static_cast<size_t>(PlaneWidth(p)) * static_cast<size_t>(BytesPerPixel());
        const bool isBitmap = m_layout == Layout::Bgr24 || m_layout == Layout::Bgra32;
        m_pitch[p] = static_cast<int>(isBitmap ? (row + 3) / 4 * 4 : Aligned(row));
        m_bytes += static_cast<size_t>(m_pitch[p]) * static_cast<size_t>(PlaneHeight(p));
    }
}

IMG_PARAM Image::Record() const
{
    return {m_bits[0], m_width, m_height, m_pitch[0], 8 * BytesPerPixel(), 0, 0, m_width, m_height};
}

tagBITMAPINFOHEADER Image::Header() const
{
    tagBITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = m_width;
    header.biHeight = m_height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<uint16_t>(8 * BytesPerPixel());
    return header;
}

void Image::Draw() const
{
    const int period = PeriodOf(m_layout);
    uint32_t noise = 1;
    for (int p = 0; p < Planes(); ++p) {
        const int bytes = PlaneWidth(p) * BytesPerPixel();
        const double scale = std::max(PlaneWidth(p), 64) / 64.0;
        std::vector<std::vector<double>> across;
        for (int b = 0; b < period; ++b)
            across.push_back(Wave(bytes / period + 1, 55.0, 12.0 * scale, p + 2.0 * b));
        const std::vector<double> down = Wave(PlaneHeight(p), 40.0, 9.0 * scale, 1.0 + p);
        for (int y = 0; y < PlaneHeight(p); ++y) {
            unsigned char* row = m_bits[p] + static_cast<ptrdiff_t>(y) * m_pitch[p];
            for (int i = 0; i < bytes; ++i) {
                noise = noise * 1664525 + 1013904223;
                const double wave = across[static_cast<size_t>(i % period)][static_cast<size_t>(i / period)] +
                                    down[static_cast<size_t>(y)];
                row[i] = static_cast<unsigned char>(128.0 + wave + (noise >> 28));
            }
        }
    }
}

std::vector<double> Image::Means() const
{
    const int period = PeriodOf(m_layout);
    std::vector<double> means;
    for (int p = 0; p < Planes(); ++p) {
        const auto tiles = static_cast<size_t>(int64_t{kTiles} * kTiles * period);
        std::vector<double> sums(tiles), counts(tiles);
        const int pixels = PlaneWidth(p) * BytesPerPixel() / period;
        for (int y = 0; y < PlaneHeight(p); ++y) {
            const unsigned char* row = m_bits[p] + static_cast<ptrdiff_t>(y) * m_pitch[p];
            for (int i = 0; i < pixels * period; ++i) {
                const int tile = y * kTiles / PlaneHeight(p) * kTiles + i / period * kTiles / pixels;
                const auto at = static_cast<size_t>(int64_t{tile} * period + i % period);
                sums[at] += row[i];
                counts[at] += 1.0;
            }
        }
        for (size_t t = 0; t < tiles; ++t)
            means.push_back(counts[t] > 0.0 ? sums[t] / counts[t] : 0.0);
    }
    return means;
}
