// A folder for what must not stay.
#ifndef ENCMGR_HOST_TEMPORARY_FOLDER_H
#define ENCMGR_HOST_TEMPORARY_FOLDER_H

#include <string>

namespace host
{

class TemporaryFolder
{
public:
    TemporaryFolder();  // throws HostError if none can be made
    ~TemporaryFolder(); // with all that is in it
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return m_path; }
    std::string operator/(const char* name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

} // namespace host

#endif // ENCMGR_HOST_TEMPORARY_FOLDER_H
