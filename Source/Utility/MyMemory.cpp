#include "MyMemory.h"

#include <cstdint>
#include <cstring>

static constexpr std::size_t kSizeWord = sizeof(std::int64_t);

// A handle's first word.
static std::int64_t *SizeWord(char **h)
{
    return reinterpret_cast<std::int64_t *>(h);
}

void ClearMemory(void *p, std::size_t n)
{
    std::memset(p, 0, n);
}

void FillMemory(void *p, unsigned char value, std::size_t n)
{
    std::memset(p, value, n);
}

void MoveMemory(void *dst, const void *src, std::size_t n)
{
    std::memmove(dst, src, n);
}

void *AllocateClearMemory(long size)
{
    return size > 0 ? std::calloc(1, static_cast<std::size_t>(size)) : nullptr;
}

void FreeMemoryNow(const void *p)
{
    std::free(const_cast<void *>(p));
}

void *ReallocateMemory(void *p, long size)
{
    return std::realloc(p, static_cast<std::size_t>(size));
}

char **allocateHandle(long size)
{
    if (size < 0) return nullptr;
    auto h = static_cast<char **>(std::calloc(1, static_cast<std::size_t>(size) + kSizeWord));
    if (h != nullptr) *SizeWord(h) = size;
    return h;
}

long getHandleSize(char **h)
{
    return h != nullptr ? *SizeWord(h) : 0;
}

char *lockHandle(char **h)
{
    return h != nullptr ? reinterpret_cast<char *>(h) + kSizeWord : nullptr;
}

void unlockHandle(char **) {}

void freeHandle(char **h)
{
    std::free(h);
}

char **resizeHandle(char **h, long size)
{
    if (size < 0) {
        freeHandle(h);
        return nullptr;
    }
    auto resized = static_cast<char **>(std::realloc(h, static_cast<std::size_t>(size) + kSizeWord));
    if (resized != nullptr) *SizeWord(resized) = size;
    return resized;
}
