// The C library's allocator, with every block at a multiple of 64.
//
// The address of a payload or a receive buffer decides how long a system call on it takes: at some places in a page, up
// to three times as long as at others. Blocks whose sizes are multiples of 64 keep all later addresses at multiples of
// 64, the same for everything that is compared.
#include <cstdint>
#include <cstdlib>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
}

static constexpr std::size_t kLine = 64;
static constexpr std::size_t kHeader = 8; // before each block, included in its size

static std::size_t Rounded(std::size_t size)
{
    return (size + kHeader + kLine - 1) / kLine * kLine - kHeader;
}

// Fills the heap with small blocks, which stay, up to the first multiple of 64.
static bool Align()
{
    constexpr std::size_t kSmallest = 32;
    std::uintptr_t next;
    do {
        next = reinterpret_cast<std::uintptr_t>(__libc_malloc(1)) + kSmallest;
    } while (next % kLine != 0);
    return true;
}

[[gnu::noinline]] static void AlignOnce()
{
    static bool aligned = false;
    if (!aligned) aligned = Align();
}

extern "C" void *malloc(std::size_t size)
{
    AlignOnce();
    return __libc_malloc(Rounded(size));
}

extern "C" void *calloc(std::size_t count, std::size_t size)
{
    AlignOnce();
    std::size_t bytes;
    if (__builtin_mul_overflow(count, size, &bytes)) return nullptr;
    return __libc_calloc(1, Rounded(bytes));
}

extern "C" void *realloc(void *block, std::size_t size)
{
    AlignOnce();
    return __libc_realloc(block, Rounded(size));
}
