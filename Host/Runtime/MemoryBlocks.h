// The class MemoryBlock: bytes on the heap, or a view of memory that belongs to someone else.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

#include <cstddef>
#include <cstdint>

namespace host {

// A block that holds a copy of the bytes; one reference for the caller.
REALobjectStruct *NewMemoryBlock(const void *bytes, std::size_t count);

struct MemoryBlockView {
    unsigned char *data = nullptr;
    std::int64_t size = 0; // -1 for a block around a pointer, whose size is not known
};
MemoryBlockView ViewOf(REALobjectStruct *block);

} // namespace host
