#include "host/validate/LoadTrace.h"

#include "encmgr/EncMgr.h"
#include "encmgr/Log.h"
#include "host/base/ExitCode.h"

#include <array>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace host
{

namespace
{

// The loader's path, as this program's own header names it.
std::string Loader()
{
    std::string loader;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* context) {
            for (int i = 0; i < info->dlpi_phnum; ++i)
                if (info->dlpi_phdr[i].p_type == PT_INTERP)
                    *static_cast<std::string*>(context) =
                        reinterpret_cast<const char*>(info->dlpi_addr + info->dlpi_phdr[i].p_vaddr);
            return 1; // the program comes first
        },
        &loader);
    return loader;
}

std::string LibraryOf(const void* function)
{
    Dl_info info = {};
    return dladdr(function, &info) && info.dli_fname ? info.dli_fname : "";
}

// What the loader says of the file on both its output streams.
std::string RunLoader(const std::string& file)
{
    std::array<int, 2> ends = {};
    if (pipe(ends.data()) != 0)
        throw HostError(kExitInternal, "no pipe can be made");
    const std::string loader = Loader();
    // Every host has the library and its log loaded.
    const std::string shared = LibraryOf(reinterpret_cast<const void*>(&FCInitPlugins)) + ":" +
                               LibraryOf(reinterpret_cast<const void*>(&KXLog));
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        setenv("LD_TRACE_LOADED_OBJECTS", "1", 1);
        setenv("LD_WARN", "yes", 1);
        setenv("LD_BIND_NOW", "yes", 1);
        setenv("LD_PRELOAD", shared.c_str(), 1);
        execl(loader.c_str(), loader.c_str(), file.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    std::string said;
    std::array<char, 4096> bytes;
    for (ssize_t got = 0; (got = read(ends[0], bytes.data(), bytes.size())) > 0;)
        said.append(bytes.data(), static_cast<size_t>(got));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return said;
}

std::string Readable(const std::string& symbol)
{
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status),
                                                      std::free);
    return status == 0 && text ? text.get() : symbol;
}

} // namespace

LoadTrace TraceLoading(const std::string& file)
{
    LoadTrace trace;
    std::istringstream lines(RunLoader(file));
    for (std::string line; std::getline(lines, line);) {
        constexpr std::string_view undefined = "undefined symbol: ", absent = " => not found";
        line.erase(0, line.find_first_not_of(" \t"));
        if (line.starts_with(undefined)) {
            std::string symbol = line.substr(undefined.size());
            symbol.erase(std::min(symbol.find_first_of(",\t "), symbol.size()));
            if (!dlsym(RTLD_DEFAULT, symbol.c_str()))
                trace.unresolved.push_back(Readable(symbol));
        } else if (const size_t at = line.find(absent); at != std::string::npos) {
            trace.missing.push_back(line.substr(0, at));
        }
    }
    return trace;
}

} // namespace host
