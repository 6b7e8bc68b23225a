// The pictures of the test card.
#ifndef ENCMGR_HOST_CARD_PAINTER_H
#define ENCMGR_HOST_CARD_PAINTER_H

#include <cstdint>
#include <memory>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/rational.h>
}

namespace host
{

struct CardShape {
    int width;
    int height;
    AVRational frameRate;
    AVRational pixelAspect;
};

// From top to bottom: the band that flashes, colour bars of 75 % with a disc that is round where pixels are shown in
// their shape, and the picture's number.
class CardPainter
{
public:
    explicit CardPainter(const CardShape& shape);

    // frame: planar 4:2:0 of the card's size, with buffers; every pixel is written.
    void Paint(AVFrame& frame, int64_t picture, bool isFlash) const;

private:
    struct Colour {
        uint8_t y, u, v;
    };
    struct Box {
        int left, top, right, bottom; // the last two exclusive
    };

    static constexpr Colour kDark = {60, 128, 128}; // grey, so that the card's edges stand out from black bars
    static constexpr Colour kWhite = {235, 128, 128};

    Colour FromRgb(double red, double green, double blue) const;
    int Down(int sixteenths) const; // a height, as a row
    void PaintStill(AVFrame& frame) const;
    void PaintNumber(AVFrame& frame, int64_t picture) const;
    void Fill(AVFrame& frame, Box box, Colour colour) const;

    CardShape m_shape;
    double m_pixelAspect;
    std::shared_ptr<AVFrame> m_still; // all but flash and number
};

} // namespace host

#endif // ENCMGR_HOST_CARD_PAINTER_H
