// Objects: their instance blocks and their lives.
//
// An object is a header, a gap and the cleared instance block at the place its class says. When the last
// reference goes, a method named "Destructor" runs and then the destructor of the definition, from the class
// up to its superclasses; an object that dies can be locked and unlocked, but it dies once.
#pragma once

#include "Host/Runtime/Classes.h"
#include "Host/Runtime/Ledger.h"

namespace host {

// One reference for the caller; no constructor runs. Null when there is no memory.
REALobjectStruct *NewInstance(const Class &type);

void Release(REALobjectStruct *object);

// Removes one reference of a value of any kind, and ends the value with the last one. Does nothing for nil or Dead.
void Release(const void *handle, Kind kind, const char *operation);

// Null, with an error recorded, unless this is a living object.
const Class *ClassOf(const REALobjectStruct *object, const char *operation);

// The block of this class in the object, which must be of that class.
void *InstanceBlock(REALobjectStruct *object, const Class &type);

} // namespace host
