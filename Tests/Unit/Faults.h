// Failures of the system, on demand: memory and system calls, for everything in this process.
//
// Faults.cpp defines the functions that are made to fail; the process finds them before the C library's.
#pragma once

#include <string>

namespace faults {

// The sanitizers have allocators of their own, which don't fail.
#if defined(SANITIZED)
constexpr bool kAllocationsCanFail = false;
#else
constexpr bool kAllocationsCanFail = true;
#endif

// The nth allocation from now on fails, or all from the nth on. 0: none.
void FailAllocation(long nth, bool andAllLater = false);

// Whether one has failed since the last FailAllocation.
bool AllocationFailed();

// The nth system call from now on that can fail gives -1 with this error and does nothing. 0: none.
void FailSystemCall(long nth, int error);

// The name of the call that failed since the last FailSystemCall; null while none has.
const char *FailedSystemCall();

// Runs once, right after the next ioctl: what happens between a size query and the receive.
extern void (*afterQuery)();

// How many descriptors socket and accept4 made that are not close-on-exec from their first moment.
extern int inheritable;

} // namespace faults
