// Failures that programs see: host exceptions of named classes, with a message and an error number.
//
// Raising returns: the host throws in the program's code once the operation that raised is back. So
// every caller returns its neutral value at once. No native exception reaches the host (Guarded), but for one that
// the host itself throws while it is told of another.
#pragma once

#include "Inlined.h"
#include "Source/SDK/GlueCode/HostTypes.h"

#include <cxxabi.h>
#include <exception>

// Raises an exception of that class; "RuntimeException" where the host does not know it, nothing where
// the host knows not even that. The message stays the caller's; null is an empty one.
void RaiseException(const char *className, REALstringStruct *message, long errorNumber);
void RaiseException(const char *className, REALstringStruct *message);

// The message in three pieces.
void RaiseException(const char *className, REALstringStruct *part1, REALstringStruct *part2, REALstringStruct *part3);
void RaiseException(const char *className, const char *part1, const char *part2, const char *part3,
                    unsigned int encoding);

// The message as text. It is taken as UTF-8 whatever the encoding says, which for ASCII is the same.
void RaiseException(const char *className, const char *message, unsigned int encoding, long errorNumber);
void RaiseException(const char *className, const char *message, unsigned int encoding);
void RaiseException(const char *className, const char *message);

// "OutOfBoundsException" for a parameter that is not between `minimum` and `end` - 1. Null names are
// printed as "?" and left out.
void RaiseOutOfBoundsException(long value, long minimum, long end, const char *parameterName, const char *methodName);

// The host exception that fits a native one.
void RaiseRuntimeException(const std::exception &error);

// The host exception for a native one of no known type.
void RaiseUnnamedException();

// Raises what fits the native exception that is being handled, which is not the unwinding of a cancelled thread. One
// that is thrown while this runs is not caught again: telling of it would throw once more, without end.
void RaiseCaughtException();

// Runs the body of an operation that the host calls; a native exception becomes a host exception and
// the result is the neutral value of its type.
template <typename Body>
INLINED inline auto Guarded(Body body) -> decltype(body())
{
    try {
        return body();
    } catch (const abi::__forced_unwind &) {
        throw; // a thread that is cancelled
    } catch (...) {
        RaiseCaughtException();
    }
    return decltype(body())();
}
