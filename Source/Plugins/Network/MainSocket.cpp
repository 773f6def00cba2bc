#include "MainSocket.h"

#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/Utility/rbException.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <sys/socket.h>

std::int64_t REALGetSocketHandle(REALobjectStruct *socket)
{
    long handle = 0;
    if (socket == nullptr || !REALGetPropValueInteger(socket, "Handle", &handle)) return -1;
    return handle;
}

// The socket's descriptor; nothing after an exception was raised.
static std::optional<int> DescriptorOf(REALobjectStruct *socket)
{
    if (socket == nullptr) {
        RaiseException("NilObjectException", "Socket is nil", kEncodingASCII);
        return {};
    }
    std::int64_t handle = REALGetSocketHandle(socket);
    if (handle == -1) {
        RaiseException("UnsupportedFormatException", "Failed to get socket handle", kEncodingASCII);
        return {};
    }
    // What can't be a descriptor is left for the system to refuse.
    return handle >= 0 && handle <= INT_MAX ? static_cast<int>(handle) : -1;
}

[[gnu::format(printf, 1, 2)]] static void RaiseOptionError(const char *format, ...)
{
    char message[500] = {};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    RaiseException("UnsupportedOperationException", message, kEncodingASCII);
}

void SetSocketOption(REALobjectStruct *socket, int level, int option, int value)
{
    std::optional<int> fd = DescriptorOf(socket);
    if (!fd || setsockopt(*fd, level, option, &value, sizeof value) == 0) return;
    int error = errno;
    RaiseOptionError("Failed to set socket option with level: %d, option: %d, value: %d with error %d: %s", level,
                     option, value, error, std::strerror(error));
}

void SetSocketOption(REALobjectStruct *socket, int level, int option)
{
    std::optional<int> fd = DescriptorOf(socket);
    if (!fd || setsockopt(*fd, level, option, nullptr, 0) == 0) return;
    int error = errno;
    RaiseOptionError("Failed to set socket option with level: %d, option: %d with error %d: %s", level, option, error,
                     std::strerror(error));
}

std::int64_t GetSocketOption(REALobjectStruct *socket, int level, int option)
{
    std::optional<int> fd = DescriptorOf(socket);
    if (!fd) return 0;
    int value = 0;
    socklen_t length = sizeof value;
    if (getsockopt(*fd, level, option, &value, &length) == 0) return value;
    int error = errno;
    RaiseOptionError("Failed to query socket option with level: %d, option: %d with error %d: %s", level, option, error,
                     std::strerror(error));
    return 0;
}

// Integer values count by their low 32 bits.
static void SetIntegerOption(REALobjectStruct *socket, int level, int option, std::int64_t value)
{
    SetSocketOption(socket, level, option, static_cast<int>(value));
}

// clang-format off
std::int64_t GetReusePortVYN               (REALobjectStruct *socket)                     { return GetSocketOption(socket, SOL_SOCKET,  SO_REUSEPORT); }
void         SetReusePortVYN               (REALobjectStruct *socket, HostBoolean value)  { SetSocketOption (socket, SOL_SOCKET,  SO_REUSEPORT, value != 0); }
std::int64_t GetReuseAddressVYN            (REALobjectStruct *socket)                     { return GetSocketOption(socket, SOL_SOCKET,  SO_REUSEADDR); }
void         SetReuseAddressVYN            (REALobjectStruct *socket, HostBoolean value)  { SetSocketOption (socket, SOL_SOCKET,  SO_REUSEADDR, value != 0); }
std::int64_t GetOptionKeepAliveVYN         (REALobjectStruct *socket)                     { return GetSocketOption(socket, SOL_SOCKET,  SO_KEEPALIVE); }
std::int64_t GetOptionMaximumSegmentSizeVYN(REALobjectStruct *socket)                     { return GetSocketOption(socket, IPPROTO_TCP, TCP_MAXSEG); }
void         SetOptionMaximumSegmentSizeVYN(REALobjectStruct *socket, std::int64_t value) { SetIntegerOption(socket, IPPROTO_TCP, TCP_MAXSEG, value); }
std::int64_t GetOptionReceiveBufferSizeVYN (REALobjectStruct *socket)                     { return GetSocketOption(socket, SOL_SOCKET,  SO_RCVBUF); }
void         SetOptionReceiveBufferSizeVYN (REALobjectStruct *socket, std::int64_t value) { SetIntegerOption(socket, SOL_SOCKET,  SO_RCVBUF, value); }
std::int64_t GetOptionSendBufferSizeVYN    (REALobjectStruct *socket)                     { return GetSocketOption(socket, SOL_SOCKET,  SO_SNDBUF); }
void         SetOptionSendBufferSizeVYN    (REALobjectStruct *socket, std::int64_t value) { SetIntegerOption(socket, SOL_SOCKET,  SO_SNDBUF, value); }
std::int64_t GetOptionTypeVYN              (REALobjectStruct *socket)                     { return GetSocketOption(socket, SOL_SOCKET,  SO_TYPE); }
void         ClearOptionsVYN               (REALobjectStruct *socket)                     { SetSocketOption (socket, IPPROTO_IP,  IP_OPTIONS); }
std::int64_t GetOptionTOSVYN               (REALobjectStruct *socket)                     { return GetSocketOption(socket, IPPROTO_IP,  IP_TOS); }
std::int64_t GetOptionTTLVYN               (REALobjectStruct *socket)                     { return GetSocketOption(socket, IPPROTO_IP,  IP_TTL); }
std::int64_t GetOptionMutliCastTTLVYN      (REALobjectStruct *socket)                     { return GetSocketOption(socket, IPPROTO_IP,  IP_MULTICAST_TTL); }
void         SetOptionTOSVYN               (REALobjectStruct *socket, std::int64_t value) { SetIntegerOption(socket, IPPROTO_IP,  IP_TOS, value); }
void         SetOptionTTLVYN               (REALobjectStruct *socket, std::int64_t value) { SetIntegerOption(socket, IPPROTO_IP,  IP_TTL, value); }
void         SetOptionMutliCastTTLVYN      (REALobjectStruct *socket, std::int64_t value) { SetIntegerOption(socket, IPPROTO_IP,  IP_MULTICAST_TTL, value); }
void         SetOptionKeepAliveVYN         (REALobjectStruct *socket, std::int64_t value) { SetIntegerOption(socket, SOL_SOCKET,  SO_KEEPALIVE, value); }
// clang-format on
