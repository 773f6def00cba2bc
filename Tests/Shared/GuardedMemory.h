// Memory that ends where it can't be touched, so that a read or a write past the end is a crash.
#pragma once

#include <cstddef>
#include <sys/mman.h>

class GuardedMemory {
  public:
    explicit GuardedMemory(std::size_t most) : size((most + kPage - 1) / kPage * kPage)
    {
        start = static_cast<unsigned char *>(
            mmap(nullptr, size + kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(start + size, kPage, PROT_NONE);
    }
    GuardedMemory(const GuardedMemory &) = delete;
    ~GuardedMemory() { munmap(start, size + kPage); }

    // The last `count` bytes.
    unsigned char *Last(std::size_t count) const { return start + size - count; }

  private:
    static constexpr std::size_t kPage = 4096;
    std::size_t size;
    unsigned char *start;
};
