#include "host/sources/Container.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Messages.h"
#include "host/base/Text.h"

#include <cstring>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace host
{

namespace
{

constexpr const char* kStandardInput = "pipe:0";
constexpr std::string_view kFilePrefix = "file:";

// In microseconds. A transport stream may begin far from the next picture that can be decoded by itself; until that one
// not even the size of its pictures is known. Encoders put 10 seconds between two such pictures, if told nothing else.
constexpr int64_t kProbeOfTransportStream = 15'000'000;

int IsOver(void* isStopped)
{
    return InterruptSignal() != 0 || (isStopped && *static_cast<const std::atomic<bool>*>(isStopped));
}

} // namespace

// Existing files are marked as such, since a name with a colon looks like an address.
std::string AddressOf(const std::string& name)
{
    if (name == "-")
        return kStandardInput;
    struct stat status = {};
    const bool isFile = stat(name.c_str(), &status) == 0;
    return isFile || name.find("://") == std::string::npos ? std::string(kFilePrefix) + name : name;
}

bool IsPlainFile(const std::string& address)
{
    struct stat status = {};
    return address.starts_with(kFilePrefix) && stat(address.c_str() + kFilePrefix.size(), &status) == 0 &&
           S_ISREG(status.st_mode);
}

LibavOwned<AVFormatContext> OpenContainer(const std::string& address, const std::string& name, Messages& messages,
                                          std::atomic<bool>* isStopped)
{
    auto container = OpenAddress(address, name, {.stop = {IsOver, isStopped}}, messages);
    FindStreams(*container, name);
    return container;
}

LibavOwned<AVFormatContext> OpenAddress(const std::string& address, const std::string& name, const Opening& how,
                                        Messages& messages)
{
    avformat_network_init();
    if (address == kStandardInput && isatty(STDIN_FILENO))
        throw HostError(kExitUsage, "the standard input is a terminal; a media file is to be piped into it");

    AVFormatContext* opened = avformat_alloc_context();
    if (!opened)
        throw std::bad_alloc();
    opened->interrupt_callback = how.stop;
    messages.TakeMediaError();
    const int result = avformat_open_input(&opened, address.c_str(), how.format, how.options);
    if (result < 0) // the context is gone by now
        throw HostError(kExitInput, Format("can't open %s: %s", name.c_str(), ErrorText(result).c_str()));
    LibavOwned<AVFormatContext> container(opened);

    // Any text file would pass as a picture of itself.
    if (std::strcmp(container->iformat->name, "tty") == 0)
        throw HostError(kExitInput, Format("can't open %s: it's a text", name.c_str()));
    return container;
}

void FindStreams(AVFormatContext& container, const std::string& name)
{
    if (container.iformat->flags & AVFMT_TS_DISCONT)
        container.max_analyze_duration = kProbeOfTransportStream;
    const int probed = avformat_find_stream_info(&container, nullptr);
    if (probed < 0 && !InterruptSignal())
        throw HostError(kExitInput, Format("can't read %s: %s", name.c_str(), ErrorText(probed).c_str()));
}

} // namespace host
