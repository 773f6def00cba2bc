// The sum of 16-bit words: one implementation per instruction set. All give the same exact sum.
//
// The words are read in the machine's byte order at any alignment; an odd last byte is the first of a
// word whose second is 0.
#pragma once

#include <cstddef>
#include <cstdint>

std::uint64_t SumWordsPortable(const unsigned char *bytes, std::size_t count);
#if defined(__x86_64__)
std::uint64_t SumWordsSSE2(const unsigned char *bytes, std::size_t count);
std::uint64_t SumWordsAVX2(const unsigned char *bytes, std::size_t count);
#elif defined(__aarch64__)
std::uint64_t SumWordsNEON(const unsigned char *bytes, std::size_t count);
#endif
