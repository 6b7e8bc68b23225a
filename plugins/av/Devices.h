// The devices that encode video, as far as the machine's folder of device files shows them. No library is loaded for
// it.
#ifndef ENCMGR_PLUGINS_AV_DEVICES_H
#define ENCMGR_PLUGINS_AV_DEVICES_H

#include <string>
#include <vector>

enum class Device {
    kNone, // the processor
    kNvenc,
    kQuickSync,
    kVaapi,
    kV4l2, // a memory-to-memory device of Video4Linux
};

// Whether a device file is there without which no encoder of this kind can work.
bool HasDevice(Device device, const std::string& folder = "/dev");

// The paths of the graphics devices that work without a display, in their order.
std::vector<std::string> RenderNodes(const std::string& folder = "/dev");

#endif // ENCMGR_PLUGINS_AV_DEVICES_H
