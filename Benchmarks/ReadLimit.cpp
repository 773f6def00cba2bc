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

// Two loads a turn: with one, counting would take longer than loading. The last 32 bytes may overlap those before.
__attribute__((target("avx2"))) static bool AnyTopBitAVX2(const char *data, std::size_t count)
{
    constexpr std::size_t kWidth = 32;
    __m256i first = Load(data + count - kWidth), second = {};
    for (; count >= 2 * kWidth; data += 2 * kWidth, count -= 2 * kWidth) {
        first |= Load(data);
        second |= Load(data + kWidth);
    }
    if (count >= kWidth) second |= Load(data);
    return _mm256_movemask_epi8(first | second) != 0;
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
