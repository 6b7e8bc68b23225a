// Level 1: the file, before and while it is loaded.
#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/ElfFile.h"
#include "host/validate/LoadTrace.h"
#include "host/validate/LoadedPlugin.h"

#include <algorithm>
#include <dlfcn.h>
#include <filesystem>
#include <sys/stat.h>

namespace host
{

namespace
{

void CheckName(const Subject& subject, Verdict& verdict)
{
    const std::string name = std::filesystem::path(subject.file).filename().string();
    if (name.starts_with("wp") && name.ends_with(".dylib"))
        return;
    std::string stem = name.substr(0, name.find_last_of('.'));
    if (stem.starts_with("lib") && stem.size() > 3)
        stem.erase(0, 3);
    std::string good = Lower(stem).starts_with("wp") ? "wp" + stem.substr(2) : "wp" + stem;
    if (good.find('.') != std::string::npos)
        good.erase(good.find('.')); // as in "libx.so.1"
    verdict.Fail(Format("hosts pass over \"%s\"; \"%s.dylib\" would be loaded", name.c_str(), good.c_str()));
}

void CheckRegular(const Subject& subject, Verdict& verdict)
{
    struct stat status = {};
    if (stat(subject.file.c_str(), &status) != 0)
        verdict.Fail("there is no such file");
    else if (!S_ISREG(status.st_mode))
        verdict.Fail(S_ISDIR(status.st_mode)    ? "it is a folder"
                     : S_ISFIFO(status.st_mode) ? "it is a pipe, and opening one may wait for ever"
                                                : "it is a device or a socket");
    else if (status.st_size == 0)
        verdict.Fail("it is empty");
}

void CheckLibrary(const Subject& subject, Verdict& verdict)
{
    const ElfHeader header = ReadElfHeader(subject.file);
    if (!header.isElf)
        verdict.Fail("it doesn't begin as an ELF file does");
    else if (!header.isComplete)
        verdict.Fail("it is cut off: its header speaks of more than the file holds");
    else if (!header.isSharedObject)
        verdict.Fail("it is no shared library, but a program or an object file");
}

void CheckWordSize(const Subject& subject, Verdict& verdict)
{
    const int bits = ReadElfHeader(subject.file).bits, own = OwnHeader().bits;
    if (bits != own)
        verdict.Fail(Format("%d-bit plug-in, %d-bit host", bits, own));
}

void CheckArchitecture(const Subject& subject, Verdict& verdict)
{
    const ElfHeader header = ReadElfHeader(subject.file), own = OwnHeader();
    if (header.bits != own.bits)
        return; // that is told already
    if (header.machine != own.machine || header.isLittleEndian != own.isLittleEndian)
        verdict.Fail(Format("plug-in for %s, host for %s", MachineName(header.machine).c_str(),
                            MachineName(own.machine).c_str()));
}

void CheckDependencies(const Subject& subject, Verdict& verdict)
{
    for (const std::string& library : TraceLoading(subject.file).missing)
        verdict.Fail(library + " isn't found");
}

void CheckSymbols(const Subject& subject, Verdict& verdict)
{
    for (const std::string& symbol : TraceLoading(subject.file).unresolved)
        verdict.Fail(symbol + " is nowhere; is a library missing where the plug-in is linked?");
}

void CheckLoads(const Subject& subject, Verdict& verdict)
{
    try {
        const LoadedPlugin plugin(subject.file);
    } catch (const HostError& error) {
        verdict.Fail(error.what());
    }
}

bool IsPluginExport(const std::string& name)
{
    return name == "GetEncoders" || name == "GetFileFormats" || name == "GetEncoderOptions";
}

void CheckExports(const Subject& subject, Verdict& verdict)
{
    const auto symbols = ExportedSymbols(subject.file);
    const auto has = [&symbols](const char* name) {
        return std::any_of(symbols.begin(), symbols.end(), [name](const auto& symbol) { return symbol.name == name; });
    };
    if (has("GetEncoders") || has("GetFileFormats"))
        return;
    const auto like = std::find_if(symbols.begin(), symbols.end(), [](const ExportedSymbol& symbol) {
        return symbol.name.find("GetEncoders") != std::string::npos ||
               symbol.name.find("GetFileFormats") != std::string::npos;
    });
    verdict.Fail(like == symbols.end() ? "it exports neither GetEncoders nor GetFileFormats"
                                       : "it exports " + like->name + "; is extern \"C\" missing?");
}

// One name that another library has too gives one of both the other's function.
void CheckOtherExports(const Subject& subject, Verdict& verdict)
{
    for (const ExportedSymbol& symbol : ExportedSymbols(subject.file)) {
        if (!symbol.isStrong || IsPluginExport(symbol.name) || symbol.name == "_init" || symbol.name == "_fini")
            continue;
        if (dlsym(RTLD_DEFAULT, symbol.name.c_str()))
            verdict.Fail("it exports " + symbol.name + ", which the host's process has already");
        else
            verdict.Warn("it exports " + symbol.name + ", which hosts don't ask for; -fvisibility=hidden keeps it in");
    }
}

constexpr Check kChecks[] = {
    {"file-name", 1, Stage::kPath, false, "The name begins with \"wp\" and ends in \".dylib\".", CheckName},
    {"regular-file", 1, Stage::kPath, true, "It is a file that isn't empty, or a link to one.", CheckRegular},
    {"shared-library", 1, Stage::kFile, true, "It is a shared library, and complete.", CheckLibrary},
    {"word-size", 1, Stage::kLibrary, true, "Its words are as wide as the host's.", CheckWordSize},
    {"architecture", 1, Stage::kLibrary, true, "It is built for the host's processor.", CheckArchitecture},
    {"dependencies", 1, Stage::kNative, true, "The libraries that it needs are found.", CheckDependencies},
    {"symbols", 1, Stage::kLinks, true,
     "All its symbols are resolved. Hosts bind them one by one in use, so that one that is missing ends a job.",
     CheckSymbols},
    {"loads", 1, Stage::kResolved, true, "It can be loaded and unloaded.", CheckLoads},
    {"exports", 1, Stage::kLoads, true, "It exports GetEncoders, GetFileFormats, or both.", CheckExports},
    {"other-exports", 1, Stage::kExports, false, "It exports nothing else that could clash.", CheckOtherExports},
};

} // namespace

std::span<const Check> FileChecks()
{
    return kChecks;
}

} // namespace host
