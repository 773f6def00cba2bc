#include "Host/Runtime/Entries.h"

#include "Host/Runtime/Host.h"

#include <algorithm>
#include <cstring>

namespace host {
namespace {

#define PROVIDED(operation) &Provided<entry::operation, entry::operation##Name>::entry
#define PROVIDED_ARRAY_FIXED(type) PROVIDED(REALGetArrayValue##type), PROVIDED(REALSetArrayValue##type)
#define PROVIDED_ARRAY_ELEMENT(type) PROVIDED_ARRAY_FIXED(type), PROVIDED(REALInsertArrayValue##type)

// What this host has, in the order and groups of the library's table.
Entry *const entries[] = {
    // start-up
    PROVIDED(REALGetRBVersion), PROVIDED(RegisterPluginVersion),
    // registration
    PROVIDED(REALRegisterClass), PROVIDED(REALRegisterModule), PROVIDED(REALRegisterMethod),
    // strings and text
    PROVIDED(REALLockString), PROVIDED(REALUnlockString), PROVIDED(REALGetStringData), PROVIDED(REALDisposeStringData),
    PROVIDED(originalREALBuildString), PROVIDED(REALBuildStringWithEncoding), PROVIDED(REALGetStringEncoding),
    PROVIDED(REALConvertString), PROVIDED(REALSetStringEncoding), PROVIDED(REALAddStrings), PROVIDED(REALGetTextData),
    PROVIDED(REALDisposeTextData), PROVIDED(StringGetCString),
    // objects, classes and properties
    PROVIDED(REALLockObject), PROVIDED(REALUnlockObject), PROVIDED(REALnewInstance), PROVIDED(CreateInstance),
    PROVIDED(REALGetClassRef), PROVIDED(REALObjectIsA), PROVIDED(REALLoadObjectMethod), PROVIDED(REALLoadGlobalMethod),
    PROVIDED(REALGetPropValueString), PROVIDED(REALSetPropValueString), PROVIDED(REALGetPropValueInteger),
    PROVIDED(REALSetPropValueInteger), PROVIDED(GetEventInstance),
    // memory blocks
    PROVIDED(REALMemoryBlockGetPtr), PROVIDED(REALMemoryBlockGetSize), PROVIDED(REALPtrToMemoryBlock),
    // arrays
    PROVIDED(REALCreateArray), PROVIDED(REALGetArrayUBound), PROVIDED(REALGetArrayInt), PROVIDED(REALGetArrayString),
    PROVIDED(REALGetArrayObject), PROVIDED_ARRAY_FIXED(Color), PROVIDED_ARRAY_ELEMENT(Integer),
    PROVIDED_ARRAY_ELEMENT(UInteger), PROVIDED_ARRAY_ELEMENT(Boolean), PROVIDED_ARRAY_FIXED(Currency),
    PROVIDED_ARRAY_ELEMENT(Int64), PROVIDED_ARRAY_ELEMENT(Int32), PROVIDED_ARRAY_ELEMENT(Int16),
    PROVIDED_ARRAY_ELEMENT(Int8), PROVIDED_ARRAY_ELEMENT(UInt64), PROVIDED_ARRAY_ELEMENT(UInt32),
    PROVIDED_ARRAY_ELEMENT(UInt16), PROVIDED_ARRAY_ELEMENT(UInt8), PROVIDED_ARRAY_ELEMENT(Single),
    PROVIDED_ARRAY_ELEMENT(Double), PROVIDED_ARRAY_ELEMENT(String), PROVIDED_ARRAY_ELEMENT(Text),
    PROVIDED_ARRAY_ELEMENT(Object),
    // background tasks
    PROVIDED(REALRegisterBackgroundTask), PROVIDED(REALUnregisterBackgroundTask),
    // exceptions, protected calls and environment
    PROVIDED(REALRaiseException), PROVIDED(PluginCallFunctionWithExceptionHandler), PROVIDED(REALinRuntime)};

} // namespace

void Faults::FailEntry(long nth, bool throwing)
{
    throws = throwing;
    countdown = nth;
    failed = nullptr;
}

bool HitByFault(const char *name)
{
    return Host::Current().faults.Hits(name);
}

void *Resolve(const char *name)
{
    Entry *entry = FindEntry(name);
    return entry != nullptr && !entry->missing ? entry->function : nullptr;
}

Entry *FindEntry(std::string_view name)
{
    auto found =
        std::find_if(std::begin(entries), std::end(entries), [&](Entry *entry) { return name == entry->name; });
    return found != std::end(entries) ? *found : nullptr;
}

std::vector<Entry *> AllEntries()
{
    return {std::begin(entries), std::end(entries)};
}

void ResetEntries()
{
    for (Entry *entry : entries)
        *entry = {entry->name, entry->function};
}

} // namespace host
