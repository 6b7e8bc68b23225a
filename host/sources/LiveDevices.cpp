#include "host/sources/LiveDevices.h"

#include "host/base/Folder.h"
#include "host/base/Text.h"
#include "host/sources/Libav.h"

#include <algorithm>
#include <cstdlib>

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace host
{

namespace
{

// What libavdevice lists of a kind, behind the start of our names for it. Some devices have several lines of text.
void AddListed(const char* format, const std::string& start, std::vector<LiveDevice>& devices)
{
    AVDeviceInfoList* list = nullptr;
    avdevice_list_input_sources(av_find_input_format(format), nullptr, nullptr, &list);
    for (int i = 0; list && i < list->nb_devices; ++i) {
        const AVDeviceInfo& info = *list->devices[i];
        std::string description = info.device_description ? info.device_description : "";
        std::replace(description.begin(), description.end(), '\n', ' ');
        devices.push_back({start + info.device_name, std::move(description)});
    }
    avdevice_free_list_devices(&list);
}

// The size of a display's screen; empty if it can't be opened.
std::string SizeOf(const std::string& display)
{
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, display.c_str(), av_find_input_format("x11grab"), nullptr) < 0)
        return {};
    const LibavOwned<AVFormatContext> container(opened);
    const AVCodecParameters& par = *container->streams[0]->codecpar;
    return Format("%dx%d", par.width, par.height);
}

// An X server of this machine has a socket of its number; another's is known by DISPLAY alone.
std::vector<std::string> Displays()
{
    std::vector<std::string> displays;
    for (const std::string& name : NamesIn("/tmp/.X11-unix"))
        if (name.size() > 1 && name[0] == 'X')
            displays.push_back(Format(":%s", name.c_str() + 1));
    const char* const own = std::getenv("DISPLAY");
    if (own && *own && std::find(displays.begin(), displays.end(), own) == displays.end())
        displays.emplace_back(own);
    std::sort(displays.begin(), displays.end());
    return displays;
}

} // namespace

std::vector<LiveDevice> ListLiveDevices()
{
    avdevice_register_all();
    std::vector<LiveDevice> devices;
    if (av_find_input_format("x11grab"))
        for (const std::string& display : Displays())
            if (const std::string size = SizeOf(display); !size.empty())
                devices.push_back({"screen:" + display, size});
    AddListed("v4l2", "camera:", devices);
    AddListed("pulse", "sound:pulse:", devices);
    AddListed("alsa", "sound:alsa:", devices);
    return devices;
}

} // namespace host
