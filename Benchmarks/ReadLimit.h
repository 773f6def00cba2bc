// The limit of whatever has to look at every byte: reading them with the widest loads that are measured here.
#pragma once

#include <cstddef>

// Whether any byte has its top bit set. All are read, in AVX2's 32 bytes where the machine has it, else in words.
bool AnyTopBit(const char *data, std::size_t count);
