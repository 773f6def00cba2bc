// The 7-bit test: one implementation per instruction set. IsASCII in rbUtil.h chooses.
#pragma once

#include <cstddef>

bool IsASCIIPortable(const char *data, std::size_t count);
#if defined(__x86_64__)
bool IsASCIISSE2(const char *data, std::size_t count);
bool IsASCIIAVX2(const char *data, std::size_t count);
#elif defined(__aarch64__)
bool IsASCIINEON(const char *data, std::size_t count);
#endif
