// Marks functions that must be inlined, or their arguments would leave the registers. For a debugger they stay
// functions.
#pragma once

#if defined(__OPTIMIZE__)
#define INLINED [[gnu::always_inline]]
#else
#define INLINED
#endif
