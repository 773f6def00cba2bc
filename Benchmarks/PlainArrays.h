// The plain host's arrays.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

namespace bench {

extern REALclassDefinition arrayClass;

// Null unless this is an entry for arrays.
void *FindArrayEntry(const char *name);

// Makes headers of later arrays unrecognisable to the library, or recognisable again.
void HideArrayLayout(bool hidden);

} // namespace bench
