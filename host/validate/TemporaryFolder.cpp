#include "host/validate/TemporaryFolder.h"

#include "host/base/ExitCode.h"

#include <cstdlib>
#include <filesystem>

namespace host
{

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder()
{
    std::error_code error;
    fs::path base = fs::temp_directory_path(error);
    m_path = (error ? fs::path("/tmp") : base) / "encmgr-validate-XXXXXX";
    if (!mkdtemp(m_path.data()))
        throw HostError(kExitOutput, "can't make the folder " + m_path);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

} // namespace host
