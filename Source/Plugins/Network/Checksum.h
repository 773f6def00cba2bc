// The Internet checksum of RFC 1071.
#pragma once

#include <cstddef>
#include <cstdint>

// The checksum of `count` bytes, summed in 16-bit words as they lie in memory; an odd last byte is the
// first of its word. A count below 1 is an empty input. Exact up to 131,072 bytes; a longer input's sum
// is folded just twice, as for the shorter ones.
std::uint16_t csumb(const void *words, std::int32_t count);

// The sum of the words: one implementation per instruction set, of which csumb chooses one. All give the same exact
// sum, at any alignment.
std::uint64_t SumWordsPortable(const unsigned char *bytes, std::size_t count);
#if defined(__x86_64__)
std::uint64_t SumWordsSSE2(const unsigned char *bytes, std::size_t count);
std::uint64_t SumWordsAVX2(const unsigned char *bytes, std::size_t count);
#elif defined(__aarch64__)
std::uint64_t SumWordsNEON(const unsigned char *bytes, std::size_t count);
#endif
