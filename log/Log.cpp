#include "encmgr/Log.h"

#include "log/CatchAll.h"
#include "log/ForkSafe.h"
#include "log/WideFormat.h"
#include "text/Utf.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <unistd.h>

namespace
{

// A sink that logs receives its own lines too, but only this deep; deeper ones go to the standard error
// stream, so that a sink that logs for each line comes to an end.
constexpr int kMaxSinkDepth = 4;

struct SinkState {
    // Held during a sink's call: sinks see one line at a time, and none after KXLogSetSink has replaced them.
    // Recursive, as a sink may log or replace itself.
    std::recursive_mutex mutex;
    KXLogSink pfnSink = nullptr;
    void* pContext = nullptr;
    int depth = 0;
};

// One sink's call.
struct Deeper {
    explicit Deeper(int& depth) : m_depth(++depth) {}
    ~Deeper() { --m_depth; }
    Deeper(const Deeper&) = delete;
    Deeper& operator=(const Deeper&) = delete;
    int& m_depth;
};

struct TraceState {
    std::recursive_mutex mutex; // held during a sink's call
    KXTraceSink pfnSink = nullptr;
    void* pContext = nullptr;
    bool isInSink = false;
};

// Where the program was started without an error stream, the descriptor soon belongs to a file.
const bool g_hasErrorStream = fcntl(STDERR_FILENO, F_GETFD) != -1;

// Never destroyed: destructors of static objects may log.
SinkState& State()
{
    static SinkState& state = *new SinkState;
    [[maybe_unused]] static const bool isKept = KeepOverForks<State>();
    return state;
}

TraceState& Traces()
{
    static TraceState& state = *new TraceState;
    [[maybe_unused]] static const bool isKept = KeepOverForks<Traces>();
    return state;
}

// The line as UTF-8: one newline at the end, and within the text for each "\r\n".
std::pmr::string StreamText(LineMemory& memory, const wchar_t* pszText)
{
    std::pmr::wstring text(pszText, memory.Resource());
    text.erase(text.find_last_not_of(L"\r\n") + 1);
    for (size_t at = 0; (at = text.find(L"\r\n", at)) != std::wstring::npos;)
        text.erase(at, 1);
    text += L'\n';
    ReplaceNonUnicode(text);

    std::pmr::string utf8(memory.Resource());
    utf8.reserve(text.size() + 1);
    for (const wchar_t unit : text) {
        char bytes[5] = {}; // no character takes more than 4
        WtoUTF8(&unit, 1, bytes, 4, false);
        utf8 += bytes;
    }
    return utf8;
}

void WriteToStream(const wchar_t* pszText)
{
    if (!g_hasErrorStream)
        return;
    LineMemory memory;
    const std::pmr::string text = StreamText(memory, pszText);
    for (size_t written = 0; written < text.size();) {
        const ssize_t result = write(STDERR_FILENO, text.data() + written, text.size() - written);
        if (result > 0)
            written += static_cast<size_t>(result);
        else if (result == 0 || errno != EINTR)
            return;
    }
}

void Log(const wchar_t* pszText)
{
    SinkState& state = State();
    const std::lock_guard lock(state.mutex);
    if (!state.pfnSink || state.depth >= kMaxSinkDepth) {
        WriteToStream(pszText);
        return;
    }
    const Deeper deeper(state.depth);
    state.pfnSink(state.pContext, pszText);
}

// What becomes of a line when memory runs out, or the sink throws.
void Lose(const char*) {}

} // namespace

void KXLog(const wchar_t* pszText)
{
    if (pszText)
        CatchAll([pszText] { Log(pszText); }, Lose);
}

void KXLogEx(const wchar_t* pszFormat, ...)
{
    if (!pszFormat)
        return;
    va_list args;
    va_start(args, pszFormat);
    const auto format = [&] {
        LineMemory memory;
        Log(FormatWide(memory, pszFormat, args).c_str());
    };
    CatchAll(format, Lose);
    va_end(args);
}

void KXLogSetSink(KXLogSink pfnSink, void* pContext)
{
    SinkState& state = State();
    const std::lock_guard lock(state.mutex);
    state.pfnSink = pfnSink;
    state.pContext = pContext;
}

void KXTraceImage(const tagBITMAPINFOHEADER* pHeader, const unsigned char* pBits)
{
    TraceState& state = Traces();
    const std::lock_guard lock(state.mutex);
    if (!state.pfnSink || state.isInSink)
        return;
    state.isInSink = true;
    CatchAll([&] { state.pfnSink(state.pContext, pHeader, pBits); }, Lose);
    state.isInSink = false;
}

void KXTraceSetSink(KXTraceSink pfnSink, void* pContext)
{
    TraceState& state = Traces();
    const std::lock_guard lock(state.mutex);
    state.pfnSink = pfnSink;
    state.pContext = pContext;
}
