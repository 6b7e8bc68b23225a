// Calls into plug-ins.
#ifndef ENCMGR_SLOT_H
#define ENCMGR_SLOT_H

#include "encmgr/PluginRecords.h"
#include "log/CatchAll.h"

// Logs what a slot has thrown.
[[gnu::cold, gnu::noinline]] void ReportThrow(const char* pszSlot, KXDWORD dwFourCC, const char* pszCause);

// A slot of a plug-in's record, with what names it in the log. A slot that throws against the rules has failed, as the
// log says; it counts like any other failure of that slot.
template <class Function> class Slot
{
public:
    Slot(Function* pfn, const char* pszName, KXDWORD dwFourCC) : m_pfn(pfn), m_pszName(pszName), m_dwFourCC(dwFourCC) {}

    // The slot's result, 0 or null if it throws.
    template <class... Args> auto operator()(Args... args) const
    {
        using Result = decltype(m_pfn(args...));
        return CatchAll([&] { return m_pfn(args...); },
                        [this](const char* pszCause) {
                            ReportThrow(m_pszName, m_dwFourCC, pszCause);
                            return Result();
                        });
    }

    // Whether the slot comes back, whatever its result.
    template <class... Args> bool Completes(Args... args) const
    {
        return CatchAll([&] { return m_pfn(args...), true; },
                        [this](const char* pszCause) { return ReportThrow(m_pszName, m_dwFourCC, pszCause), false; });
    }

private:
    Function* m_pfn;
    const char* m_pszName;
    KXDWORD m_dwFourCC;
};

// The slot of an ENCODER_ITEM or FILEFORMAT_ITEM by its name.
#define SLOT_OF(item, slot) Slot((item).slot, #slot, (item).dwFourCC)

#endif // ENCMGR_SLOT_H
