// The processor's features beyond those that everything is compiled for. The compiler's own test of them would bring a
// global constructor along.
#pragma once

#if defined(__x86_64__)
// Whether the processor has AVX2, and the system saves its registers.
bool HasAVX2();
#endif
