// Failures that programs see: host exceptions of named classes, with a message and an error number.
//
// Raising returns: the host throws in the program's code once the operation that raised is back. So
// every caller returns its neutral value at once. No native exception reaches the host: the tables hand it the guards
// of their functions (Guard). What the host itself throws while it is told of another exception passes.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

#include <exception>

// Raises an exception of that class; "RuntimeException" where the host does not know it, nothing where
// the host knows not even that. The message stays the caller's; null is an empty one.
void RaiseException(const char *className, REALstringStruct *message, long errorNumber = 0);

// The message in three pieces.
void RaiseException(const char *className, REALstringStruct *part1, REALstringStruct *part2, REALstringStruct *part3);
void RaiseException(const char *className, const char *part1, const char *part2, const char *part3,
                    unsigned int encoding);

// The message as text. It is taken as UTF-8 whatever the encoding says, which for ASCII is the same.
void RaiseException(const char *className, const char *message, unsigned int encoding = kEncodingUTF8,
                    long errorNumber = 0);

// The message formatted as printf does, cut at 499 characters.
[[gnu::format(printf, 2, 3), gnu::cold]] void RaiseFormatted(const char *className, const char *format, ...);

// "OutOfBoundsException" for a parameter that is not between `minimum` and `end` - 1. Null names are
// printed as "?" and left out.
void RaiseOutOfBoundsException(long value, long minimum, long end, const char *parameterName, const char *methodName);

// The host exception that fits a native one.
void RaiseRuntimeException(const std::exception &error);

// Raises the host exception that fits the native one that is being handled. What is thrown meanwhile passes on, to end
// the recursion. So does the unwinding of a cancelled thread.
void RaiseCaughtException();

// The same for a native exception of a release. Only the unwinding of a cancelled thread passes on: other releases are
// still to be done, and no exception may leave a destructor.
void RaiseReleaseException();

// Marks functions that must be inlined, or their arguments would leave the registers. For a debugger they stay
// functions.
#if defined(__OPTIMIZE__)
#define INLINED [[gnu::always_inline]]
#else
#define INLINED
#endif

// Runs the body of an operation; a native exception becomes a host exception and the result is the neutral value of its
// type.
template <typename Body>
INLINED inline auto Guarded(Body body) -> decltype(body())
{
    try {
        return body();
    } catch (...) {
        RaiseCaughtException();
    }
    return decltype(body())();
}

// The guard of a function that the host calls, of the same type. It runs the function as Guarded runs a body. The guard
// of null is null.
template <auto function>
struct GuardOf;
template <typename Result, typename... Arguments, Result (*function)(Arguments...)>
struct GuardOf<function> {
    static Result Call(Arguments... arguments)
    {
        return Guarded([&] { return function(arguments...); });
    }
};
template <auto function>
inline constexpr auto Guard = GuardOf<function>::Call;
template <>
inline constexpr auto Guard<nullptr> = nullptr;
