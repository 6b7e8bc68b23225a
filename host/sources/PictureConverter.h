// Decoded pictures of any kind become 8-bit 4:2:0 of limited range, of one size and one matrix.
#ifndef ENCMGR_HOST_PICTURE_CONVERTER_H
#define ENCMGR_HOST_PICTURE_CONVERTER_H

#include "host/sources/Libav.h"

namespace host
{

class PictureConverter
{
public:
    // matrix: of all pictures that it gives, in the code points of ISO/IEC 23091-2; never 0. Pictures that name none
    // are taken to have it.
    PictureConverter(int width, int height, int matrix) : m_width(width), m_height(height), m_matrix(matrix) {}

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
    int m_matrix;
    Kind m_kind = {};
    LibavOwned<SwsContext> m_context; // made for m_kind
};

} // namespace host

#endif // ENCMGR_HOST_PICTURE_CONVERTER_H
