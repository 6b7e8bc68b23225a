// Words on the command line that no command takes.
#ifndef ENCMGR_HOST_UNEXPECTED_H
#define ENCMGR_HOST_UNEXPECTED_H

#include <string>

namespace CLI
{
class App;
}

namespace host
{

// "did you mean --size?", after program has refused what it was to parse; empty if nothing is like it.
std::string SuggestionForUnexpected(const CLI::App& program);

} // namespace host

#endif // ENCMGR_HOST_UNEXPECTED_H
