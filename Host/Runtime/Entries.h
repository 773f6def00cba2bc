// The entries of the host: what the resolver hands out by name.
//
// The prototypes come from the library's own table of host operations, so a definition of another type does not
// compile. Each is defined as host::entry::<operation>, in the file of its subject; without one the host does not link.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

#include <map>
#include <new>
#include <string_view>
#include <type_traits>

namespace host {

namespace entry {

#define HOST_CALL_AS(result, operation, parameters, arguments, entryName)                                              \
    result operation parameters;                                                                                       \
    inline constexpr char operation##Name[] = entryName;
#include "Host/Runtime/EntryRows.inc"

} // namespace entry

using Entries = std::map<std::string_view, void *>; // functions by name

// All entries of this host.
Entries AllEntries();

// The answer of the current host to a plugin; null for an entry that it has not.
void *Resolve(const char *name);

// Failures on demand.
class Faults {
  public:
    // The nth call from now on throws a std::runtime_error, or, of the entries with a result, returns null, 0 or false.
    // 0: no call fails. A call that fails does nothing; only a release is done before it throws.
    void FailEntry(long nth, bool throwing = false);

    // The name of the entry that failed; null while none has.
    const char *Failed() const { return failed; }

    // True when this call to the current host is the one to fail. One that can't fail may throw.
    static bool Hit(const char *name, bool canFail);

  private:
    long countdown = 0;
    bool throws = false;
    const char *failed = nullptr;
};

// A function that first asks the faults whether the call takes place. A call for which the host has no memory fails in
// the same way. The failure of a function without a result can't be seen, except that of a constructor.
template <auto function, const char *name, bool isConstructor = false>
struct Provided;

template <typename Result, typename... Arguments, Result (*function)(Arguments...), const char *name,
          bool isConstructor>
struct Provided<function, name, isConstructor> {
    static Result Call(Arguments... arguments)
    {
        constexpr bool isRelease = std::string_view(name).find("Unlock") != std::string_view::npos ||
                                   std::string_view(name).find("Dispose") != std::string_view::npos ||
                                   std::string_view(name).find("Unregister") != std::string_view::npos;
        if constexpr (isRelease) function(arguments...);
        if (Faults::Hit(name, isConstructor || !std::is_void_v<Result>) || isRelease) return Result();
        try {
            return function(arguments...);
        } catch (const std::bad_alloc &) {
            return Result();
        }
    }
};

} // namespace host
