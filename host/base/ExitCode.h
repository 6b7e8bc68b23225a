// How the program ends, and the exception that carries an ending up to main.
#ifndef ENCMGR_HOST_EXIT_CODE_H
#define ENCMGR_HOST_EXIT_CODE_H

#include <exception>
#include <stdexcept>
#include <string>

namespace host
{

enum ExitCode {
    kExitGood = 0,       // a good file
    kExitJob = 1,        // nothing or no good file was written
    kExitUsage = 2,      // unknown option, format or encoder, or a bad value
    kExitInput = 3,      // the input can't be opened or decoded
    kExitOutput = 4,     // the output can't be created, or exists
    kExitPlugins = 5,    // no plug-in gave a format
    kExitWrite = 6,      // the system refuses a write, as when the disk is full: it may pass
    kExitStream = 7,     // a stream would be lost, since its encoder can't be set up
    kExitPacing = 8,     // the source's clock breaks a limit that the job sets
    kExitInternal = 9,   // a fault of the program itself, or no memory is left
    kExitPluginEnd = 10, // a plug-in has ended the program, or doesn't come back from being loaded
    kExitFewer = 11,     // fewer pictures came than were expected
    kExitSignal = 128,   // plus the signal's number; Ctrl-C gives 130
};

class HostError : public std::runtime_error
{
public:
    HostError(int exitCode, const std::string& message) : std::runtime_error(message), m_exitCode(exitCode) {}
    int Code() const { return m_exitCode; }

private:
    int m_exitCode;
};

// What an exception means that nobody has taken on its way: the exit code, and what is said of it.
struct Exit {
    int code;
    std::string text;
};
Exit ExitOf(const std::exception& error);

} // namespace host

#endif // ENCMGR_HOST_EXIT_CODE_H
