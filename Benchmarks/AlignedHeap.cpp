// The C library's allocator, with every block at a multiple of 64.
//
// Where a payload or a receive buffer begins decides what a system call on it costs: some places in a page are up to
// three times as slow as others. Blocks of sizes that are multiples of 64 keep the addresses of all that follow alike,
// for whatever is compared.
#include <cstdint>
#include <cstdlib>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
}

static constexpr std::size_t kLine = 64;
static constexpr std::size_t kHeader = 8; // before each block, and part of its size

static std::size_t Rounded(std::size_t size)
{
    return (size + kHeader + kLine - 1) / kLine * kLine - kHeader;
}

// Small blocks fill the heap up to the first place of that kind. They stay.
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
