#include "host/job/EncoderOptions.h"

#include "plugin_host/PluginMgr.h"

#include <algorithm>
#include <dlfcn.h>

namespace host
{

namespace
{

// A function of the encoder's plug-in.
const void* SlotOf(const ENCODER_ITEM& encoder)
{
    if (encoder.pfnCreate)
        return reinterpret_cast<const void*>(encoder.pfnCreate);
    if (encoder.pfnReviseVideo)
        return reinterpret_cast<const void*>(encoder.pfnReviseVideo);
    return reinterpret_cast<const void*>(encoder.pfnReviseAudio);
}

// What the plug-in that a function belongs to exports under the name, or null.
PFN_GetEncoderOptions ExportBeside(const void* function)
{
    Dl_info info = {};
    if (!function || !dladdr(function, &info) || !info.dli_fname)
        return nullptr;
    void* const module = dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    if (!module)
        return nullptr;
    const auto found = reinterpret_cast<PFN_GetEncoderOptions>(dlsym(module, "GetEncoderOptions"));
    dlclose(module); // the library keeps it loaded
    return found;
}

} // namespace

std::span<const ENCODER_OPTION> OptionsOfEncoder(KXDWORD fourCC)
{
    const auto& encoders = PluginMgr::m_arEncoder;
    const auto encoder = std::find_if(encoders.begin(), encoders.end(),
                                      [fourCC](const ENCODER_ITEM& item) { return item.dwFourCC == fourCC; });
    const auto get = encoder == encoders.end() ? nullptr : ExportBeside(SlotOf(*encoder));
    const ENCODER_OPTION* const options = get ? get(fourCC) : nullptr;
    size_t count = 0;
    while (options && options[count].pszKey)
        ++count;
    return {options, count};
}

const ENCODER_OPTION* FindOption(std::span<const ENCODER_OPTION> options, std::string_view key)
{
    const auto found = std::find_if(options.begin(), options.end(),
                                    [key](const ENCODER_OPTION& option) { return option.pszKey == key; });
    return found == options.end() ? nullptr : &*found;
}

} // namespace host
