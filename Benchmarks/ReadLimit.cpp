#include "Benchmarks/ReadLimit.h"

#include <cstdint>
#include <cstring>

static bool AnyTopBitWords(const char *data, std::size_t count)
{
    std::uint64_t joined = 0, word;
    for (; count >= sizeof word; data += sizeof word, count -= sizeof word) {
        std::memcpy(&word, data, sizeof word);
        joined |= word;
    }
    for (; count > 0; data++, count--)
        joined |= static_cast<std::uint64_t>(static_cast<unsigned char>(*data));
    return (joined & 0x8080808080808080) != 0;
}

#if defined(__x86_64__)

#include <immintrin.h>

__attribute__((target("avx2"))) static __m256i Load(const char *data)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(data));
}

// One load a turn, as the compiler makes of a plain loop. The last 32 bytes may overlap those before.
__attribute__((target("avx2"))) static bool AnyTopBitAVX2(const char *data, std::size_t count)
{
    constexpr std::size_t kStep = 32;
    __m256i joined = Load(data + count - kStep);
    for (; count >= kStep; data += kStep, count -= kStep)
        joined |= Load(data);
    return _mm256_movemask_epi8(joined) != 0;
}

bool AnyTopBit(const char *data, std::size_t count)
{
    static const bool wide = __builtin_cpu_supports("avx2");
    return wide && count >= 32 ? AnyTopBitAVX2(data, count) : AnyTopBitWords(data, count);
}

#else

bool AnyTopBit(const char *data, std::size_t count)
{
    return AnyTopBitWords(data, count);
}

#endif
