// The host's own classes: how their rows are written, the calls that make them known, and those that make objects of
// them.
#pragma once

#include "Host/Runtime/Classes.h"
#include "Source/SDK/GlueCode/RecordRows.h"

namespace host {

void AddMemoryBlockClass(Classes &classes); // MemoryBlock
void AddExceptionClasses(Classes &classes); // RuntimeException and its subclasses
void AddSocketClasses(Classes &classes);    // SocketCore, TCPSocket, UDPSocket
void AddArrayClass(Classes &classes);       // what arrays are objects of

// A memory block that holds a copy of the bytes; one reference for the caller.
REALobjectStruct *NewMemoryBlock(const void *bytes, std::size_t count);

struct MemoryBlockView {
    unsigned char *data = nullptr;
    std::int64_t size = 0; // -1 for a block around a pointer, whose size is not known
};
MemoryBlockView ViewOf(REALobjectStruct *block);

// A socket of the host's, TCPSocket or UDPSocket, around a descriptor, which it closes when it dies; -1 for one that
// is not open.
REALobjectStruct *NewSocket(const char *className, int descriptor);

} // namespace host
