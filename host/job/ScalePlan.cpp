#include "host/job/ScalePlan.h"

#include <algorithm>
#include <climits>
#include <cmath>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

// Keeps the library's 32-bit products of aspects and sizes in range.
constexpr int kLargestAspectPart = 8191;

constexpr int kSmallestSide = 16; // that follows from the other one

// The shape in which the whole picture is shown.
AVRational ShownShape(const EncodeOptions& options, const VideoFormat& video)
{
    if (options.fit == IMAGE_RESIZE_16_9)
        return {16, 9};
    if (options.fit == IMAGE_RESIZE_4_3)
        return {4, 3};
    AVRational shape = {1, 1};
    av_reduce(&shape.num, &shape.den, static_cast<int64_t>(video.width) * video.pixelAspect.num,
              static_cast<int64_t>(video.height) * video.pixelAspect.den, INT_MAX);
    return shape;
}

// Most encoders want even sides, so a free one is that unless any will do.
int FreeSide(int wish, int other, AVRational ratio)
{
    const int step = wish == kFreeAny ? 1 : 2;
    const int64_t steps = av_rescale(other, ratio.num, static_cast<int64_t>(ratio.den) * step);
    return static_cast<int>(std::clamp<int64_t>(steps * step, kSmallestSide, kLargestSide));
}

// The width with which pixels become square. Even, as most encoders want it.
PictureSize SizeWithSquarePixels(const VideoFormat& video)
{
    if (HasSquarePixels(video))
        return {video.width, video.height};
    const int64_t half = av_rescale(video.width, video.pixelAspect.num, 2LL * video.pixelAspect.den);
    return {static_cast<int>(std::clamp<int64_t>(half * 2, 2, kLargestSide)), video.height};
}

PictureSize SizeOf(const EncodeOptions& options, const VideoFormat& video)
{
    if (!options.size)
        return options.fit ? SizeWithSquarePixels(video) : PictureSize{video.width, video.height};
    PictureSize size = *options.size;
    const AVRational shape = ShownShape(options, video);
    if (size.width <= 0)
        size.width = FreeSide(size.width, size.height, shape);
    else if (size.height <= 0)
        size.height = FreeSide(size.height, size.width, av_inv_q(shape));
    return size;
}

// The part of the source that fills the whole target when it is cut: the middle, in whole pixels of chroma.
tagRECT CutArea(const JobPlan& plan)
{
    const KXVideoInfo& info = plan.videoInfo;
    const EncodeParamVideo& param = plan.param.video;
    tagRECT area = {0, 0, info.width, info.height};
    tagSIZE shape = {param.nWidth, param.nHeight};
    if (info.aspectx) // in stored pixels
        av_reduce(&shape.cx, &shape.cy, static_cast<int64_t>(param.nWidth) * info.aspecty * info.width,
                  static_cast<int64_t>(param.nHeight) * info.aspectx * info.height, INT_MAX);
    ResizeRect(area, shape, IMAGE_RESIZE_KEEP);
    area.left &= ~1;
    area.top &= ~1;
    return area;
}

} // namespace

// Scaling to odd sizes leaves aspects behind that are off by a fraction of a pixel.
bool HasSquarePixels(const VideoFormat& video)
{
    return std::fabs(av_q2d(video.pixelAspect) - 1.0) < 0.005;
}

void PlanSize(JobPlan& plan, const EncodeOptions& options, const VideoFormat& video)
{
    EncodeParamVideo& param = plan.param.video;
    const PictureSize size = SizeOf(options, video);
    param.nWidth = size.width;
    param.nHeight = size.height;
    // A shape of its own is no reason for bars; it is off by a rounding at most.
    const bool isOwnShape = !options.size || options.size->width <= 0 || options.size->height <= 0;
    const auto usual = isOwnShape ? IMAGE_RESIZE_STRETCH : IMAGE_RESIZE_KEEP;
    param.nResizeMethod = isOwnShape && options.size ? usual : options.fit.value_or(usual);

    KXVideoInfo& info = plan.videoInfo;
    info.width = video.width;
    info.height = video.height;
    if (HasSquarePixels(video))
        return;
    av_reduce(&info.aspectx, &info.aspecty, static_cast<int64_t>(video.width) * video.pixelAspect.num,
              static_cast<int64_t>(video.height) * video.pixelAspect.den, kLargestAspectPart);
    if (!options.size && !options.fit)
        av_reduce(&param.nPixelAspectX, &param.nPixelAspectY, video.pixelAspect.num, video.pixelAspect.den,
                  kLargestAspectPart);
}

void PlanScaling(JobPlan& plan, Scaling asked)
{
    EncodeParamVideo& param = plan.param.video;
    KXVideoInfo& info = plan.videoInfo;
    const auto fit = static_cast<IMAGE_RESIZE_METHOD>(param.nResizeMethod);
    const bool isCut = fit == IMAGE_RESIZE_CROP;
    const tagRECT from = isCut ? CutArea(plan) : tagRECT{0, 0, info.width, info.height};
    const tagSIZE shape = info.aspectx ? tagSIZE{info.aspectx, info.aspecty} : tagSIZE{info.width, info.height};
    tagRECT to = {0, 0, param.nWidth, param.nHeight};
    if (!isCut)
        ResizeRect(to, shape, fit);

    const PictureSize sizeFrom = {from.right - from.left, from.bottom - from.top};
    const PictureSize sizeTo = {to.right - to.left, to.bottom - to.top};
    const Scaling scaling = Settled(asked, sizeFrom, sizeTo);
    param.nInterpolation = scaling == Scaling::kNear ? IMAGE_INTERPOLATION_NEAR : IMAGE_INTERPOLATION_BILINER;
    const bool isSameSize = sizeFrom.width == sizeTo.width && sizeFrom.height == sizeTo.height;
    if ((scaling != Scaling::kSmooth && scaling != Scaling::kCubic) || isSameSize || sizeTo.width < 1 ||
        sizeTo.height < 1 || sizeFrom.width < 1 || sizeFrom.height < 1)
        return;
    plan.scaling = PictureScaling{scaling, {info.width, info.height}, from.left, from.top, sizeFrom, sizeTo};
    // For the library, pictures of the shown size, in the shape by which it finds the same place for them.
    info.width = sizeTo.width;
    info.height = sizeTo.height;
    info.aspectx = isCut ? 0 : shape.cx;
    info.aspecty = isCut ? 0 : shape.cy;
    if (isCut)
        param.nResizeMethod = IMAGE_RESIZE_STRETCH;
}

} // namespace host
