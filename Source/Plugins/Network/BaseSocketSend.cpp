// Sending one datagram to an IPv4 address and port.
//
// The payload goes out as it is stored, from where it lies: nothing is allocated or copied on the way.
#include "BaseSocket.h"
#include "Datagram.h"

#include "Source/Utility/rbData.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbText.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>

// The first IPv4 address of a host name. Result: whether there is one that can be sent to. Out of line, since a dotted
// address needs no buffer.
[[gnu::noinline]] static bool ResolveName(const char *name, in_addr &address)
{
    hostent record; // its own, since threads may resolve names at the same time
    hostent *host = nullptr;
    char small[1024]; // enough for a name with a few addresses
    MemoryOwner<char> large;
    char *buffer = small;
    std::size_t size = sizeof small;
    int reason;
    while (buffer != nullptr && gethostbyname_r(name, &record, buffer, size, &host, &reason) == ERANGE) {
        size *= 2;
        large = AllocateOwned<char>(static_cast<std::int64_t>(size));
        buffer = large.get();
    }
    if (host == nullptr || host->h_addrtype != AF_INET || host->h_addr_list[0] == nullptr) {
        TRACE("Failed to query IP for that domain.");
        return false;
    }
    std::memcpy(&address, host->h_addr_list[0], sizeof address);
    TRACE("clientService.sin_addr.s_addr", address.s_addr);
    if (address.s_addr != INADDR_NONE) return true;
    RaiseException("UnsupportedOperationException", "Invalid address.");
    return false;
}

// The address of a dotted text or a name. Result: whether there is one.
static bool ResolveDestination(const char *text, in_addr &address)
{
    address.s_addr = text_to_ipv4(text);
    TRACE("clientService.sin_addr.s_addr", address.s_addr);
    // inet_addr answers with the broadcast address for a text that it can't read.
    if (address.s_addr != INADDR_NONE || std::strcmp(text, "255.255.255.255") == 0) return true;
    return ResolveName(text, address);
}

static std::int64_t SendMessageInternal(REALobjectStruct *object, const rbData &view, REALstringStruct *address,
                                        std::int64_t port)
{
    TRACE("SendMessageInternal");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return 0;
    rbText text(address);
    const char *name = text.GetUTF8();
    if (!CheckPort(port)) return 0;

    sockaddr_in destination = {};
    destination.sin_family = AF_INET;
    destination.sin_port = htons(static_cast<std::uint16_t>(port));
    if (!ResolveDestination(name, destination.sin_addr)) return 0;
    TRACE("sending to", inet_ntoa(destination.sin_addr));
    TRACE("sending length", view.size);

    ssize_t sent = sendto(Descriptor(*socket), view.data, view.size, 0, reinterpret_cast<sockaddr *>(&destination),
                          sizeof destination);
    int error = ErrorOf(sent);
    TRACE("rwrite", sent);
    if (!FinishOperation(*socket, error, "errno")) return -1;
    socket->sendPending = true;
    return sent;
}

std::int64_t SendMessageS(REALobjectStruct *object, REALstringStruct *data, REALstringStruct *address,
                          std::int64_t port)
{
    rbData view(data);
    return SendMessageInternal(object, view, address, port);
}

std::int64_t SendMessageM(REALobjectStruct *object, REALmemoryBlockStruct *data, REALstringStruct *address,
                          std::int64_t port)
{
    rbData view(data, 0, 0);
    return SendMessageInternal(object, view, address, port);
}

std::int64_t SendMessageD(REALobjectStruct *object, REALobjectStruct *datagram)
{
    BeginOperation(object);
    if (datagram == nullptr) {
        TRACE("datagram", "is nil");
        RaiseException("NilObjectException", "Datagram is nil");
        return 0;
    }
    const DatagramRecord &record = GetDatagramRecord(datagram);
    return SendMessageS(object, record.Data, record.Address, record.Port);
}
