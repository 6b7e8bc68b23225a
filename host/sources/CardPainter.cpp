#include "host/sources/CardPainter.h"

#include "host/base/Text.h"
#include "host/sources/PictureConverter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

constexpr uint8_t kBlack = 16;
constexpr uint8_t kWhite = 235;
constexpr uint8_t kNeutral = 128;
constexpr int kGreySteps = 11;
constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
constexpr int kGlyphStep = 6;

struct Glyph {
    char character;
    std::array<uint8_t, kGlyphHeight> rows; // the lowest five bits, left to right
};

constexpr Glyph kGlyphs[] = {
    {'0', {0b01110, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110}},
    {'1', {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'2', {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111}},
    {'3', {0b01110, 0b10001, 0b00001, 0b00110, 0b00001, 0b10001, 0b01110}},
    {'4', {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010}},
    {'5', {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110}},
    {'6', {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110}},
    {'7', {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b01000, 0b01000}},
    {'8', {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110}},
    {'9', {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100}},
    {':', {0b00000, 0b00100, 0b00100, 0b00000, 0b00100, 0b00100, 0b00000}},
    {'.', {0b00000, 0b00000, 0b00000, 0b00000, 0b00000, 0b01100, 0b01100}},
};

// Goes from 0 to length and back, once a period.
int BackAndForth(int64_t position, int64_t period, int length)
{
    const int64_t phase = position % period;
    return static_cast<int>(std::min(phase, period - phase) * 2 * length / period);
}

} // namespace

CardPainter::CardPainter(const CardShape& shape)
    : m_shape(shape), m_pixelAspect(av_q2d(shape.pixelAspect)), m_still(NewFrame())
{
    if (!m_still)
        throw std::bad_alloc();
    m_still->format = AV_PIX_FMT_YUV420P;
    m_still->width = shape.width;
    m_still->height = shape.height;
    if (av_frame_get_buffer(m_still.get(), 0) < 0)
        throw std::bad_alloc();
    PaintStill(*m_still);
}

void CardPainter::Paint(AVFrame& frame, int64_t picture, bool isFlash) const
{
    av_frame_copy(&frame, m_still.get());
    if (isFlash)
        Fill(frame, {0, 0, m_shape.width, Down(2)}, {kWhite, kNeutral, kNeutral});
    PaintLane(frame, picture);
    PaintBall(frame, picture);
    PaintTexts(frame, picture);
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
    const int height = m_shape.height;
    Fill(frame, {0, 0, width, height}, {kBlack, kNeutral, kNeutral});

    // White, yellow, cyan, green, magenta, red, blue and black, at three quarters.
    for (int bar = 0; bar < 8; ++bar) {
        const auto part = [bar](int bit) { return bar & bit ? 0.0 : 0.75; };
        Fill(frame, {bar * width / 8 & ~1, Down(2), (bar + 1) * width / 8 & ~1, Down(9)},
             FromRgb(part(2), part(4), part(1)));
    }
    for (int step = 0; step < kGreySteps; ++step)
        Fill(frame, {step * width / kGreySteps, Down(9), (step + 1) * width / kGreySteps, Down(11)},
             {static_cast<uint8_t>(kBlack + (kWhite - kBlack) * step / (kGreySteps - 1)), kNeutral, kNeutral});

    PaintRing(frame);
    const int line = std::max(2, height / 180 & ~1);
    const Colour white = {kWhite, kNeutral, kNeutral};
    Fill(frame, {0, Down(2), line, height}, white);
    Fill(frame, {width - line, Down(2), width, height}, white);
    Fill(frame, {0, Down(2), width, Down(2) + line}, white);
    Fill(frame, {0, height - line, width, height}, white);
}

// Round where pixels are shown with their true shape; between the flash and the texts.
void CardPainter::PaintRing(AVFrame& frame) const
{
    const double middleX = m_shape.width / 2.0;
    const double middleY = (Down(2) + Down(13)) / 2.0;
    const double radius = 0.45 * std::min<double>(Down(13) - Down(2), m_shape.width * m_pixelAspect);
    const double half = std::max(0.9, m_shape.height / 300.0);
    for (int y = Down(2); y < Down(13); ++y) {
        for (int x = 0; x < m_shape.width; ++x) {
            const double dx = (x + 0.5 - middleX) * m_pixelAspect;
            const double dy = y + 0.5 - middleY;
            if (std::fabs(std::sqrt(dx * dx + dy * dy) - radius) <= half)
                Dot(frame, x, y, {kWhite, kNeutral, kNeutral});
        }
    }
}

