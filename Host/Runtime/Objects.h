// Objects: their instance blocks, their lives, their properties and their event handlers.
//
// An object is a header, a gap and the cleared instance block at the place its class says. When the last
// reference goes, the destructor of the definition runs and then a method named "Destructor", from the class
// up to its superclasses; an object that dies can be locked and unlocked, but it dies once.
#pragma once

#include "Host/Runtime/Classes.h"
#include "Host/Runtime/Ledger.h"

#include <functional>
#include <unordered_map>

namespace host {

using Handler = std::function<void(REALobjectStruct *)>;
using Word = std::int64_t; // a property's value: a number, a Boolean as 0 or 1, or a handle

// One reference for the caller; no constructor runs. Null when there is no memory.
REALobjectStruct *NewInstance(const Class &type);

void Lock(REALobjectStruct *object);
void Release(REALobjectStruct *object);

// Null, with an error recorded, for what is no living object.
const Class *ClassOf(const REALobjectStruct *object, const char *operation);

// The block of this class in the object, which must be of that class.
void *InstanceBlock(REALobjectStruct *object, const Class &type);

// Nothing to be released for numbers; a string or an object that is read carries a reference, one that is
// written is borrowed. Exceptions that an accessor raises stay pending. The object is null for a shared property.
Word ReadProperty(REALobjectStruct *object, const Property &property);
void WriteProperty(REALobjectStruct *object, const Property &property, Word value);

// A block that holds a copy of the bytes; one reference for the caller.
REALobjectStruct *NewMemoryBlock(const void *bytes, std::size_t count);

struct MemoryBlockView {
    unsigned char *data = nullptr;
    std::int64_t size = 0; // -1 for a block around a pointer, whose size is not known
};
MemoryBlockView ViewOf(REALobjectStruct *block);

// A host socket around a descriptor, which it closes when it dies; -1 for one that is not open.
REALobjectStruct *NewSocket(const char *className, int descriptor);

// The handlers of the program, by object and event.
class Events {
  public:
    // An empty handler takes the old one away. Throws std::invalid_argument for an event that the object has not.
    void SetHandler(REALobjectStruct *object, const std::string &event, Handler handler);

    // The function that fires the event on the object; null when the program does not handle it.
    void *Find(REALobjectStruct *object, const void *token);

    void Fire(REALobjectStruct *object, std::size_t number);
    void Forget(const REALobjectStruct *object) { handlers.erase(object); }

    long Fired() const { return fired; }

  private:
    std::unordered_map<const REALobjectStruct *, std::map<std::size_t, Handler>> handlers;
    long fired = 0;
};

} // namespace host
