// The entries of the host: what the resolver hands out by name.
//
// The prototypes come from the library's own table of host operations, so a definition of another type does
// not compile. Entries.cpp has the table of those that this host provides; the definitions are
// in the files of their subjects, as host::entry::<operation>.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace host {

namespace entry {

#define HOST_CALL_AS(result, operation, parameters, arguments, entryName)                                              \
    result operation parameters;                                                                                       \
    inline constexpr char operation##Name[] = entryName;
#define HOST_CALL(result, operation, parameters, arguments)                                                            \
    HOST_CALL_AS(result, operation, parameters, arguments, #operation)
#define HOST_CALL_OR(missing, result, operation, parameters, arguments, entryName)                                     \
    HOST_CALL_AS(result, operation, parameters, arguments, entryName)
#define HOST_YES_NO_AS(operation, parameters, arguments, entryName)                                                    \
    HOST_CALL_AS(unsigned long, operation, parameters, arguments, entryName)
#define HOST_YES_NO(operation, parameters, arguments) HOST_YES_NO_AS(operation, parameters, arguments, #operation)
#define HOST_YES_NO_WORD_AS(operation, parameters, arguments, entryName)                                               \
    HOST_YES_NO_AS(operation, parameters, arguments, entryName)
#define HOST_YES_NO_WORD(operation, parameters, arguments) HOST_YES_NO(operation, parameters, arguments)
#define HOST_ENTRY(result, operation, parameters, entryName) HOST_CALL_AS(result, operation, parameters, (), entryName)
#define HOST_ARRAY_FIXED(type, element)                                                                                \
    HOST_CALL_AS(void *, REALGetArrayValue##type, (void *array, long index, element *out), (),                         \
                 "Plugin" #type "ArrayGetProc")                                                                        \
    HOST_CALL_AS(void *, REALSetArrayValue##type, (void *array, long index, element value), (),                        \
                 "Plugin" #type "ArraySetProc")
#define HOST_ARRAY_ELEMENT(type, element)                                                                              \
    HOST_ARRAY_FIXED(type, element)                                                                                    \
    HOST_CALL_AS(void *, REALInsertArrayValue##type, (void *array, long index, element value), (),                     \
                 "Plugin" #type "ArrayInsertProc")
#include "Source/SDK/GlueCode/HostOperations.inc"
#include "Source/SDK/GlueCode/HostOperationsEnd.inc"

// Start-up asks for these two itself.
double REALGetRBVersion();
inline constexpr char REALGetRBVersionName[] = "REALGetRBVersion";
void RegisterPluginVersion(int sdkVersion);
inline constexpr char RegisterPluginVersionName[] = "RegisterPluginVersion";

} // namespace entry

struct Entry {
    const char *name;
    void *function;
    bool missing = false;
};

// Failures on demand.
class Faults {
  public:
    // The nth call from now on that has a result gives null, 0 or false instead of doing its work, or throws a
    // std::runtime_error. Calls without a result can't fail. 0: none.
    void FailEntry(long nth, bool throwing = false);

    // The name of the entry that failed; null while none has.
    const char *Failed() const { return failed; }

    // True when this call is the one to fail.
    bool Hits(const char *name)
    {
        if (countdown == 0 || --countdown != 0) return false;
        failed = name;
        if (throws) throw std::runtime_error(name);
        return true;
    }

  private:
    long countdown = 0;
    bool throws = false;
    const char *failed = nullptr;
};

// The host's answer to a plugin; null for an entry that it has not, or is told not to have.
void *Resolve(const char *name);

// Every entry that is provided, in the order of the table.
std::vector<Entry *> AllEntries();

// Null when there is none of that name.
Entry *FindEntry(std::string_view name);

// All entries there, nothing called.
void ResetEntries();

// A function that lets the faults decide first whether the call takes place. What the host runs out of memory
// for is missing too.
template <auto function, const char *name>
struct Provided;

bool HitByFault(const char *name);

template <typename Result, typename... Arguments, Result (*function)(Arguments...), const char *name>
struct Provided<function, name> {
    static Result Call(Arguments... arguments)
    {
        if constexpr (!std::is_void_v<Result>) {
            if (HitByFault(name)) return Result();
        }
        try {
            return function(arguments...);
        } catch (const std::bad_alloc &) {
            return Result();
        }
    }

    static inline Entry entry{name, reinterpret_cast<void *>(&Call)};
};

} // namespace host
