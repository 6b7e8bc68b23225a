// From what was written on the command line to a command that can be run.
#ifndef ENCMGR_HOST_COMMAND_LINE_H
#define ENCMGR_HOST_COMMAND_LINE_H

#include "host/commands/Commands.h"

namespace host
{

struct CommandLine {
    CommonOptions common;
    Run command; // empty: help or the version was asked for, and has been printed
};

// Throws HostError for what makes no sense.
CommandLine ParseCommandLine(int argc, char** argv);

} // namespace host

#endif // ENCMGR_HOST_COMMAND_LINE_H
