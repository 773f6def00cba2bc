// The host's own classes: how their rows are written, the records of each file, and the calls that make objects of
// them.
#pragma once

#include "Host/Runtime/Classes.h"
#include "Source/SDK/GlueCode/RecordRows.h"

namespace host {

extern const std::span<REALclassDefinition> memoryBlockClasses; // MemoryBlock
extern const std::span<REALclassDefinition> exceptionClasses;   // RuntimeException and its subclasses
extern const std::span<REALclassDefinition> socketClasses;      // SocketCore, TCPSocket, UDPSocket
extern const std::span<REALclassDefinition> arrayClasses;       // every array is an object of this class
constexpr std::size_t arrayOffset = 56;                         // of an array's instance block

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
