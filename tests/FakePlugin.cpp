// The fake plug-in: a shim that asks the test program, by its own file name, for what it offers.
#include "encmgr/Export.h"
#include "encmgr/PluginRecords.h"

#include <cstring>
#include <dlfcn.h>

namespace
{

char g_szFile[4096];

template <class Result, class... Args> Result CallProgram(const char* pszFunction, Args... args)
{
    return reinterpret_cast<Result (*)(const char*, Args...)>(dlsym(RTLD_DEFAULT, pszFunction))(g_szFile, args...);
}

__attribute__((constructor)) void Loaded()
{
    Dl_info info;
    if (dladdr(g_szFile, &info))
        std::strncpy(g_szFile, info.dli_fname, sizeof(g_szFile) - 1);
    CallProgram<void>("FakeTrace", "load");
}

__attribute__((destructor)) void Unloaded()
{
    CallProgram<void>("FakeTrace", "unload");
}

} // namespace

extern "C" {

#ifdef FAKE_ENCODERS
ENCMGR_API const ENCODER_ITEM* GetEncoders(void);
const ENCODER_ITEM* GetEncoders(void)
{
    return CallProgram<const ENCODER_ITEM*>("FakeGetEncoders");
}
#endif

#ifdef FAKE_FORMATS
ENCMGR_API const FILEFORMAT_ITEM* GetFileFormats(void);
const FILEFORMAT_ITEM* GetFileFormats(void)
{
    return CallProgram<const FILEFORMAT_ITEM*>("FakeGetFileFormats");
}
#endif
}
