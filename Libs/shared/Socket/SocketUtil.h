// Socket addresses, descriptor flags, and connecting to a name.
//
// Nothing here keeps state or raises, and one function alone needs the host. Ports are in host byte order. Their low 16
// bits count: callers check the range. Traces go to the debug log. MarkBlocking, MarkIPv6andIPv4, SetKeepAlive and
// ConvertWCharToUTF8 have no caller here. They are part of the layer that plugin code may count on.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <netdb.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <utility>

// A socket address of either IP family, to be handed to the system as it is. The largest form comes
// first, so that `= {}` clears the whole record.
union sockaddr_union {
    sockaddr_in6 v6;
    sockaddr_in v4;
    sockaddr any;
};

static_assert(sizeof(sockaddr_union) == 28 && sizeof(sockaddr_in) == 16);
static_assert(offsetof(sockaddr_in, sin_port) == 2 && offsetof(sockaddr_in6, sin6_port) == 2);
static_assert(offsetof(sockaddr_in, sin_addr) == 4 && offsetof(sockaddr_in6, sin6_addr) == 8);

// Where the address is in a record, which has its family.
inline void *AddressIn(sockaddr_union &record)
{
    if (record.any.sa_family == AF_INET6) return &record.v6.sin6_addr;
    return &record.v4.sin_addr;
}

// --- descriptors ---------------------------------------------------------------------------------------

void InitSocketUtil(); // nothing to do on this platform

// errno, to be read as the first act after a call; ErrorOf is 0 unless the call answered -1.
int WSAGetLastError();
inline int ErrorOf(long result)
{
    return result == -1 ? WSAGetLastError() : 0;
}

// The descriptor of that number, which a program may have written. A number that can't be one becomes -1, which the
// system rejects.
constexpr int ToDescriptor(std::int64_t number)
{
    return number >= 0 && number <= INT_MAX ? static_cast<int>(number) : -1;
}

// Closes a descriptor with cancellation held back. close(2) is a cancellation point: a thread that ended there would
// leave the descriptor open, or unwind out of a destructor.
void CloseDescriptor(int fd);

// Owns a descriptor, or none (-1), until it is released.
class OwnedDescriptor {
  public:
    explicit OwnedDescriptor(int descriptor) : fd(descriptor) {}
    OwnedDescriptor(OwnedDescriptor &&other) noexcept : fd(other.Release()) {}
    OwnedDescriptor &operator=(OwnedDescriptor &&) = delete;
    ~OwnedDescriptor();
    int Get() const { return fd; }
    int Release() { return std::exchange(fd, -1); }

  private:
    int fd;
};

// Switch O_NONBLOCK of the descriptor on and off. Result: that of the last fcntl call, -1 on failure.
int MarkNonBlocking(int fd);
int MarkBlocking(int fd);

// Moves a new descriptor to 3 or above, close-on-exec. To programs 0 means "no socket", and output on 1 and 2 must not
// reach a peer. Result: the descriptor, or -1 with errno set and nothing left open. -1 stays -1.
OwnedDescriptor PrepareDescriptor(int fd);

// Would keep sends on this descriptor from raising SIGPIPE; this platform has no such mark.
void MarkNoSignal(int fd);

// Lets an IPv6 socket serve IPv4 as well. A failure shows in the trace alone.
void MarkIPv6andIPv4(int fd);

// Switches SO_KEEPALIVE on. A failure shows in the trace alone.
void SetKeepAlive(int fd);

// --- address records -----------------------------------------------------------------------------------

// Port and size in bytes of a record; 0 for a family other than AF_INET and AF_INET6.
int GetSocketAddressPort(const sockaddr_union &record);
int GetSocketAddressSize(const sockaddr_union &record);

// Fill the whole record. A family other than AF_INET6 counts as AF_INET.
void SetAnySocketAddress(int family, sockaddr_union &record, int port);
void SetAnySocketAddressIPv4(sockaddr_union &record, int port);
void SetAnySocketAddressIPv6(sockaddr_union &record, int port);
void SetLoopbackSocketAddress(int family, sockaddr_union &record, int port);
void SetLoopbackSocketAddressIPv4(sockaddr_union &record, int port);
void SetLoopbackSocketAddressIPv6(sockaddr_union &record, int port);

// Fill the record from numeric text, or from "localhost" in any case; other names are not resolved. A
// dotted IPv4 text makes an IPv4 record for AF_INET6 too. Result: 0 on success, else 1 and the record
// cleared. The functions for one family write family, port and address alone, and nothing on failure.
int ParseSocketAddress(int family, sockaddr_union &record, const char *text, int port);
int ParseSocketAddressIPv4(sockaddr_union &record, const char *text, int port);
int ParseSocketAddressIPv6(sockaddr_union &record, const char *text, int port);

// --- texts ---------------------------------------------------------------------------------------------

// The address alone as numeric text, as inet_ntop writes it; empty for null and for other families. The
// second form fills the caller's buffer, zero-terminated, and answers the length of the text.
std::string sockaddr_to_text(const sockaddr *address);
std::size_t sockaddr_to_text(const sockaddr *address, char (&text)[INET6_ADDRSTRLEN]);

// Two lines of the debug log: an address as text under the label, and its port; "" and 0 for null and other families.
void LogAddress(const char *label, const sockaddr *address);

// The address of an IPv4 text in network byte order, as inet_addr reads it: INADDR_NONE for anything else.
// The usual form of four decimal numbers is left to inet_pton, which reads it at less than half of inet_addr's cost.
in_addr_t text_to_ipv4(const char *text);

// The system's text for a result of getaddrinfo; empty when it has none.
std::string gai_errorstring(int code);

// UTF-8 of a zero-terminated wide text. The one function here that needs the host; it is in SocketUtilText.cpp.
std::string ConvertWCharToUTF8(const wchar_t *text);

// --- connecting ----------------------------------------------------------------------------------------

// Which IP family is tried alone, when the name has addresses of it. Other values are no preference.
enum SocketProtocolPreference : int {
    kNoProtocolPreference = 0,
    kPreferIPv4 = 4,
    kPreferIPv6 = 6,
};

// Resolves `host`, a name or numeric text, and tries its addresses in the resolver's order until one
// connects; waits for the resolver and, unless nonBlocking, for each connection.
//
// Result: true when `sock` is connected or, with nonBlocking, on the way; the caller owns it, and
// `inProgress` is set when it is on the way. False: no descriptor is left open, `errorMessage` says what
// failed last (empty when no address was usable), and `sock` is -1 if any address was tried.
// `family` is that of the last address tried; `inProgress` is never cleared. Descriptors are
// close-on-exec. A socket that can't be made ends the attempt, a refused connection does not.
bool ConnectSocket(std::string &errorMessage, const char *host, int port, int &sock, bool nonBlocking, bool &inProgress,
                   int &family, int socketType, int protocol, SocketProtocolPreference preference);

// Writes every entry of a resolver's list to the debug log while that is on; nothing for null.
void LogAddInfo(const addrinfo *list);
