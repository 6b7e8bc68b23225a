// The entry points that choose a scaler by method, and those for whole pictures.
#include "Common/Image/ImageResize.h"

namespace
{

using Scaler = int (*)(const IMG_PARAM& src, IMG_PARAM& dst);
using Dispatcher = int (*)(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);

int Dispatch(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method, Scaler nearest, Scaler bilinear)
{
    switch (method) {
    case IMAGE_INTERPOLATION_NEAR:
        return nearest(src, dst);
    case IMAGE_INTERPOLATION_DEFAULT:
    case IMAGE_INTERPOLATION_BILINER:
        return bilinear(src, dst);
    default:
        return 0;
    }
}

// Scales the planes of one picture, one after the other, with one pair of rectangles.
class PictureScaler
{
public:
    PictureScaler(const IMG_PARAM& src, const IMG_PARAM& dst, IMAGE_INTERPOLATION method)
        : m_src(src), m_dst(dst), m_method(method)
    {
    }

    bool CanScale() const { return m_dst.cx >= 2 && m_dst.cy >= 2; }

    void Plane(Dispatcher dispatcher, unsigned char* pSrc, int nSrcPitch, unsigned char* pDst, int nDstPitch)
    {
        m_src.pBits = pSrc;
        m_src.nPitch = nSrcPitch;
        m_dst.pBits = pDst;
        m_dst.nPitch = nDstPitch;
        dispatcher(m_src, m_dst, m_method);
    }

private:
    IMG_PARAM m_src;
    IMG_PARAM m_dst;
    IMAGE_INTERPOLATION m_method;
};

} // namespace

int ImageResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method)
{
    if (method == IMAGE_INTERPOLATION_CONVOLVE)
        return DIB_ResizeConvolve(src, dst);
    return Dispatch(src, dst, method, DIB_ResizeNear, DIB_ResizeBiLiner);
}

int ImageResize8(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method)
{
    return Dispatch(src, dst, method, DIB_ResizeNear8, DIB_ResizeBiLiner8);
}

int ImageResizeY(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method)
{
    return Dispatch(src, dst, method, DIB_ResizeNearY, DIB_ResizeBiLinerY);
}

int ImageResizeUV(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method)
{
    return Dispatch(src, dst, method, DIB_ResizeNearUV, DIB_ResizeBiLinerUV);
}

int ImageResizeYV12(const IMG_PARAM& src, unsigned char* pSrcY, unsigned char* pSrcU, unsigned char* pSrcV,
                    int nSrcPitchY, int nSrcPitchU, int nSrcPitchV, const IMG_PARAM& dst, unsigned char* pDstY,
                    unsigned char* pDstU, unsigned char* pDstV, int nDstPitchY, int nDstPitchU, int nDstPitchV,
                    IMAGE_INTERPOLATION method)
{
    PictureScaler scaler(src, dst, method);
    if (!scaler.CanScale())
        return 0;
    scaler.Plane(ImageResizeY, pSrcY, nSrcPitchY, pDstY, nDstPitchY);
    scaler.Plane(ImageResizeUV, pSrcV, nSrcPitchV, pDstV, nDstPitchV);
    scaler.Plane(ImageResizeUV, pSrcU, nSrcPitchU, pDstU, nDstPitchU);
    return 1;
}

int ImageResizeYV444(const IMG_PARAM& src, unsigned char* pSrc1, unsigned char* pSrc2, unsigned char* pSrc3,
                     unsigned char* pSrc4, int nSrcPitch1, int nSrcPitch2, int nSrcPitch3, int nSrcPitch4,
                     const IMG_PARAM& dst, unsigned char* pDst1, unsigned char* pDst2, unsigned char* pDst3,
                     unsigned char* pDst4, int nDstPitch1, int nDstPitch2, int nDstPitch3, int nDstPitch4,
                     IMAGE_INTERPOLATION method)
{
    PictureScaler scaler(src, dst, method);
    if (!scaler.CanScale())
        return 0;
    scaler.Plane(ImageResizeY, pSrc1, nSrcPitch1, pDst1, nDstPitch1);
    scaler.Plane(ImageResizeY, pSrc2, nSrcPitch2, pDst2, nDstPitch2);
    scaler.Plane(ImageResizeY, pSrc4, nSrcPitch4, pDst4, nDstPitch4);
    scaler.Plane(ImageResizeY, pSrc3, nSrcPitch3, pDst3, nDstPitch3);
    return 1;
}
