#include "host/validate/Neighbours.h"

#include "host/base/Text.h"
#include "host/validate/StepNote.h"

#include <algorithm>
#include <filesystem>

namespace host
{

namespace fs = std::filesystem;

std::vector<Neighbour> LoadNeighbours(const std::string& file)
{
    std::vector<fs::path> paths;
    std::error_code unreadable;
    for (const auto& entry : fs::directory_iterator(fs::path(file).parent_path(), unreadable)) {
        const std::string name = entry.path().filename().string();
        std::error_code ignored;
        if (name.starts_with("wp") && name.ends_with(".dylib") && entry.is_regular_file(ignored) &&
            !fs::equivalent(entry.path(), file, ignored))
            paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<Neighbour> neighbours;
    for (const fs::path& path : paths) {
        const StepNote note(Format("its neighbour %s is loaded", path.filename().c_str()));
        try {
            LoadedPlugin plugin(path.string());
            plugin.Scan();
            neighbours.push_back({path.filename().string(), std::move(plugin)});
        } catch (const std::exception&) { // it is that one's fault
        }
    }
    return neighbours;
}

} // namespace host
