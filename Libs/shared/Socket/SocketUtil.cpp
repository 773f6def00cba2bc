#include "SocketUtil.h"

#include "Source/Utility/rbDebug.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <strings.h>
#include <unistd.h>

void InitSocketUtil() {}

int WSAGetLastError()
{
    return errno;
}

// Sets and clears status flags of the descriptor.
static int ChangeStatusFlags(int fd, int set, int clear)
{
    int flags = fcntl(fd, F_GETFL);
    if (flags == -1) return -1;
    TRACE("fcntl", flags);
    return fcntl(fd, F_SETFL, (flags & ~clear) | set);
}

int MarkNonBlocking(int fd)
{
    return ChangeStatusFlags(fd, O_NONBLOCK, 0);
}

int MarkBlocking(int fd)
{
    return ChangeStatusFlags(fd, 0, O_NONBLOCK);
}

void CloseDescriptor(int fd)
{
    int previous;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous);
    close(fd);
    pthread_setcancelstate(previous, nullptr);
}

OwnedDescriptor::~OwnedDescriptor()
{
    if (fd >= 0) CloseDescriptor(fd);
}

OwnedDescriptor PrepareDescriptor(int fd)
{
    if (fd < 0 || fd > STDERR_FILENO) return OwnedDescriptor(fd);
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    int error = errno;
    CloseDescriptor(fd);
    errno = error == EINVAL ? EMFILE : error; // EINVAL: the process may have three descriptors at most
    return OwnedDescriptor(moved);
}

void MarkNoSignal(int) {}

// Sets an option that is a 32-bit number. Result: errno, 0 on success.
static int SetOption(int fd, int level, int option, int value)
{
    return setsockopt(fd, level, option, &value, sizeof value) == -1 ? errno : 0;
}

void MarkIPv6andIPv4(int fd)
{
    int error = SetOption(fd, IPPROTO_IPV6, IPV6_V6ONLY, 0);
    if (error == 0) return;
    TRACE("setsockopt with IPV6_V6ONLY", error);
    TRACE("error message", strerror(error));
}

void SetKeepAlive(int fd)
{
    TRACE("SetKeepAlive", fd);
    int error = SetOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    if (error != 0) TRACE("setsockopt for keep alive", error);
}

int GetSocketAddressPort(const sockaddr_union &record)
{
    return GetSocketAddressSize(record) != 0 ? ntohs(record.v4.sin_port) : 0;
}

int GetSocketAddressSize(const sockaddr_union &record)
{
    if (record.any.sa_family == AF_INET6) return sizeof record.v6;
    return record.any.sa_family == AF_INET ? sizeof record.v4 : 0;
}

// Both forms have the family and the port at the same places.
static void SetFamilyAndPort(sockaddr_union &record, int family, int port)
{
    record.v4.sin_family = static_cast<sa_family_t>(family);
    record.v4.sin_port = htons(static_cast<in_port_t>(port));
}

void SetAnySocketAddress(int family, sockaddr_union &record, int port)
{
    TRACE("SetAnySocketAddress", port);
    (family == AF_INET6 ? SetAnySocketAddressIPv6 : SetAnySocketAddressIPv4)(record, port);
}

void SetAnySocketAddressIPv4(sockaddr_union &record, int port)
{
    TRACE("SetAnySocketAddressIPv4", port);
    record = {};
    SetFamilyAndPort(record, AF_INET, port);
}

void SetAnySocketAddressIPv6(sockaddr_union &record, int port)
{
    TRACE("SetAnySocketAddressIPv6", port);
    record = {};
    SetFamilyAndPort(record, AF_INET6, port);
}

void SetLoopbackSocketAddress(int family, sockaddr_union &record, int port)
{
    TRACE("SetLoopbackSocketAddress", port);
    (family == AF_INET6 ? SetLoopbackSocketAddressIPv6 : SetLoopbackSocketAddressIPv4)(record, port);
}

void SetLoopbackSocketAddressIPv4(sockaddr_union &record, int port)
{
    TRACE("SetLoopbackSocketAddressIPv4", port);
    record = {};
    SetFamilyAndPort(record, AF_INET, port);
    record.v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
}

void SetLoopbackSocketAddressIPv6(sockaddr_union &record, int port)
{
    TRACE("SetLoopbackSocketAddressIPv6", port);
    record = {};
    SetFamilyAndPort(record, AF_INET6, port);
    record.v6.sin6_addr = in6addr_loopback;
}

