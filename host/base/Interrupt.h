// Ctrl-C and its like: the job in work is brought to a good end first.
#ifndef ENCMGR_HOST_INTERRUPT_H
#define ENCMGR_HOST_INTERRUPT_H

namespace host
{

// From here on the first SIGINT, SIGTERM or SIGHUP is only noted, and blocking reads return early; a second one, of any
// of the three, ends the program at once, unless it comes so soon that it belongs to the first. SIGPIPE and SIGXFSZ are
// ignored: the write fails instead.
void CatchInterrupts();

// The signal that came, 0 if none.
int InterruptSignal();

} // namespace host

#endif // ENCMGR_HOST_INTERRUPT_H