// A tick for each tenth of a second; the marker stands at the left end as a second begins.
void CardPainter::PaintLane(AVFrame& frame, int64_t picture) const
{
    const int left = m_shape.width / 16;
    const int length = m_shape.width - 2 * left;
    const int thick = std::max(2, m_shape.width / 160 & ~1);
    for (int tick = 0; tick <= 10; ++tick) {
        const int x = left + length * tick / 10;
        const int rise = tick % 5 ? 1 : 2;
        Fill(frame, {x, Down(13) - (Down(13) - Down(11)) * rise / 4, x + std::max(1, thick / 2), Down(13)},
             {150, kNeutral, kNeutral});
    }
    const int64_t inSecond = picture * m_shape.frameRate.den % m_shape.frameRate.num;
    const int x = left + static_cast<int>(inSecond * length / m_shape.frameRate.num);
    Fill(frame, {x - thick, Down(11) + 2, x + thick, Down(13)}, FromRgb(1.0, 0.8, 0.0));
}

void CardPainter::PaintBall(AVFrame& frame, int64_t picture) const
{
    const int radiusY = std::max(3, m_shape.height / 14);
    const int radiusX = std::max(3, static_cast<int>(radiusY / m_pixelAspect));
    // Across and back in 4 seconds, up and down in 3.
    const int64_t position = picture * m_shape.frameRate.den;
    const int64_t second = m_shape.frameRate.num;
    const int middleX = radiusX + BackAndForth(position, 4 * second, m_shape.width - 2 * radiusX);
    const int middleY = Down(2) + radiusY + BackAndForth(position, 3 * second, Down(11) - Down(2) - 2 * radiusY);
    for (int y = -radiusY; y < radiusY; ++y) {
        for (int x = -radiusX; x < radiusX; ++x) {
            const double dx = (x + 0.5) / radiusX;
            const double dy = (y + 0.5) / radiusY;
            const double distance = dx * dx + dy * dy;
            if (distance <= 1.0)
                Dot(frame, middleX + x, middleY + y, {distance > 0.72 ? kBlack : kWhite, kNeutral, kNeutral});
        }
    }
}

// The number on the left, hours:minutes:seconds.thousandths on the right, as large as there is room for both.
void CardPainter::PaintTexts(AVFrame& frame, int64_t picture) const
{
    const int64_t ms = av_rescale_rnd(picture, 1000LL * m_shape.frameRate.den, m_shape.frameRate.num, AV_ROUND_DOWN);
    const std::string number = Format("%06d", static_cast<int>(picture % 1000000));
    const std::string time =
        Format("%02d:%02d:%02d.%03d", static_cast<int>(ms / 3600000 % 100), static_cast<int>(ms / 60000 % 60),
               static_cast<int>(ms / 1000 % 60), static_cast<int>(ms % 1000));
    const int room = m_shape.height - Down(13);
    const int left = m_shape.width / 32;
    const auto widthOf = [](const std::string& text) { return static_cast<int>(text.size()) * kGlyphStep; };
    const double fitting = 0.92 * m_shape.width / (widthOf(number) + widthOf(time) + kGlyphStep);
    const double high = std::min(0.75 * room / kGlyphHeight, fitting * m_pixelAspect);
    const int scaleY = std::max(1, static_cast<int>(high));
    const int scaleX = std::max(1, static_cast<int>(scaleY / m_pixelAspect + 0.25));
    const int top = Down(13) + (room - kGlyphHeight * scaleY) / 2;
    PaintText(frame, number, left, top, scaleX, scaleY);
    const int timeLeft = m_shape.width - left - (widthOf(time) - 1) * scaleX;
    if (timeLeft > left + widthOf(number) * scaleX)
        PaintText(frame, time, timeLeft, top, scaleX, scaleY);
}

void CardPainter::PaintText(AVFrame& frame, std::string_view text, int left, int top, int scaleX, int scaleY) const
{
    for (const char character : text) {
        for (const Glyph& glyph : kGlyphs) {
            for (int row = 0; row < kGlyphHeight && glyph.character == character; ++row) {
                for (int column = 0; column < kGlyphWidth; ++column) {
                    const int x = left + column * scaleX;
                    const int y = top + row * scaleY;
                    if (glyph.rows[static_cast<size_t>(row)] >> (kGlyphWidth - 1 - column) & 1)
                        Fill(frame, {x, y, x + scaleX, y + scaleY}, {kWhite, kNeutral, kNeutral});
                }
            }
        }
        left += kGlyphStep * scaleX;
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
        std::memset(frame.data[0] + y * frame.linesize[0] + box.left, colour.y,
                    static_cast<size_t>(box.right - box.left));
    const int left = box.left / 2;
    const auto count = static_cast<size_t>((box.right + 1) / 2 - left);
    for (int y = box.top / 2; y < (box.bottom + 1) / 2; ++y) {
        std::memset(frame.data[1] + y * frame.linesize[1] + left, colour.u, count);
        std::memset(frame.data[2] + y * frame.linesize[2] + left, colour.v, count);
    }
}

void CardPainter::Dot(AVFrame& frame, int x, int y, Colour colour) const
{
    Fill(frame, {x, y, x + 1, y + 1}, colour);
}

} // namespace host
