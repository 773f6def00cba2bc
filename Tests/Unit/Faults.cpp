#include "Tests/Unit/Faults.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

// Every library of the process is to find these, not only this program.
#pragma GCC visibility push(default)

namespace {

// Compilers think that they know what an allocation changes.
volatile long allocationsLeft = 0; // until the one that fails; 0: none is to fail
volatile bool laterFailToo = false;
volatile bool allocationFailed = false;

long callsLeft = 0;
int callError = 0;
const char *failedCall = nullptr;

[[maybe_unused]] bool AllocationFails()
{
    if (allocationsLeft == 0) return false;
    if (allocationsLeft > 1) {
        allocationsLeft = allocationsLeft - 1;
        return false;
    }
    if (!laterFailToo) allocationsLeft = 0;
    allocationFailed = true;
    return true;
}

bool CallFails(const char *name)
{
    if (callsLeft == 0 || --callsLeft != 0) return false;
    failedCall = name;
    errno = callError;
    return true;
}

// The C library's own function of that name.
void *Find(void *&found, const char *name)
{
    if (found == nullptr) found = dlsym(RTLD_NEXT, name);
    return found;
}

} // namespace

void (*faults::afterQuery)() = nullptr;
int faults::inheritable = 0;

void faults::FailAllocation(long nth, bool andAllLater)
{
    allocationsLeft = nth;
    laterFailToo = andAllLater;
    allocationFailed = false;
}

bool faults::AllocationFailed()
{
    return allocationFailed;
}

void faults::FailSystemCall(long nth, int error)
{
    callsLeft = nth;
    callError = error;
    failedCall = nullptr;
}

const char *faults::FailedSystemCall()
{
    return failedCall;
}

// A row: what the call returns, its name, its parameters and the same as arguments. A noted call has in front of them
// what it does once it is known not to fail here.
#define FAILING_CALL(...) NOTED_CALL(, __VA_ARGS__)
#define NOTED_CALL(note, result, name, parameters, ...)                                                                \
    extern "C" result name parameters                                                                                  \
    {                                                                                                                  \
        static void *next = nullptr;                                                                                   \
        if (CallFails(#name)) return -1;                                                                               \
        note;                                                                                                          \
        return reinterpret_cast<result(*) parameters>(Find(next, #name))(__VA_ARGS__);                                 \
    }
// clang-format off
FAILING_CALL(int,     bind,        (int fd, const sockaddr *address, socklen_t size) noexcept,                           fd, address, size)
FAILING_CALL(int,     connect,     (int fd, const sockaddr *address, socklen_t size),                                    fd, address, size)
FAILING_CALL(int,     listen,      (int fd, int backlog) noexcept,                                                       fd, backlog)
FAILING_CALL(ssize_t, send,        (int fd, const void *data, size_t size, int flags),                                   fd, data, size, flags)
FAILING_CALL(ssize_t, sendto,      (int fd, const void *data, size_t size, int flags, const sockaddr *to, socklen_t n),  fd, data, size, flags, to, n)
FAILING_CALL(ssize_t, recv,        (int fd, void *data, size_t size, int flags),                                         fd, data, size, flags)
FAILING_CALL(ssize_t, recvfrom,    (int fd, void *data, size_t size, int flags, sockaddr *from, socklen_t *n),           fd, data, size, flags, from, n)
FAILING_CALL(int,     select,      (int n, fd_set *read, fd_set *write, fd_set *except, timeval *time),                  n, read, write, except, time)
FAILING_CALL(int,     getsockname, (int fd, sockaddr *address, socklen_t *size) noexcept,                                fd, address, size)
FAILING_CALL(int,     getsockopt,  (int fd, int level, int option, void *value, socklen_t *size) noexcept,               fd, level, option, value, size)
FAILING_CALL(int,     setsockopt,  (int fd, int level, int option, const void *value, socklen_t size) noexcept,          fd, level, option, value, size)
// A descriptor that a program started by another thread in this moment would inherit is noted.
NOTED_CALL(faults::inheritable += (type & SOCK_CLOEXEC) == 0,  int, socket,  (int family, int type, int protocol) noexcept,               family, type, protocol)
NOTED_CALL(faults::inheritable += (flags & SOCK_CLOEXEC) == 0, int, accept4, (int fd, sockaddr *address, socklen_t *size, int flags),    fd, address, size, flags)
// clang-format on

// A close that fails has closed all the same.
extern "C" int close(int fd)
{
    static void *next = nullptr;
    int result = reinterpret_cast<int (*)(int)>(Find(next, "close"))(fd);
    return CallFails("close") ? -1 : result;
}

extern "C" int fcntl(int fd, int command, ...)
{
    static void *next = nullptr;
    va_list arguments;
    va_start(arguments, command);
    long argument = va_arg(arguments, long);
    va_end(arguments);
    if (CallFails("fcntl")) return -1;
    return reinterpret_cast<int (*)(int, int, long)>(Find(next, "fcntl"))(fd, command, argument);
}

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    static void *next = nullptr;
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (CallFails("ioctl")) return -1;
    int result = reinterpret_cast<int (*)(int, unsigned long, void *)>(Find(next, "ioctl"))(fd, request, argument);
    if (auto happens = std::exchange(faults::afterQuery, nullptr)) happens();
    return result;
}

#if !defined(SANITIZED)
// The sanitizers have allocators of their own; the allocation sweep runs without them.

extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_calloc(size_t count, size_t size);
extern "C" void *__libc_realloc(void *block, size_t size);

extern "C" void *malloc(size_t size)
{
    return AllocationFails() ? nullptr : __libc_malloc(size);
}
extern "C" void *calloc(size_t count, size_t size)
{
    return AllocationFails() ? nullptr : __libc_calloc(count, size);
}
extern "C" void *realloc(void *block, size_t size)
{
    return AllocationFails() ? nullptr : __libc_realloc(block, size);
}
#endif

#pragma GCC visibility pop
