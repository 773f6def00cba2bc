// Heap blocks from the C library. Without memory the result is null. Nothing here throws, knows the host or keeps
// state.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

void ClearMemory(void *p, std::size_t n);
void FillMemory(void *p, unsigned char value, std::size_t n);
void MoveMemory(void *dst, const void *src, std::size_t n); // the ranges may overlap

// A zero-filled block of `size` bytes for FreeMemoryNow; null for 0, a negative size or no memory.
void *AllocateClearMemory(long size);
void FreeMemoryNow(const void *p);
void *ReallocateMemory(void *p, long size);

// The owner of a block from AllocateClearMemory.
struct MemoryDeleter {
    void operator()(void *p) const { std::free(p); }
};
template <typename T>
using MemoryOwner = std::unique_ptr<T[], MemoryDeleter>;

template <typename T>
MemoryOwner<T> AllocateOwned(long size)
{
    return MemoryOwner<T>(static_cast<T *>(AllocateClearMemory(size)));
}

// Handles: blocks that know their size, which is in a 64-bit word before the data. Nothing here needs them. They are
// part of the layer that plugin code may count on.
char **allocateHandle(long size); // zero-filled; null for a negative size or no memory
long getHandleSize(char **h);     // 0 for null
char *lockHandle(char **h);       // the data; null for null
void unlockHandle(char **h);      // nothing to do: blocks don't move
void freeHandle(char **h);

// Changes the block's size and keeps its data. Result: the block, which may have moved; null after a negative size,
// which frees it, and without memory, when it stays as it was.
char **resizeHandle(char **h, long size);
