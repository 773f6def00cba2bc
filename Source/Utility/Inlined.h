// Functions that must be inlined for what they are given to stay in registers. A debugger finds them as functions of
// their own.
#pragma once

#if defined(__OPTIMIZE__)
#define INLINED [[gnu::always_inline]]
#else
#define INLINED
#endif
