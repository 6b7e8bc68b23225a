// Scaling of pictures where the library's jobs don't scale well enough: before they get them.
#ifndef ENCMGR_HOST_PICTURE_SCALER_H
#define ENCMGR_HOST_PICTURE_SCALER_H

#include "host/base/Scaling.h"
#include "host/sources/Libav.h"
#include "host/sources/PictureFile.h"

#include <vector>

namespace host
{

// What of a picture is to become what.
struct PictureScaling {
    Scaling method; // kSmooth or kCubic
    PictureSize whole;
    int x, y; // of the area that is taken, in pixels; even
    PictureSize from;
    PictureSize to;
};

// Pictures are planar 4:2:0 of 8 bits.
class PictureScaler
{
public:
    // Throws std::bad_alloc. Sizes too small for the convolution are scaled smoothly.
    explicit PictureScaler(const PictureScaling& scaling);

    // The scaled picture, which stays until the next call. A picture that comes again isn't scaled again. Every picture
    // has the area that is to be taken.
    const AVFrame& Scale(const AVFrame& picture);

private:
    void Smooth(const uint8_t* const* planes, const int* pitches) const;
    void Convolve(const uint8_t* const* planes, const int* pitches);

    PictureScaling m_scaling;
    std::shared_ptr<AVFrame> m_source; // the last one, held so that its memory isn't another's
    std::shared_ptr<AVFrame> m_scaled;
    LibavOwned<SwsContext> m_context; // for smooth
    std::vector<Bitmap> m_sources;    // for cubic: of luma and of both chroma planes, a byte of a pixel for each
    std::vector<Bitmap> m_targets;    // likewise
};

// The same for a picture with opacity. Colours count by their opacity, so that what can't be seen leaves no edge.
Bitmap ScaledSmoothly(const Bitmap& bitmap, PictureSize size);

} // namespace host

#endif // ENCMGR_HOST_PICTURE_SCALER_H
