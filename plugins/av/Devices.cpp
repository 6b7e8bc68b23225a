#include "plugins/av/Devices.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#if __has_include(<linux/videodev2.h>)
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace
{

bool IsCharacterDevice(const fs::path& path)
{
    std::error_code error;
    return fs::is_character_file(path, error);
}

// The device files of a folder whose names begin so.
std::vector<std::string> DeviceFiles(const fs::path& folder, const std::string& beginning)
{
    std::vector<std::string> paths;
    try {
        // The form that takes an error code ends the host when memory runs out.
        for (const auto& entry : fs::directory_iterator(folder))
            if (entry.path().filename().string().starts_with(beginning) && IsCharacterDevice(entry.path()))
                paths.push_back(entry.path().string());
    } catch (const fs::filesystem_error&) {
        paths.clear(); // it isn't there, or can't be read
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

// Whether the device takes pictures and gives others back, as encoders and decoders do; a camera doesn't.
bool IsMemoryToMemory([[maybe_unused]] const std::string& path)
{
#ifdef VIDIOC_QUERYCAP
    const int file = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return false;
    v4l2_capability has{};
    const bool isVideo = ioctl(file, VIDIOC_QUERYCAP, &has) == 0;
    close(file);
    const auto capabilities = has.capabilities & V4L2_CAP_DEVICE_CAPS ? has.device_caps : has.capabilities;
    return isVideo && capabilities & (V4L2_CAP_VIDEO_M2M | V4L2_CAP_VIDEO_M2M_MPLANE);
#else
    return false;
#endif
}

} // namespace

bool HasDevice(Device device, const std::string& folder)
{
    switch (device) {
    case Device::kNone:
        return true;
    case Device::kNvenc:
        return IsCharacterDevice(folder + "/nvidiactl") || IsCharacterDevice(folder + "/nvidia0");
    case Device::kQuickSync:
    case Device::kVaapi:
        return !RenderNodes(folder).empty();
    case Device::kV4l2:
        const auto paths = DeviceFiles(folder, "video");
        return std::any_of(paths.begin(), paths.end(), IsMemoryToMemory);
    }
    return false;
}

std::vector<std::string> RenderNodes(const std::string& folder)
{
    return DeviceFiles(folder + "/dri", "renderD");
}
