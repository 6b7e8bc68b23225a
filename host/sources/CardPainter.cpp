#include "host/sources/CardPainter.h"

#include "host/sources/Libav.h"
#include "host/sources/PictureColour.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace host
{

namespace
{

constexpr int kBars = 7;
constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
constexpr int kGlyphStep = 6; // from one to the next
constexpr int kNumberLength = 6;

// The digits, row by row; the lowest five bits of each, left to right.
constexpr std::array<uint8_t, kGlyphHeight> kDigits[] = {
    {0b01110, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110},
    {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110},
    {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111},
    {0b01110, 0b10001, 0b00001, 0b00110, 0b00001, 0b10001, 0b01110},
    {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010},
    {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110},
    {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110},
    {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b01000, 0b01000},
    {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110},
    {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100},
};

} // namespace

CardPainter::CardPainter(const CardShape& shape)
    : m_shape(shape), m_pixelAspect(av_q2d(shape.pixelAspect)),
      m_still(NewPicture(AV_PIX_FMT_YUV420P, shape.width, shape.height))
{
    PaintStill(*m_still);
}

void CardPainter::Paint(AVFrame& frame, int64_t picture, bool isFlash) const
{
    av_frame_copy(&frame, m_still.get());
    if (isFlash)
        Fill(frame, {0, 0, m_shape.width, Down(2)}, kWhite);
    PaintNumber(frame, picture);
}

// BT.601 or BT.709 as players take it from the size, limited range; red, green and blue from 0 to 1.
CardPainter::Colour CardPainter::FromRgb(double red, double green, double blue) const
{
    const bool isHd = IsHighDefinition(m_shape.width, m_shape.height);
    const double kr = isHd ? 0.2126 : 0.299;
    const double kb = isHd ? 0.0722 : 0.114;
    const double luma = kr * red + (1.0 - kr - kb) * green + kb * blue;
    const auto byte = [](double value) { return static_cast<uint8_t>(std::lround(value)); };
    return {byte(16.0 + 219.0 * luma), byte(128.0 + 112.0 * (blue - luma) / (1.0 - kb)),
            byte(128.0 + 112.0 * (red - luma) / (1.0 - kr))};
}

int CardPainter::Down(int sixteenths) const
{
    return m_shape.height * sixteenths / 16 & ~1;
}

void CardPainter::PaintStill(AVFrame& frame) const
{
    const int width = m_shape.width;
    Fill(frame, {0, 0, width, m_shape.height}, kDark);

    // White, yellow, cyan, green, magenta, red and blue, at three quarters.
    for (int bar = 0; bar < kBars; ++bar) {
        const auto part = [bar](int bit) { return bar & bit ? 0.0 : 0.75; };
        Fill(frame, {bar * width / kBars & ~1, Down(2), (bar + 1) * width / kBars & ~1, Down(12)},
             FromRgb(part(2), part(4), part(1)));
    }

    // Two rows at a time, as the chroma is.
    const int middle = (Down(2) + Down(12)) / 2 & ~1;
    const double radius = 0.3 * std::min<double>(Down(12) - Down(2), width * m_pixelAspect);
    for (int rise = 0; rise + 1 < radius; rise += 2) {
        const int half = static_cast<int>(std::sqrt(radius * radius - (rise + 1) * (rise + 1)) / m_pixelAspect);
        for (const int y : {middle + rise, middle - rise - 2})
            Fill(frame, {width / 2 - half, y, width / 2 + half, y + 2}, kWhite);
    }
}

// As large as there is room below the bars, in the middle.
void CardPainter::PaintNumber(AVFrame& frame, int64_t picture) const
{
    const int room = m_shape.height - Down(12);
    const double fitting = 0.9 * m_shape.width / (kNumberLength * kGlyphStep);
    const int scaleY = std::max(1, static_cast<int>(std::min(0.75 * room / kGlyphHeight, fitting * m_pixelAspect)));
    const int scaleX = std::max(1, static_cast<int>(scaleY / m_pixelAspect + 0.25));
    const int top = Down(12) + (room - kGlyphHeight * scaleY) / 2;
    int left = (m_shape.width + (kNumberLength * kGlyphStep - 1) * scaleX) / 2; // of the glyph behind the last
    for (int digit = 0; digit < kNumberLength; ++digit, picture /= 10) {
        left -= kGlyphStep * scaleX;
        const auto& glyph = kDigits[picture % 10];
        for (int row = 0; row < kGlyphHeight; ++row) {
            for (int column = 0; column < kGlyphWidth; ++column) {
                const int x = left + column * scaleX;
                const int y = top + row * scaleY;
                if (glyph[static_cast<size_t>(row)] >> (kGlyphWidth - 1 - column) & 1)
                    Fill(frame, {x, y, x + scaleX, y + scaleY}, kWhite);
            }
        }
    }
}

// Chroma samples that the box covers in part are taken whole.
void CardPainter::Fill(AVFrame& frame, Box box, Colour colour) const
{
    box.left = std::max(box.left, 0);
    box.top = std::max(box.top, 0);
    box.right = std::min(box.right, m_shape.width);
    box.bottom = std::min(box.bottom, m_shape.height);
    if (box.left >= box.right || box.top >= box.bottom)
        return;
    for (int y = box.top; y < box.bottom; ++y)
        std::memset(frame.data[0] + ptrdiff_t{y} * frame.linesize[0] + box.left, colour.y,
                    static_cast<size_t>(box.right - box.left));
    const int left = box.left / 2;
    const auto count = static_cast<size_t>((box.right + 1) / 2 - left);
    for (int y = box.top / 2; y < (box.bottom + 1) / 2; ++y) {
        std::memset(frame.data[1] + ptrdiff_t{y} * frame.linesize[1] + left, colour.u, count);
        std::memset(frame.data[2] + ptrdiff_t{y} * frame.linesize[2] + left, colour.v, count);
    }
}

} // namespace host
