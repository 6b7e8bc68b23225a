// What encoder and format have made of what was asked for.
#ifndef ENCMGR_HOST_REVISIONS_H
#define ENCMGR_HOST_REVISIONS_H

#include "host/job/JobPlan.h"

#include <string>
#include <vector>

namespace host
{

struct Revision {
    const char* stream; // "video" or "audio"
    std::string asked;  // "321x201 pixels"
    std::string made;

    // "video is written with 320x200 pixels rather than 321x201 pixels"
    std::string Text() const;
};

// made: the plan's record as the plug-ins have left it. Empty if they took all of it.
std::vector<Revision> FindRevisions(const JobPlan& plan, const EncodeParam& made);

} // namespace host

#endif // ENCMGR_HOST_REVISIONS_H
