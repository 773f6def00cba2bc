// References on host values: taking them and giving them back.
//
// The library releases its references here and nowhere else. A native exception of the host is told as in any
// operation, and the caller goes on with its other releases.
#pragma once

#include "Source/SDK/GlueCode/HostOperations.h"
#include "rbException.h"

// Runs a step of a release.
template <typename Body>
inline void Releasing(Body body)
{
    try {
        body();
    } catch (...) {
        RaiseReleaseException();
    }
}

// Releases the reference that came with a result of the host, or that AddReference added. Null has none.
inline void Release(REALstringStruct *string)
{
    if (string != nullptr) Releasing([=] { REALUnlockString(string); });
}
inline void Release(REALobjectStruct *object)
{
    if (object != nullptr) Releasing([=] { REALUnlockObject(object); });
}

// Keep a value that may be null, and release a kept one. Where the host can't add a reference, the value is kept
// without one, and its release does nothing. Result: the value.
inline REALstringStruct *Keep(REALstringStruct *string)
{
    if (string != nullptr) REALLockString(string);
    return string;
}
inline REALobjectStruct *Keep(REALobjectStruct *object)
{
    if (object != nullptr) REALLockObject(object);
    return object;
}
template <typename Value>
inline void ReleaseKept(Value *value)
{
    Releasing([=] { RemoveReference(value); });
}
