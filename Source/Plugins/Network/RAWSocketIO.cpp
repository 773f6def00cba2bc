// Reads and writes of bytes as they are: no framing, no retry, no address parsing.
#include "RAWSocket.h"

#include "Source/Utility/rbMemoryBlock.h"

// Records the outcome. Result: the bytes sent, or -1.
static std::int64_t FinishSend(SocketRecord &socket, ssize_t sent)
{
    if (!FinishOperation(socket, ErrorOf(sent))) return -1;
    socket.sendPending = true;
    return sent;
}

std::int64_t xojo_send(REALobjectStruct *object, const void *data, std::int64_t dataSize, std::int64_t flags)
{
    SocketRecord *socket = BeginOperation(GetRAWSocketRecord(object));
    if (socket == nullptr) return 0;
    return FinishSend(*socket,
                      send(Descriptor(*socket), data, static_cast<std::size_t>(dataSize), static_cast<int>(flags)));
}

std::int64_t xojo_sendto(REALobjectStruct *object, const void *data, std::int64_t dataSize, std::int64_t flags,
                         const void *address, std::int64_t addressSize)
{
    SocketRecord *socket = BeginOperation(GetRAWSocketRecord(object));
    if (socket == nullptr) return 0;
    return FinishSend(*socket,
                      sendto(Descriptor(*socket), data, static_cast<std::size_t>(dataSize), static_cast<int>(flags),
                             static_cast<const sockaddr *>(address), static_cast<socklen_t>(addressSize)));
}

// Receives up to `byteSize` bytes, at least 1, as a new memory block; nil for none.
static REALmemoryBlockStruct *Receive(SocketRecord &socket, std::int64_t byteSize, HostBoolean peek)
{
    MemoryOwner<unsigned char> buffer = AllocateReceiveBuffer(byteSize);
    if (buffer == nullptr) return nullptr;
    ssize_t received =
        recv(Descriptor(socket), buffer.get(), static_cast<std::size_t>(byteSize), peek != 0 ? MSG_PEEK : 0);
    if (!FinishOperation(socket, ErrorOf(received))) return nullptr;
    return REALBuildMemoryblock(buffer.get(), received);
}

REALmemoryBlockStruct *Read(REALobjectStruct *object, std::int64_t byteSize, HostBoolean peek)
{
    SocketRecord *socket = BeginOperation(GetRAWSocketRecord(object));
    if (socket == nullptr || byteSize <= 0) return nullptr;
    return Receive(*socket, byteSize, peek);
}

REALmemoryBlockStruct *ReadAll(REALobjectStruct *object, HostBoolean peek)
{
    SocketRecord *socket = BeginOperation(GetRAWSocketRecord(object));
    if (socket == nullptr) return nullptr;
    std::int64_t count;
    int error = ErrorOf(QuerySize(*socket, count));
    if (error != 0) {
        FinishOperation(*socket, error);
        return nullptr;
    }
    if (count == 0) return nullptr;
    return Receive(*socket, count, peek);
}
