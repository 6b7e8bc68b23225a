// The devices that there are to record from.
#ifndef ENCMGR_HOST_LIVE_DEVICES_H
#define ENCMGR_HOST_LIVE_DEVICES_H

#include <string>
#include <vector>

namespace host
{

struct LiveDevice {
    std::string name; // as record takes it
    std::string description;
};

// Screens, cameras and sound, as far as the system shows them.
std::vector<LiveDevice> ListLiveDevices();

} // namespace host

#endif // ENCMGR_HOST_LIVE_DEVICES_H
