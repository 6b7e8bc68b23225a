// The two ways in which "encmgr probe" tells what an input is.
#ifndef ENCMGR_HOST_PROBE_H
#define ENCMGR_HOST_PROBE_H

#include "host/base/Json.h"
#include "host/sources/InputFacts.h"

namespace host
{

// Lines for people.
std::string ProbeText(const InputFacts& facts);

// For programs; docs/probe.md lists the members. What isn't known is null.
Json ProbeJson(const InputFacts& facts);

} // namespace host

#endif // ENCMGR_HOST_PROBE_H
