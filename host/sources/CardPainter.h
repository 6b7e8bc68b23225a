// The pictures of the test card.
#ifndef ENCMGR_HOST_CARD_PAINTER_H
#define ENCMGR_HOST_CARD_PAINTER_H

#include <cstdint>
#include <memory>
#include <string_view>

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

// From top to bottom: the band that flashes, colour bars of 75 % with grey steps below them, a lane that a marker
// crosses once a second, and the picture's number with its time. A ring shows the shape of the pixels, a frame the
// picture's edges, and a ball moves over it all.
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

    Colour FromRgb(double red, double green, double blue) const;
    int Down(int sixteenths) const; // a height, as a row
    void PaintStill(AVFrame& frame) const;
    void PaintRing(AVFrame& frame) const;
    void PaintLane(AVFrame& frame, int64_t picture) const;
    void PaintBall(AVFrame& frame, int64_t picture) const;
    void PaintTexts(AVFrame& frame, int64_t picture) const;
    void PaintText(AVFrame& frame, std::string_view text, int left, int top, int scaleX, int scaleY) const;
    void Fill(AVFrame& frame, Box box, Colour colour) const;
    void Dot(AVFrame& frame, int x, int y, Colour colour) const;

    CardShape m_shape;
    double m_pixelAspect;
    std::shared_ptr<AVFrame> m_still; // what doesn't move
};

} // namespace host

#endif // ENCMGR_HOST_CARD_PAINTER_H
