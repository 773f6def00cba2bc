// References on host values: taking them and giving them back.
//
// Every reference of the library's own is given back through here. What the host throws meanwhile is told like any
// native exception, and the caller goes on with whatever else it has to release.
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

// Gives back the reference that came with a value: a result of the host, or what AddReference answered. Null has none.
inline void Release(REALstringStruct *string)
{
    if (string != nullptr) Releasing([=] { REALUnlockString(string); });
}
inline void Release(REALobjectStruct *object)
{
    if (object != nullptr) Releasing([=] { REALUnlockObject(object); });
}

// Keep a value that may be null, and give back what was kept. A host that can't add a reference has no counts: there
// the value is kept as it is, and giving it back does nothing. Result: the value.
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
