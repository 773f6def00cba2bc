// Reading the next datagram.
//
// Only what was looked at is taken off the queue. So a datagram that arrives between the size query and the receive
// call is neither cut nor lost.
#include "BaseSocket.h"
#include "Datagram.h"

#include "Source/Utility/rbData.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbMemoryBlock.h"
#include "Source/Utility/rbUtil.h"

#include <algorithm>
#include <cerrno>

// Neither a stream nor a non-socket has datagrams.
static bool HasDatagrams(int fd)
{
    int type = 0;
    socklen_t size = sizeof type;
    return getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type != SOCK_STREAM;
}

// Size 0 means an empty queue, an empty datagram or a pending error. An empty datagram is taken off the queue, so that
// it can't block those that follow; a pending error is reported, for looking takes it away. None of the calls waits.
static void TakeEmptyDatagram(SocketRecord &socket)
{
    if (!HasDatagrams(Descriptor(socket))) return;
    char nothing;
    ssize_t size = recv(Descriptor(socket), &nothing, 0, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
    int error = ErrorOf(size);
    if (size == 0) {
        recv(Descriptor(socket), &nothing, 0, MSG_DONTWAIT);
    } else if (error != 0 && error != EAGAIN && error != ENOTCONN) { // neither an empty queue nor a missing peer
        FinishOperation(socket, error);
    }
}

// The datagram as the program gets it.
static REALobjectStruct *BuildDatagram(SocketRecord &socket, const sockaddr_union &peer, socklen_t peerLength,
                                       const unsigned char *payload, ssize_t length)
{
    char text[INET6_ADDRSTRLEN];
    std::size_t textLength = sockaddr_to_text(&peer.any, text);
    REALstringStruct *address = REALBuildUnicodeString(text, static_cast<long>(textLength), kEncodingASCII);
    rbFreeLater releaseAddress(&address);
    REALmemoryBlockStruct *rawAddress =
        REALBuildMemoryblock(reinterpret_cast<const unsigned char *>(&peer), std::min<long>(peerLength, sizeof peer));
    REALobjectStruct *rawAddressObject = AsObject(rawAddress);
    rbFreeLater releaseRawAddress(&rawAddressObject);
    FinishOperation(socket, 0); // the system has done its part, whatever the host can't make of it

    REALstringStruct *data = REALBuildUnicodeString(payload, length, kEncodingNone);
    rbFreeLater releaseData(&data);
    if (data == nullptr) return nullptr;
    REALobjectStruct *datagram = NewDatagramVYN(address, GetSocketAddressPort(peer), data, length, rawAddress);
    TRACE("datagram", static_cast<const void *>(datagram));
    return datagram;
}

static REALobjectStruct *ReceiveDatagram(SocketRecord &socket, std::int64_t size, bool peek)
{
    MemoryOwner<unsigned char> buffer = AllocateReceiveBuffer(size);
    if (buffer == nullptr) return nullptr;
    sockaddr_union peer = {};
    socklen_t peerLength = sizeof peer;
    ssize_t received = recvfrom(Descriptor(socket), buffer.get(), static_cast<std::size_t>(size), peek ? MSG_PEEK : 0,
                                &peer.any, &peerLength);
    int error = ErrorOf(received);
    TRACE("rread", received);
    if (error != 0) {
        FinishOperation(socket, error);
        return nullptr;
    }
    return BuildDatagram(socket, peer, peerLength, buffer.get(), received);
}

REALobjectStruct *ReadMessage(REALobjectStruct *object, HostBoolean peek)
{
    TRACE("ReadMessage");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return nullptr;

    std::int64_t size;
    int result = QuerySize(*socket, size);
    int error = ErrorOf(result);
    TRACE("size", size);
    TRACE("error", result);
    if (error != 0) {
        FinishOperation(*socket, error);
        return nullptr;
    }
    if (size == 0) {
        TRACE("Size is zero!?");
        if (!peek) TakeEmptyDatagram(*socket);
        return nullptr;
    }
    return ReceiveDatagram(*socket, size, peek != 0);
}

long AvailableBytes(REALobjectStruct *object, long)
{
    TRACE("AvailableBytes");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return 0;

    std::int64_t size;
    FinishOperation(*socket, ErrorOf(QuerySize(*socket, size)), "errno");
    if (size != 0) TRACE("size", size);
    return size;
}
