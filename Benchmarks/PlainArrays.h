// The plain host's arrays.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

namespace bench {

extern REALclassDefinition arrayClass;

// Null for an entry that is none of arrays.
void *FindArrayEntry(const char *name);

// Whether arrays made from now on have headers in which the library does not recognise the layout.
void HideArrayLayout(bool hidden);

} // namespace bench
