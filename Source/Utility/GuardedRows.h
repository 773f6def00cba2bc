// The rows of the library's member tables. The host calls the guard of each function, which turns a native exception
// into a host exception (rbException.h).
#pragma once

#include "Source/SDK/GlueCode/RecordRows.h"
#include "rbException.h"

#define METHOD(text, function) UNGUARDED_METHOD(text, Guard<function>)
#define SHARED_METHOD(text, function) UNGUARDED_SHARED_METHOD(text, Guard<function>)

// The getter, and the setter if there is one.
#define COMPUTED(name, type, ...) Computed<__VA_ARGS__>(name, type)

template <auto get, auto set = nullptr>
consteval REALproperty Computed(const char *name, const char *type)
{
    return UnguardedProperty<Guard<get>, Guard<set>>(name, type);
}
