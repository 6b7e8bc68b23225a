#include "host/commands/ConvertArguments.h"

#include "host/commands/Arguments.h"

namespace host
{

void AddConvertArguments(CLI::App& command, ConvertOptions& options)
{
    const char* const files = "Files";
    AddFile(command, "INPUT", options.input, "A picture: PNG, PPM or whatever libav reads")
        ->required()
        ->type_name("")
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw)
        ->group(files);
    AddFile(command, "-o,--output", options.output, "The PNG file to write")
        ->required()
        ->type_name("OUTPUT")
        ->group(files);
    AddOverwriting(command, options, files);

    const char* const steps = "Steps, in this order";
    const auto size = [](const std::string& text) { return ParseSize(text, 2, kLargestSide); };
    const auto place = [](const std::string& text) { return ParseSize(text, 0, kLargestSide); };
    const char* const anySize = "a size such as 640x360, from 2 to 16384 pixels each way";
    const auto sizeOrSide = [](const std::string& text) { return ParseSizeOrSide(text, 2, kLargestSide); };
    AddValue(command, "-s,--size", options.size, sizeOrSide,
             "a size such as 640x360 or 640x, from 2 to 16384 pixels each way",
             "Scale to this size (default: the input's); a free side keeps the shape: 640x, x360, 640x-2 (even)")
        ->type_name("WxH")
        ->group(steps);
    Words<Scaling> scalings = ScalingWords();
    scalings.emplace_back("convolve", Scaling::kCubic);
    AddWord(command, "--scale", options.scaling, scalings,
            "Scaling: bilinear (the default), smooth (the default below half the size), cubic (or convolve) or near")
        ->type_name("METHOD")
        ->group(steps);
    CLI::Option* const overlay =
        AddFile(command, "--overlay", options.overlay, "Lay this picture over it by its opacity")
            ->type_name("FILE")
            ->group(steps);
    AddValue(command, "--overlay-size", options.overlaySize, size, anySize,
             "Stretch the overlay to this size (default: its own)")
        ->type_name("WxH")
        ->group(steps)
        ->needs(overlay);
    AddValue(command, "--at", options.overlayAt, place, "a place such as 20x10",
             "The overlay's top left corner (default: 0x0)")
        ->type_name("XxY")
        ->group(steps)
        ->needs(overlay);
    AddFile(command, "--mask", options.mask, "Stretch this picture over it and cut it by its green: black wipes")
        ->type_name("FILE")
        ->group(steps);
    const Words<Through> layouts = {{"yuv420", Through::kYuv420}, {"yuy2", Through::kYuy2}, {"uyvy", Through::kUyvy}};
    CLI::Option* const through =
        AddWord(command, "--through", options.through, layouts, "Send it through yuv420, yuy2 or uyvy and back")
            ->type_name("LAYOUT")
            ->group(steps);
    AddInteger(command, "--difference", options.difference, {1, 255}, "a factor from 1 to 255",
               "Write what --through changed, times this")
        ->type_name("FACTOR")
        ->group(steps)
        ->needs(through);
}

} // namespace host
