#include "encmgr/Log.h"
#include "log/ForkSafe.h"
#include "text/Utf.h"

#include <algorithm>
#include <climits>
#include <cwchar>
#include <mutex>
#include <string>
#include <unistd.h>

namespace
{

struct AppPathState {
    std::mutex mutex;
    bool isSet = false;
    std::wstring path;
};

// Never destroyed, like the log.
AppPathState& State()
{
    static AppPathState& state = *new AppPathState;
    [[maybe_unused]] static const bool isKept = KeepOverForks<State>();
    return state;
}

// Empty if it can't be told, or isn't UTF-8.
std::wstring ExecutableFolder()
{
    char szPath[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", szPath, sizeof(szPath)); // without a terminator
    std::string path(szPath, static_cast<size_t>(std::max<ssize_t>(length, 0)));
    path.erase(std::min(path.rfind('/'), path.size()));

    std::wstring wide(path.size() + 1, L'\0'); // a character has at least one byte
    if (UTF8toW(path.c_str(), -1, wide.data(), static_cast<int>(wide.size()), true) != conversionOK)
        return {};
    wide.resize(std::wcslen(wide.c_str()));
    return wide;
}

} // namespace

void GetAppPath(wchar_t* pszPath, int nMax)
{
    if (!pszPath || nMax < 0)
        return;
    AppPathState& state = State();
    const std::lock_guard lock(state.mutex);
    const std::wstring path = state.isSet ? state.path : ExecutableFolder();
    pszPath[path.copy(pszPath, static_cast<size_t>(nMax))] = 0;
}

void KXLogSetAppPath(const wchar_t* pszPath)
{
    AppPathState& state = State();
    const std::lock_guard lock(state.mutex);
    state.isSet = pszPath != nullptr;
    state.path = pszPath ? pszPath : L"";
    state.path.erase(state.path.find_last_not_of(L'/') + 1);
}
