// Lua's memory, with the blocks of datagrams at hand.
//
// The C library keeps small blocks ready, but merges and splits the larger ones at each release and allocation. Here a
// released one waits for the next of its size, a power of two. All come from malloc.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace host {

class Blocks {
  public:
    Blocks() = default;
    Blocks(const Blocks &) = delete;
    Blocks &operator=(const Blocks &) = delete;
    ~Blocks()
    {
        for (auto &kind : waiting) {
            while (kind != nullptr)
                std::free(std::exchange(kind, kind->next));
        }
    }

    // As realloc, told the old size; a size of 0 releases.
    void *Resize(void *block, std::size_t oldSize, std::size_t size)
    {
        if (block == nullptr && Waits(size)) {
            auto &kind = waiting[Kind(size)];
            if (kind != nullptr) return std::exchange(kind, kind->next);
        }
        if (size != 0) return std::realloc(block, Waits(size) ? std::bit_ceil(size) : size);
        if (block != nullptr && Waits(oldSize)) {
            auto &kind = waiting[Kind(oldSize)];
            kind = new (block) Waiting{kind};
        } else {
            std::free(block);
        }
        return nullptr;
    }

  private:
    struct Waiting {
        Waiting *next;
    };

    static constexpr std::size_t smallest = 1025, largest = 16 * 1024;

    static bool Waits(std::size_t size) { return size >= smallest && size <= largest; }
    static std::size_t Kind(std::size_t size) { return std::bit_width(size - 1) - std::bit_width(smallest - 1); }

    std::array<Waiting *, 4> waiting{}; // blocks of 2, 4, 8 and 16 KB
};

} // namespace host
