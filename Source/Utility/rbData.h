// Byte views of host values, and the guard that releases values at the end of a scope.
//
// A view holds a reference on its host value, so that the bytes stay where they are.
#pragma once

#include "rbReference.h"

#include <cstdint>
#include <utility>

// Releases the values of two variables when the scope ends, and sets them to null. Either address may be null, and
// either variable.
class rbFreeLater {
  public:
    rbFreeLater(REALobjectStruct **object, REALstringStruct **string) : objectPlace(object), stringPlace(string) {}
    explicit rbFreeLater(REALobjectStruct **object) : rbFreeLater(object, nullptr) {}
    explicit rbFreeLater(REALstringStruct **string) : rbFreeLater(nullptr, string) {}
    rbFreeLater(const rbFreeLater &) = delete;
    rbFreeLater &operator=(const rbFreeLater &) = delete;
    INLINED ~rbFreeLater() noexcept(false)
    {
        if (objectPlace != nullptr) Release(std::exchange(*objectPlace, nullptr));
        if (stringPlace != nullptr) Release(std::exchange(*stringPlace, nullptr));
    }

  private:
    REALobjectStruct **objectPlace;
    REALstringStruct **stringPlace;
};

// The bytes of a host string, a memory block or a plain buffer, or a part of them. Where the data are null, the size is
// 0.
class rbData {
  public:
    rbData(const void *bytes, std::uint64_t byteCount);
    explicit rbData(REALstringStruct *s);

    // `length` bytes of the block from `offset` on; length 0 is all that follows. The view never reaches
    // past the block's end.
    rbData(REALmemoryBlockStruct *m, std::uint64_t offset, std::uint64_t length);
    rbData(const rbData &) = delete;
    rbData &operator=(const rbData &) = delete;
    ~rbData() noexcept(false)
    {
        clear();
        Clear();
    }

    void Clear(); // forgets everything and releases nothing
    void leak();  // forgets the host value: its reference belongs to whoever has the handle
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

// Views on the heap, for chains; null when there is no memory. Nothing here needs chains. They are part of the layer
// that plugin code may count on.
rbData *NewData(REALstringStruct *s);
rbData *NewData(REALmemoryBlockStruct *m, std::uint64_t offset, std::uint64_t length);

// A chain of views, the newest first. The chain owns its views until FreeDataChain.
void AddDataChain(rbData *&head, rbData *item);
// RecylceData finds the first view of that value, or null. The misspelt name is known outside and stays.
rbData *RecylceData(rbData *head, REALstringStruct *s);
rbData *RecylceData(rbData *head, REALmemoryBlockStruct *m);
void FreeDataChain(rbData *head);

// Whether all viewed bytes are 7-bit.
bool IsASCIIText(const rbData &view);
