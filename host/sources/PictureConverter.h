// Decoded pictures of any kind become 8-bit 4:2:0 of limited range and of one size.
#ifndef ENCMGR_HOST_PICTURE_CONVERTER_H
#define ENCMGR_HOST_PICTURE_CONVERTER_H

#include "host/sources/Libav.h"

namespace host
{

// True if untagged pictures of this size are taken for BT.709 by players, and for BT.601 otherwise.
bool IsHighDefinition(int width, int height);

class PictureConverter
{
public:
    PictureConverter(int width, int height) : m_width(width), m_height(height) {}

    // The frame itself if it is what is wanted already, otherwise a new one. Null if it can't be converted.
    std::shared_ptr<const AVFrame> Convert(const std::shared_ptr<const AVFrame>& frame);

private:
    bool IsFinished(const AVFrame& frame) const;
    bool Prepare(const AVFrame& frame);

    // What a frame has to have in common with the one before to be converted in the same way.
    struct Kind {
        int width, height, format, matrix;
        bool isFullRange;
        bool operator==(const Kind&) const = default;
    };

    int m_width;
    int m_height;
    Kind m_kind = {};
    LibavOwned<SwsContext> m_context; // made for m_kind
};

} // namespace host

#endif // ENCMGR_HOST_PICTURE_CONVERTER_H
