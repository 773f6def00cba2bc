// 7-bit bytes widened to units of 16 and 32 bits: one implementation per instruction set, and WidenASCII, which
// chooses.
#pragma once

#include <cstdint>
#include <cstring>

// The smallest step, in bytes: whether the next one is all 7-bit, and its widening. From a copy of the bytes, which
// can't overlap the output, the compiler makes a few vector operations.
constexpr long kWidenStep = 16;

inline bool IsASCIIStep(const unsigned char *text)
{
    std::uint64_t words[2];
    static_assert(sizeof words == kWidenStep);
    std::memcpy(words, text, sizeof words);
    return ((words[0] | words[1]) & 0x8080808080808080) == 0;
}

template <typename Unit>
void WidenStep(const unsigned char *text, Unit *out)
{
    unsigned char bytes[kWidenStep];
    std::memcpy(bytes, text, sizeof bytes);
    for (long i = 0; i < kWidenStep; i++)
        out[i] = bytes[i];
}

// Widens the leading 7-bit bytes of the text in whole steps, up to the first step with another byte. The output holds
// `count` units. Result: how many bytes were widened.
template <typename Unit>
long WidenASCII(const unsigned char *text, long count, Unit *out);

template <typename Unit>
long WidenASCIIPortable(const unsigned char *text, long count, Unit *out);
#if defined(__x86_64__)
template <typename Unit>
__attribute__((target("avx2"))) long WidenASCIIAVX2(const unsigned char *text, long count, Unit *out);
#endif
