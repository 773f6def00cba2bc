// The limit of a function that must read every byte: reading the bytes with the widest loads that are measured here.
#pragma once

#include <cstddef>

// Whether any byte has its top bit set. Reads all bytes, 32 at a time where the machine has AVX2, else 8.
bool AnyTopBit(const char *data, std::size_t count);
