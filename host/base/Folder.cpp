#include "host/base/Folder.h"

#include <algorithm>
#include <filesystem>

namespace host
{

std::vector<std::string> NamesIn(const std::string& folder)
{
    std::vector<std::string> names;
    try {
        // The form that takes an error code ends the program when memory runs out.
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename().string());
    } catch (const std::filesystem::filesystem_error&) {
        names.clear();
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace host
