// A shared library as the file says it is, before anything of it is loaded.
#ifndef ENCMGR_HOST_ELF_FILE_H
#define ENCMGR_HOST_ELF_FILE_H

#include <string>
#include <vector>

namespace host
{

// A header of ELF (System V ABI, chapter 4).
struct ElfHeader {
    bool isElf = false;
    bool isComplete = false; // all that the header points to lies within the file
    bool isSharedObject = false;
    bool isLittleEndian = false;
    int bits = 0; // of a word: 32 or 64
    int machine = 0;
};

// Reads at most what the header speaks of. Throws HostError if the file can't be read.
ElfHeader ReadElfHeader(const std::string& file);

// "x86-64" and so on; a number for what isn't known.
std::string MachineName(int machine);

// Of this very program.
ElfHeader OwnHeader();

// A symbol that a loaded library offers to others.
struct ExportedSymbol {
    std::string name;
    bool isStrong; // not weak or unique, as templates and inline functions of C++ are
};

// The symbols that a complete shared library of this program's own kind exports, by its section headers.
std::vector<ExportedSymbol> ExportedSymbols(const std::string& file);

} // namespace host

#endif // ENCMGR_HOST_ELF_FILE_H
