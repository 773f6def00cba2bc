// The processor's features beyond those that everything is compiled for. The compiler's own test of them would bring a
// global constructor along.
#pragma once

#if defined(__x86_64__)

#include <cpuid.h>

// The state components that the operating system saves (register XCR0).
inline unsigned int SavedState()
{
    unsigned int low, high;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

// Whether the processor has AVX2, and the system saves its registers.
inline bool HasAVX2()
{
    constexpr unsigned int kVectorState = 0x6; // the 128-bit registers and their upper halves
    unsigned int a, b, c, d;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0) return false;
    if ((SavedState() & kVectorState) != kVectorState) return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_AVX2) != 0;
}

#endif
