#include "Host/Runtime/Entries.h"

#include "Host/Runtime/Host.h"

#include <stdexcept>

namespace host {

Entries AllEntries()
{
    Entries entries;
#define HOST_CALL_AS(result, operation, parameters, arguments, entryName)                                              \
    entries[entryName] = reinterpret_cast<void *>(Provided<entry::operation, entry::operation##Name>::Call);
#include "Host/Runtime/EntryRows.inc"
    return entries;
}

void *Resolve(const char *name)
{
    const Entries &entries = Host::Current().entries;
    auto found = entries.find(name);
    return found != entries.end() ? found->second : nullptr;
}

void Faults::FailEntry(long nth, bool throwing)
{
    throws = throwing;
    countdown = nth;
    failed = nullptr;
}

bool Faults::Hit(const char *name, bool canFail)
{
    Faults &faults = Host::Current().faults;
    if (faults.countdown == 0 || !(canFail || faults.throws) || --faults.countdown != 0) return false;
    faults.failed = name;
    if (faults.throws) throw std::runtime_error(name);
    return true;
}

} // namespace host
