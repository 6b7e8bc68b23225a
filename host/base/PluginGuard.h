// An end of the program that the program itself hasn't chosen: a plug-in that calls exit() or crashes is named.
#ifndef ENCMGR_HOST_PLUGIN_GUARD_H
#define ENCMGR_HOST_PLUGIN_GUARD_H

namespace host
{

// From here to EndGuard, whoever calls exit(), _exit() or quick_exit() in this process ends it with kExitPluginEnd, and
// a crash ends it as always; before that the standard error stream is told of the plug-in, and the unfinished file goes
// (Termination.h). A debugger's or a sanitizer's own handlers of signals stay.
void GuardAgainstPlugins();
void EndGuard();

// The program's own way out at once, with nothing flushed.
[[noreturn]] void EndNow(int exitCode);

} // namespace host

#endif // ENCMGR_HOST_PLUGIN_GUARD_H
