// The Internet checksum of RFC 1071.
#pragma once

#include <cstdint>

// The checksum of `count` bytes, summed in 16-bit words as they lie in memory; an odd last byte is the
// first of its word. A count below 1 is an empty input. Exact up to 131,072 bytes; a longer input's sum
// is folded just twice, as for the shorter ones.
std::uint16_t csumb(const void *words, std::int32_t count);
