// "encmgr convert": the library's toolbox at work on single pictures.
#include "Common/Image/ImageConvert.h"
#include "Common/Image/ImageResize.h"
#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/commands/Commands.h"
#include "host/commands/ConvertArguments.h"
#include "host/job/OutputFile.h"
#include "host/sources/PictureFile.h"
#include "host/sources/PictureScaler.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <memory>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

// The steps below end in functions of the toolbox. What those refuse is a picture too small to be scaled to.
void Check(int result, const char* step)
{
    if (!result)
        throw HostError(kExitJob, Format("%s: a side is too small", step));
}

// With a free side in the picture's shape.
PictureSize SizeOf(const Bitmap& picture, PictureSize wish)
{
    const auto follow = [](int wanted, int other, int from, int to) {
        const int step = wanted == kFreeEven ? 2 : 1;
        const int64_t steps = av_rescale(other, to, static_cast<int64_t>(from) * step);
        return static_cast<int>(std::clamp<int64_t>(steps * step, 2, kLargestSide));
    };
    if (wish.width <= 0)
        wish.width = follow(wish.width, wish.height, picture.height, picture.width);
    else if (wish.height <= 0)
        wish.height = follow(wish.height, wish.width, picture.width, picture.height);
    return wish;
}

Bitmap Scaled(Bitmap& picture, PictureSize size, Scaling asked)
{
    if (size.width == picture.width && size.height == picture.height)
        return picture;
    const Scaling scaling = Settled(asked, {picture.width, picture.height}, size);
    if (scaling == Scaling::kSmooth)
        return ScaledSmoothly(picture, size);
    const auto method = scaling == Scaling::kCubic  ? IMAGE_INTERPOLATION_CONVOLVE
                        : scaling == Scaling::kNear ? IMAGE_INTERPOLATION_NEAR
                                                    : IMAGE_INTERPOLATION_BILINER;
    Bitmap scaled(size.width, size.height);
    IMG_PARAM target = scaled.Param();
    Check(ImageResize(picture.Param(), target, method), "--size");
    return scaled;
}

void Overlay(Bitmap& picture, Bitmap& overlay, const ConvertOptions& options)
{
    const PictureSize size = options.overlaySize.value_or(PictureSize{overlay.width, overlay.height});
    IMG_PARAM target = picture.Param();
    target.x = options.overlayAt.width;
    target.y = options.overlayAt.height;
    target.cx = size.width;
    target.cy = size.height;
    if (target.x > picture.width - size.width || target.y > picture.height - size.height)
        throw HostError(kExitUsage, "the overlay stands out of the picture; --at and --overlay-size place it");
    Check(ImageAlphaResize(overlay.Param(), target, IMAGE_INTERPOLATION_DEFAULT), "--overlay");
}

void CutByMask(Bitmap& picture, const Bitmap& mask)
{
    std::vector<unsigned char> values(mask.bytes.size() / 4);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = mask.bytes[4 * i + 1];
    const IMG_PARAM source = {values.data(), mask.width, mask.height, mask.width, 8, 0, 0, mask.width, mask.height};
    IMG_PARAM target = picture.Param();
    Check(ImageStretchMask(source, target), "--mask");
}

void SendThroughYuv420(Bitmap& picture)
{
    // With an odd width, a row of luma gets one sample more than the picture is wide.
    const int pitchY = picture.width + picture.width % 2;
    const int pitchC = pitchY / 2;
    const size_t rows = static_cast<size_t>(picture.height) + static_cast<size_t>(picture.height % 2);
    std::vector<unsigned char> y(static_cast<size_t>(pitchY) * rows), u(static_cast<size_t>(pitchC) * rows / 2), v(u);
    tagBITMAPINFOHEADER header = picture.Header();
    Rgb32_2_yuv420(y.data(), u.data(), v.data(), pitchY, pitchC, pitchC, &header, picture.bytes.data());
    Yuv420_2_rgb32(&header, picture.bytes.data(), y.data(), u.data(), v.data(), pitchY, pitchC, pitchC);
}

// Packed pictures are converted from and to 24-bit pixels.
void SendThroughPacked(Bitmap& picture, unsigned int bYUY2)
{
    const int width = picture.width, height = picture.height;
    const int packedPitch = 2 * (width + width % 2);
    std::vector<unsigned char> rgb(picture.bytes.size() / 4 * 3);
    std::vector<unsigned char> packed(static_cast<size_t>(packedPitch) * static_cast<size_t>(height));
    for (size_t i = 0; i < rgb.size(); ++i)
        rgb[i] = picture.bytes[i / 3 * 4 + i % 3];
    Rgb24_2_YUY2(packed.data(), packedPitch, 0, 0, width, height, bYUY2, rgb.data(), height, 3 * width, 0, 0);
    YUY2_2_Rgb24(rgb.data(), height, 3 * width, 0, 0, width, height, packed.data(), packedPitch, bYUY2, 0, 0);
    for (size_t i = 0; i < rgb.size(); ++i)
        picture.bytes[i / 3 * 4 + i % 3] = rgb[i];
}

void SendThrough(Bitmap& picture, Through layout)
{
    if (layout == Through::kYuv420)
        SendThroughYuv420(picture);
    else
        SendThroughPacked(picture, layout == Through::kYuy2);
}

// Opaque, black where both are the same.
Bitmap Difference(const Bitmap& a, const Bitmap& b, int factor)
{
    Bitmap difference(a.width, a.height);
    for (size_t i = 0; i < a.bytes.size(); ++i)
        difference.bytes[i] =
            i % 4 == 3 ? 255 : static_cast<unsigned char>(std::min(255, factor * std::abs(a.bytes[i] - b.bytes[i])));
    return difference;
}

int RunConvert(const ConvertOptions& options, Messages& messages)
{
    OutputFile output(options.output);
    output.CheckWritable({options.input, options.overlay, options.mask}, options.overwrite, !options.neverOverwrite);

    Bitmap input = ReadPicture(options.input, messages);
    const PictureSize size = SizeOf(input, options.size.value_or(PictureSize{input.width, input.height}));
    Bitmap picture = Scaled(input, size, options.scaling);
    if (!options.overlay.empty()) {
        Bitmap overlay = ReadPicture(options.overlay, messages);
        Overlay(picture, overlay, options);
    }
    if (!options.mask.empty())
        CutByMask(picture, ReadPicture(options.mask, messages));
    if (options.through) {
        const Bitmap before = picture;
        SendThrough(picture, *options.through);
        if (options.difference > 0)
            picture = Difference(before, picture, options.difference);
    }
    output.Create();
    try {
        WritePicture(output.WritePath(), picture);
        output.Publish();
    } catch (const HostError&) {
        output.Discard();
        throw;
    }
    messages.Say(Format("%s: %dx%d, %s", options.output.c_str(), picture.width, picture.height,
                        SizeText(output.Size()).c_str()));
    return kExitGood;
}

} // namespace

void AddConvertCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("convert", "Scale, overlay, mask or convert a single picture");
    command->footer(kExitCodeHelp);
    const auto options = std::make_shared<ConvertOptions>();
    AddConvertArguments(*command, *options);
    command->callback([options, &chosen] {
        chosen = [options](const CommonOptions&, Messages& messages) { return RunConvert(*options, messages); };
    });
}

} // namespace host
