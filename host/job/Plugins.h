// The library's plug-ins, loaded for as long as they are needed.
#ifndef ENCMGR_HOST_PLUGINS_H
#define ENCMGR_HOST_PLUGINS_H

#include "host/job/Catalogue.h"

#include <string>

namespace host
{

class Messages;

// One at a time. No job may outlive it.
class Plugins
{
public:
    // folder: as in PluginFolder.h. Throws HostError if there is no file format.
    Plugins(const std::string& folder, Messages& messages);
    ~Plugins();
    Plugins(const Plugins&) = delete;
    Plugins& operator=(const Plugins&) = delete;

    const Catalogue& GetCatalogue() const { return m_catalogue; }

    // Whether each picture of a file format is a file of its own.
    static bool IsSequence(KXDWORD format);

    // Warns of what lies in the folder and can't be used: files that the library doesn't load, by their names or for
    // what is in them, and formats and encoders whose FourCC another one has taken.
    void WarnOfUnusable() const;

private:
    void WarnOfRefused() const;

    Messages& m_messages;
    std::string m_folder; // with the files
    uint64_t m_mark;      // in the log, where loading began
    Catalogue m_catalogue{nullptr};
};

} // namespace host

#endif // ENCMGR_HOST_PLUGINS_H
