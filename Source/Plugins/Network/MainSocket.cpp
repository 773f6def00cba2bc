#include "MainSocket.h"

#include "Libs/shared/Socket/SocketUtil.h"
#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/Utility/rbException.h"

#include <cerrno>
#include <cstring>
#include <optional>

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
        RaiseException("NilObjectException", "Socket is nil");
        return {};
    }
    std::int64_t handle = REALGetSocketHandle(socket);
    if (handle != -1) return ToDescriptor(handle);
    RaiseException("UnsupportedFormatException", "Failed to get socket handle");
    return {};
}

static constexpr char kOptionException[] = "UnsupportedOperationException";

void SetSocketOption(REALobjectStruct *socket, int level, int option, int value)
{
    std::optional<int> fd = DescriptorOf(socket);
    if (!fd || setsockopt(*fd, level, option, &value, sizeof value) == 0) return;
    int error = errno;
    RaiseFormatted(kOptionException,
                   "Failed to set socket option with level: %d, option: %d, value: %d with error %d: %s", level, option,
                   value, error, std::strerror(error));
}

void SetSocketOption(REALobjectStruct *socket, int level, int option)
{
    std::optional<int> fd = DescriptorOf(socket);
    if (!fd || setsockopt(*fd, level, option, nullptr, 0) == 0) return;
    int error = errno;
    RaiseFormatted(kOptionException, "Failed to set socket option with level: %d, option: %d with error %d: %s", level,
                   option, error, std::strerror(error));
}

std::int64_t GetSocketOption(REALobjectStruct *socket, int level, int option)
{
    std::optional<int> fd = DescriptorOf(socket);
    if (!fd) return 0;
    int value = 0;
    socklen_t length = sizeof value;
    if (getsockopt(*fd, level, option, &value, &length) == 0) return value;
    int error = errno;
    RaiseFormatted(kOptionException, "Failed to query socket option with level: %d, option: %d with error %d: %s",
                   level, option, error, std::strerror(error));
    return 0;
}

void ClearOptionsVYN(REALobjectStruct *socket)
{
    SetSocketOption(socket, IPPROTO_IP, IP_OPTIONS);
}