int ParseSocketAddress(int family, sockaddr_union &record, const char *text, int port)
{
    record = {};
    return family == AF_INET6 ? ParseSocketAddressIPv6(record, text, port) : ParseSocketAddressIPv4(record, text, port);
}

static bool ReadNumeric(int family, sockaddr_union &record, const char *text, int port)
{
    sockaddr_union numeric = record;
    SetFamilyAndPort(numeric, family, port);
    int result = inet_pton(family, text, AddressIn(numeric));
    TRACE(family == AF_INET6 ? "inet_pton AF_INET6" : "inet_pton AF_INET", result);
    if (result == 1) record = numeric;
    return result == 1;
}

static bool ReadLocalhost(int family, sockaddr_union &record, const char *text, int port)
{
    if (strcasecmp(text, "localhost") != 0) return false;
    SetLoopbackSocketAddress(family, record, port);
    return true;
}

int ParseSocketAddressIPv4(sockaddr_union &record, const char *text, int port)
{
    bool isRead = ReadNumeric(AF_INET, record, text, port) || ReadLocalhost(AF_INET, record, text, port);
    return isRead ? 0 : 1;
}

int ParseSocketAddressIPv6(sockaddr_union &record, const char *text, int port)
{
    bool isRead = ReadNumeric(AF_INET6, record, text, port) || ReadNumeric(AF_INET, record, text, port) ||
                  ReadLocalhost(AF_INET6, record, text, port);
    return isRead ? 0 : 1;
}

namespace {

// A byte as a decimal number with the point that follows it in a dotted quad.
struct QuadPart {
    char text[4];
    std::uint32_t length;
};

constexpr std::array<QuadPart, 256> MakeQuadParts()
{
    std::array<QuadPart, 256> parts = {};
    for (unsigned int value = 0; value < 256; value++) {
        QuadPart &part = parts[value];
        auto append = [&part](char c) { part.text[part.length++] = c; };
        if (value >= 100) append(static_cast<char>('0' + value / 100));
        if (value >= 10) append(static_cast<char>('0' + value / 10 % 10));
        append(static_cast<char>('0' + value % 10));
        append('.');
    }
    return parts;
}
constexpr std::array<QuadPart, 256> quadParts = MakeQuadParts();

// A dotted quad, as inet_ntop writes it; that goes through printf and takes forty times as many instructions.
// Every part is stored at its full width, and the next one, or the zero, over what was too much.
std::size_t WriteIPv4(const unsigned char *address, char (&text)[INET6_ADDRSTRLEN])
{
    char *end = text;
    for (int i = 0; i < 4; i++) {
        const QuadPart &part = quadParts[address[i]];
        std::memcpy(end, part.text, sizeof part.text);
        end += part.length;
    }
    *--end = 0;
    return static_cast<std::size_t>(end - text);
}

} // namespace

std::size_t sockaddr_to_text(const sockaddr *address, char (&text)[INET6_ADDRSTRLEN])
{
    text[0] = 0;
    if (address == nullptr) return 0;
    auto record = reinterpret_cast<const unsigned char *>(address);
    if (address->sa_family == AF_INET) return WriteIPv4(record + offsetof(sockaddr_in, sin_addr), text);
    if (address->sa_family == AF_INET6)
        inet_ntop(AF_INET6, record + offsetof(sockaddr_in6, sin6_addr), text, sizeof text);
    return strlen(text);
}

std::string sockaddr_to_text(const sockaddr *address)
{
    char text[INET6_ADDRSTRLEN];
    return std::string(text, sockaddr_to_text(address, text));
}

void LogAddress(const char *label, const sockaddr *address)
{
    char text[INET6_ADDRSTRLEN];
    sockaddr_to_text(address, text);
    LogMessage(label, text);
    LogMessage("port", *text != 0 ? ntohs(reinterpret_cast<const sockaddr_in *>(address)->sin_port) : 0);
}

in_addr_t text_to_ipv4(const char *text)
{
    in_addr address;
    return inet_pton(AF_INET, text, &address) == 1 ? address.s_addr : inet_addr(text);
}

std::string gai_errorstring(int code)
{
    const char *text = gai_strerror(code);
    if (text == nullptr) text = "";
    TRACE("error message", text);
    return text;
}
