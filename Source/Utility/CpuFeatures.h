// What the processor offers beyond the base that everything is compiled for.
#pragma once

#if defined(__x86_64__)
// Whether AVX2 instructions can be used: by the processor, and by the system's saving of their registers.
bool HasAVX2();
#endif
