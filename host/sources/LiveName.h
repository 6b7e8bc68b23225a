// The names of live sources: screens, cameras, sound, and all addresses.
#ifndef ENCMGR_HOST_LIVE_NAME_H
#define ENCMGR_HOST_LIVE_NAME_H

#include <string>
#include <utility>
#include <vector>

namespace host
{

struct LiveName {
    std::string device;  // libavdevice's name of the kind; empty: an address for libavformat
    std::string address; // what of this kind: a display, a file in /dev, a name of the sound system
    std::vector<std::pair<std::string, std::string>> options; // for the device, in libavdevice's words

    bool IsDevice() const { return !device.empty(); }
};

// "screen::0+10,20?size=640x480", "camera:/dev/video0", "sound:alsa:hw:1", or what encode takes, but for the test
// card. Throws HostError for what can't be meant.
LiveName ParseLiveName(const std::string& name);

// For the end of record's help.
extern const char* const kLiveNameHelp;

} // namespace host

#endif // ENCMGR_HOST_LIVE_NAME_H
