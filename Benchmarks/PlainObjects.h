// The plain host's objects.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

#include <cstddef>

namespace bench {

struct Class {
    REALclassDefinition *definition;
    void (*destructor)(REALobjectStruct *); // its method of that name, or null
};

constexpr std::int64_t kBlockOffset = 48; // of the instance data, from the handle

// The count of references is where arrays have it.
struct Value {
    const Class *type;
    void (*dataHandler)(REALobjectStruct *);
    void *unused;
    long references;
};
static_assert(offsetof(Value, references) == 24 && sizeof(Value) <= kBlockOffset);

// One reference for the caller; no constructor runs.
REALobjectStruct *NewInstance(const Class &type);

// Null for a name that no class has.
const Class *FindClass(const char *name);

extern REALclassDefinition arrayClass; // defined with the arrays

} // namespace bench
