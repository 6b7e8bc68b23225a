// "encmgr convert": the library's toolbox at work on single pictures.
#ifndef ENCMGR_HOST_CONVERT_COMMAND_H
#define ENCMGR_HOST_CONVERT_COMMAND_H

#include "host/base/Messages.h"
#include "host/base/Values.h"

#include <optional>
#include <string>

namespace host
{

// A layout of samples that a picture is sent through and back.
enum class Through { kYuv420, kYuy2, kUyvy };

struct ConvertOptions {
    std::string input;
    std::string output;
    std::optional<PictureSize> size; // the input's if not given
    int interpolation = 0;           // an IMAGE_INTERPOLATION
    std::string overlay;             // laid over the picture by its opacity, stretched to overlaySize; empty: none
    std::optional<PictureSize> overlaySize;
    PictureSize overlayAt = {0, 0};
    std::string mask; // its green cuts the picture's opacity; empty: none
    std::optional<Through> through;
    int difference = 0; // instead of the result: its difference from the picture before, times this; 0: not asked for
    bool overwrite = false;
};

// Returns the exit code. Throws HostError.
int RunConvert(const ConvertOptions& options, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_CONVERT_COMMAND_H
