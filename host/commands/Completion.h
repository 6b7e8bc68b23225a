// What shells offer for an option's value.
#ifndef ENCMGR_HOST_COMPLETION_H
#define ENCMGR_HOST_COMPLETION_H

#include <string>
#include <vector>

namespace CLI
{
class Option;
}

namespace host
{

struct Completion {
    enum class Kind {
        kNothing,
        kFile,
        kFolder,
        kWords,
        kListed, // by "encmgr generate WORD" while the user types; the word is in words
        kListedOrFile,
    };
    Kind kind = Kind::kNothing;
    std::vector<std::string> words;
};

// Hangs it on the option, where help doesn't show it.
void SetCompletion(CLI::Option& option, const Completion& completion);

// What was set; otherwise what the name of its value tells (FILE, OUTPUT, DIR); files for an argument without dashes.
Completion CompletionOf(const CLI::Option& option);

} // namespace host

#endif // ENCMGR_HOST_COMPLETION_H
