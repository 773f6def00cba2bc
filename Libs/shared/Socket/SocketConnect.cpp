// Resolving a name and connecting to one of its addresses.
//
// The resolver's order is kept. The list of addresses has an owner, and a descriptor that did not connect
// is closed before the next address is tried.
#include "SocketUtil.h"

#include "Source/Utility/rbDebug.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

// Why the last attempt failed; empty when none was made. The text is the system's, in the locale of the process; the
// number is what counts.
using ErrorText = char[200];

// Keeps, and traces, what went wrong. The format takes the error's number and its text.
static void Report(ErrorText &errorText, const char *format, int error)
{
    std::snprintf(errorText, sizeof errorText, format, error, strerror(error));
    TRACE(errorText);
}

// Asks for the addresses of both families. Result: whether the resolver answered; if not, the reason.
static bool Resolve(std::string &message, AddressList &list, const char *host, int port, int socketType, int protocol)
{
    char portText[20];
    std::snprintf(portText, sizeof portText, "%d", port);
    addrinfo hints = {};
    hints.ai_socktype = socketType;
    hints.ai_protocol = protocol;
    addrinfo *found = nullptr;
    int code = getaddrinfo(host, portText, &hints, &found);
    if (code == 0) list.reset(found);
    if (code == 0) return true;
    TRACE("getaddrinfo", code);
    std::string reason = gai_errorstring(code);
    TRACE("error message", reason.c_str());
    message = "Failed to parse IP or resolve hostname" + (reason.empty() ? "." : ": " + reason);
    return false;
}

static bool HasFamily(const addrinfo *entry, int family)
{
    while (entry != nullptr && entry->ai_family != family)
        entry = entry->ai_next;
    return entry != nullptr;
}

// The preference, unless the name has no address of that family.
static SocketProtocolPreference UsablePreference(const addrinfo *list, SocketProtocolPreference preference)
{
    TRACE("ProtocolPreference", static_cast<int>(preference));
    bool hasIPv4 = HasFamily(list, AF_INET);
    bool hasIPv6 = HasFamily(list, AF_INET6);
    TRACE("HasIPv6", hasIPv6);
    TRACE("HasIPv4", hasIPv4);
    if (preference == kPreferIPv4 && !hasIPv4) {
        TRACE("No IPv4, so ignore preference.");
        return kNoProtocolPreference;
    }
    if (preference == kPreferIPv6 && !hasIPv6) {
        TRACE("No IPv6, so ignore preference.");
        return kNoProtocolPreference;
    }
    return preference;
}

static bool IsWanted(int family, SocketProtocolPreference preference)
{
    if (preference == kPreferIPv6 && family == AF_INET) {
        TRACE("Skip IPv4");
        return false;
    }
    if (preference == kPreferIPv4 && family == AF_INET6) {
        TRACE("Skip IPv6");
        return false;
    }
    return family == AF_INET || family == AF_INET6;
}

bool ConnectSocket(std::string &errorMessage, const char *host, int port, int &sock, bool nonBlocking, bool &inProgress,
                   int &family, int socketType, int protocol, SocketProtocolPreference preference)
{
    AddressList list(nullptr, freeaddrinfo);
    if (!Resolve(errorMessage, list, host, port, socketType, protocol)) return false;
    LogAddInfo(list.get());
    preference = UsablePreference(list.get(), preference);

    ErrorText errorText = "";
    for (const addrinfo *entry = list.get(); entry != nullptr; entry = entry->ai_next) {
        if (!IsWanted(entry->ai_family, preference)) continue;
        family = entry->ai_family;
        sock = -1;
        // Before anything is traced: a socket with the number of standard error would send the trace to its peer.
        OwnedDescriptor fd = PrepareDescriptor(socket(family, socketType | SOCK_CLOEXEC, protocol));
        int error = ErrorOf(fd.Get());
        TRACE("sock", fd.Get());
        if (error != 0) {
            Report(errorText, "Socket creation failed with error %d: %s", error);
            break;
        }
        MarkNoSignal(fd.Get());
        if (nonBlocking) MarkNonBlocking(fd.Get());
        if (gDebugging) LogAddress("Connect to ", entry->ai_addr);

        int result = connect(fd.Get(), entry->ai_addr, entry->ai_addrlen);
        error = WSAGetLastError();
        TRACE("connect returns", result, error);
        if (result != 0) {
            TRACE("ConnectError", error);
            if (!nonBlocking || (error != EINPROGRESS && error != EAGAIN)) {
                Report(errorText, "Socket connect failed with error %d: %s", error);
                TRACE("close socket", fd.Get());
                continue;
            }
            inProgress = true;
        }
        sock = fd.Release();
        return true;
    }
    errorMessage = errorText;
    return false;
}

namespace {

// A number that the log knows by name.
struct NamedNumber {
    int number;
    const char *line;
};

constexpr NamedNumber socketTypes[] = {
    {0, "Socket type: Unspecified"},
    {SOCK_STREAM, "Socket type: SOCK_STREAM (stream)"},
    {SOCK_DGRAM, "Socket type: SOCK_DGRAM (datagram)"},
    {SOCK_RAW, "Socket type: SOCK_RAW (raw)"},
    {SOCK_RDM, "Socket type: SOCK_RDM (reliable message datagram)"},
    {SOCK_SEQPACKET, "Socket type: SOCK_SEQPACKET (pseudo-stream packet)"},
};

constexpr NamedNumber protocols[] = {
    {0, "Protocol: Unspecified"},
    {IPPROTO_TCP, "Protocol: IPPROTO_TCP (TCP)"},
    {IPPROTO_UDP, "Protocol: IPPROTO_UDP (UDP)"},
};

template <std::size_t count>
void LogNumber(const NamedNumber (&rows)[count], int number, const char *labelOfOthers)
{
    for (const NamedNumber &row : rows) {
        if (row.number == number) return LogMessage(row.line);
    }
    LogMessage(labelOfOthers, number);
}

void LogFamily(const addrinfo &entry)
{
    switch (entry.ai_family) {
    case AF_INET:
        return LogAddress("Family: AF_INET (IPv4)", entry.ai_addr);
    case AF_INET6:
        return LogAddress("Family: AF_INET6 (IPv6): ", entry.ai_addr);
    case AF_UNSPEC:
        return LogMessage("Family: Unspecified");
    default:
        return LogMessage("Other ", entry.ai_family);
    }
}

} // namespace

void LogAddInfo(const addrinfo *list)
{
    if (!gDebugging) return;
    for (const addrinfo *entry = list; entry != nullptr; entry = entry->ai_next) {
        LogMessage("Flags: ", entry->ai_flags);
        LogFamily(*entry);
        LogNumber(socketTypes, entry->ai_socktype, "Socket type: ");
        LogNumber(protocols, entry->ai_protocol, "Protocol: ");
        LogMessage("Length of this sockaddr: ", entry->ai_addrlen);
        LogMessage("Canonical name: ", entry->ai_canonname);
    }
}
