// Rows for the member tables of a class: the declaration first, for it is the documentation.
#pragma once

#include "HostRecords.h"

#include <cstddef>

// A method and the function that serves it, which gets the object first (shared methods and global
// functions don't) and then the declared parameters.
#define METHOD(declaration, function)                                                                                  \
    {                                                                                                                  \
        reinterpret_cast<void *>(function), nullptr, declaration, kMethodFlags, 0, nullptr                             \
    }

// A property that functions read and write; without a setter it is read-only.
constexpr REALproperty Computed(const char *name, const char *type, PropertyGetter getter, PropertySetter setter = {})
{
    return {nullptr, name, type, kPropertyFlags, getter, setter, 0, nullptr, 0, nullptr, 0, nullptr};
}

// A property that the host reads and writes in the instance data itself, at this offset.
constexpr REALproperty Field(const char *name, const char *type, std::size_t offset)
{
    REALproperty property = Computed(name, type, kStandardAccessor, kStandardAccessor);
    property.parameter = static_cast<std::intptr_t>(offset);
    return property;
}

constexpr REALevent Event(const char *declaration)
{
    return {declaration, nullptr, 0, nullptr};
}

constexpr REALconstant Constant(const char *declaration)
{
    return {declaration, nullptr, nullptr, 0, nullptr};
}
