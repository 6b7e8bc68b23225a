#include "host/sources/LiveName.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"

#include <cstdlib>

namespace host
{

namespace
{

// A part of the text up to a separator, which goes with it; all of it where there is none.
std::string TakeUpTo(std::string& text, char separator)
{
    const size_t at = text.find(separator);
    std::string part = text.substr(0, at);
    text.erase(0, at == std::string::npos ? at : at + 1);
    return part;
}

// Our word for an option of the device; any other goes there as it is.
std::pair<std::string, std::string> OptionNamed(const std::string& name, const std::string& key, std::string value)
{
    if (key.empty() || value.empty())
        throw HostError(kExitUsage,
                        Format("%s: behind the ? stand options such as size=640x480, with & in between", name.c_str()));
    if (key == "size")
        return {"video_size", std::move(value)};
    if (key == "rate")
        return {"framerate", std::move(value)};
    if (key == "cursor") {
        if (value != "yes" && value != "no")
            throw HostError(kExitUsage, Format("%s: cursor is yes or no", name.c_str()));
        return {"draw_mouse", value == "yes" ? "1" : "0"};
    }
    return {key, std::move(value)};
}

LiveName ScreenNamed(const std::string& name, std::string address)
{
    if (address.empty() || address.starts_with('+')) {
        const char* const display = std::getenv("DISPLAY");
        if (!display || !*display)
            throw HostError(kExitUsage,
                            Format("%s: DISPLAY isn't set; name the display, as in screen::0", name.c_str()));
        address.insert(0, display);
    }
    return {"x11grab", std::move(address), {}};
}

LiveName SoundNamed(const std::string& name, std::string address)
{
    const std::string system = TakeUpTo(address, ':');
    if (!system.empty() && system != "pulse" && system != "alsa")
        throw HostError(kExitUsage, Format("%s: sound comes from sound:pulse or sound:alsa", name.c_str()));
    return {system.empty() ? "pulse" : system, address.empty() ? "default" : std::move(address), {}};
}

} // namespace

const char* const kLiveNameHelp =
    R"(Sources:
  screen:[DISPLAY][+X,Y]     an X display (default: DISPLAY), from a corner of it on
  camera:[FILE]              a camera (default: /dev/video0)
  sound:[pulse|alsa[:NAME]]  a microphone, or what is heard (default: pulse's own choice)
  anything else              a file, a pipe, or an address that libav reads, in real time
Behind a ? stand options of a device with & in between: size=640x480, rate=30, cursor=no, and libav's own.
encmgr record --list shows the devices that are there.
)";

LiveName ParseLiveName(const std::string& name)
{
    std::string rest = name;
    const std::string kind = TakeUpTo(rest, ':');
    if (kind == "testcard")
        throw HostError(kExitUsage, Format("%s is no live source; encmgr encode takes it", name.c_str()));
    if (kind == name || (kind != "screen" && kind != "camera" && kind != "sound"))
        return {"", name, {}};

    std::string address = TakeUpTo(rest, '?');
    LiveName live = kind == "screen"  ? ScreenNamed(name, std::move(address))
                    : kind == "sound" ? SoundNamed(name, std::move(address))
                                      : LiveName{"v4l2", address.empty() ? "/dev/video0" : std::move(address), {}};
    while (!rest.empty()) {
        std::string value = TakeUpTo(rest, '&');
        const std::string key = TakeUpTo(value, '=');
        live.options.push_back(OptionNamed(name, key, std::move(value)));
    }
    return live;
}

} // namespace host
