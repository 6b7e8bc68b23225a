// What is asked for of a single picture, as plain data.
#ifndef ENCMGR_HOST_CONVERT_OPTIONS_H
#define ENCMGR_HOST_CONVERT_OPTIONS_H

#include "host/base/Scaling.h"
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
    std::optional<PictureSize> size; // the input's if not given; one side may be free
    Scaling scaling = Scaling::kUsual;
    std::string overlay; // laid over the picture by its opacity, stretched to overlaySize; empty: none
    std::optional<PictureSize> overlaySize;
    PictureSize overlayAt = {0, 0};
    std::string mask; // its green cuts the picture's opacity; empty: none
    std::optional<Through> through;
    int difference = 0; // instead of the result: its difference from the picture before, times this; 0: not asked for
    bool overwrite = false;
    bool neverOverwrite = false;
};

} // namespace host

#endif // ENCMGR_HOST_CONVERT_OPTIONS_H
