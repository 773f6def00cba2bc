// Byte views of host values, the guard that releases them, and the memory blocks of the host.
//
// A view locks the host value it looks into for as long as it lives, so the bytes stay where they are.
#pragma once

#include "rbReference.h"

#include <cstdint>
#include <utility>

// Releases the object and the string that two variables hold when the scope ends, however it ends, and
// sets the variables to null. Either slot may be null, and either variable.
class rbFreeLater {
  public:
    rbFreeLater(REALobjectStruct **object, REALstringStruct **string) : objectSlot(object), stringSlot(string) {}
    explicit rbFreeLater(REALobjectStruct **object) : rbFreeLater(object, nullptr) {}
    explicit rbFreeLater(REALstringStruct **string) : rbFreeLater(nullptr, string) {}
    rbFreeLater(const rbFreeLater &) = delete;
    rbFreeLater &operator=(const rbFreeLater &) = delete;
    INLINED ~rbFreeLater()
    {
        if (objectSlot != nullptr) Release(std::exchange(*objectSlot, nullptr));
        if (stringSlot != nullptr) Release(std::exchange(*stringSlot, nullptr));
    }

  private:
    REALobjectStruct **objectSlot;
    REALstringStruct **stringSlot;
};

// A pointer and a length into the bytes of a host string, a memory block or a plain buffer. Null data
// goes with size 0 always.
class rbData {
  public:
    rbData(const void *bytes, std::uint64_t byteCount);
    explicit rbData(REALstringStruct *s);

    // `length` bytes of the block from `offset` on; length 0 is all that follows. The view never reaches
    // past the block's end.
    rbData(REALmemoryBlockStruct *m, std::uint64_t offset, std::uint64_t length);
    rbData(const rbData &) = delete;
    rbData &operator=(const rbData &) = delete;
    ~rbData()
    {
        clear();
        Clear();
    }

    void Clear(); // forgets everything and releases nothing
    void leak();  // forgets the host value: its lock now belongs to whoever took the handle
    void clear()  // releases the host value
    {
        if (string != nullptr) ReleaseKept(std::exchange(string, nullptr));
        if (memoryBlock != nullptr) ReleaseKept(AsObject(std::exchange(memoryBlock, nullptr)));
    }

    REALstringStruct *string;
    REALmemoryBlockStruct *memoryBlock;
    const void *data;
    std::uint64_t size;
    rbData *next; // the link of a chain

  private:
    rbData() { Clear(); }
    void FixSize();
};

// Views on the heap, for chains; null when there is no memory. No class of this plugin needs chains: they serve plugin
// code that hands several values to the system in one call.
rbData *NewData(REALstringStruct *s);
rbData *NewData(REALmemoryBlockStruct *m, std::uint64_t offset, std::uint64_t length);

// A chain of views, the newest first. The chain owns its views until FreeDataChain.
void AddDataChain(rbData *&head, rbData *item);
// RecylceData finds the first view of that value, or null; it is known by this misspelt name.
rbData *RecylceData(rbData *head, REALstringStruct *s);
rbData *RecylceData(rbData *head, REALmemoryBlockStruct *m);
void FreeDataChain(rbData *head);

// Whether all viewed bytes are 7-bit.
bool IsASCIIText(const rbData &view);
