// What UDPSocketVYN and RAWSocketVYN share: the instance data, the functions that serve both classes,
// and how an operation reports its outcome.
//
// The outcome rule. An operation sets Lasterror to -1 first, and ends there without a socket (Handle 0). Otherwise it
// makes its system call and sets Lasterror to 0 or to errno, which is read as the first act after the call.
// BeginOperation and FinishOperation are that rule; nothing else writes Lasterror. It stays at -1 where no system call
// was made (a port out of range, an address that can't be parsed, a read of no bytes), where a read found nothing,
// after LocalIP, and after LocalPort of a socket that is neither IPv4 nor IPv6.
#pragma once

#include "Libs/shared/Socket/SocketUtil.h"
#include "Source/SDK/GlueCode/HostRecords.h"
#include "Source/Utility/MyMemory.h"
#include "Source/Utility/rbException.h"

// The class that an object was watched as; unknown before.
enum class SocketClass : std::uint8_t { kUnknown, kUDPSocket, kRAWSocket };

// The instance data of both classes.
struct SocketRecord {
    std::int64_t Handle;           // the descriptor; 0: no socket. Programs can write anything here
    std::int64_t Lasterror;        // outcome of the last operation
    bool sendPending;              // a send succeeded since SendComplete was last fired
    SocketClass socketClass;       // whose events it has
    std::int64_t backgroundTask;   // the host's number for the task that polls this object; 0: none
    REALstringStruct *BindAddress; // one reference
    std::int64_t BindPort;
    std::int64_t AddressFamily;
    std::int64_t SocketType;
    std::int64_t Protocol;
};

static_assert(sizeof(SocketRecord) == 0x48 && offsetof(SocketRecord, Lasterror) == 8);
static_assert(offsetof(SocketRecord, sendPending) == 16 && offsetof(SocketRecord, backgroundTask) == 24);
static_assert(offsetof(SocketRecord, BindAddress) == 32 && offsetof(SocketRecord, BindPort) == 40);
static_assert(offsetof(SocketRecord, AddressFamily) == 48 && offsetof(SocketRecord, SocketType) == 56);
static_assert(offsetof(SocketRecord, Protocol) == 64);

extern REALclassDefinition UDPSocketClass; // in UDPSocket.cpp
extern REALclassDefinition RAWSocketClass; // in RAWSocket.cpp

// Asks the host whether the object is a RAWSocketVYN. If it can't tell, no is assumed.
bool IsRAWSocket(REALobjectStruct *object);

// The record of an object of either class, and of one that is known to be a RAWSocketVYN.
SocketRecord &GetSocketRecord(REALobjectStruct *object);
SocketRecord &GetRAWSocketRecord(REALobjectStruct *object);

// The descriptor to hand to the system; -1 when Handle can't be one.
inline int Descriptor(const SocketRecord &socket)
{
    return ToDescriptor(socket.Handle);
}

// Sets Lasterror to -1. Result: the record; null when there is no socket.
SocketRecord *BeginOperation(SocketRecord &socket);
SocketRecord *BeginOperation(REALobjectStruct *object);

// Stores the outcome of a system call: 0 or errno. Result: whether it succeeded. A failure is traced under this label
// when there is one.
bool FinishOperation(SocketRecord &socket, int error, const char *failureLabel = nullptr);

// Asks how many bytes wait to be read. Result: that of the system call. It writes the low 32 bits of `size` alone.
int QuerySize(const SocketRecord &socket, std::int64_t &size);

// Stores the descriptor, which must be one, in Handle and closes the previous one, if any. Every descriptor of a record
// comes and goes here or in Destructor.
void ReplaceDescriptor(SocketRecord &socket, OwnedDescriptor fd);

// Has the host poll the object, which is of that class, from now on, unless it does already.
void WatchSocket(REALobjectStruct *object, SocketRecord &socket, SocketClass socketClass);
void UnwatchSocket(REALobjectStruct *object, SocketRecord &socket);

// Ends the poll that is firing events of this record, if one is: its descriptor, or its object, goes.
void EndPollOf(const SocketRecord &socket);

// A zero-filled buffer to receive into; null after "OutOfMemoryException" was raised.
inline MemoryOwner<unsigned char> AllocateReceiveBuffer(std::int64_t size)
{
    MemoryOwner<unsigned char> buffer = AllocateOwned<unsigned char>(size);
    if (buffer == nullptr)
        RaiseFormatted("OutOfMemoryException", "Failed to allocate %d bytes of memory.", static_cast<int>(size));
    return buffer;
}

// Whether the number is a port; CheckPort raises what a program is told of any other.
constexpr bool IsPort(std::int64_t port)
{
    return port >= 0 && port <= 65535;
}
bool CheckPort(std::int64_t port);

// --- members of both classes, in the terms of their declarations --------------------------------------

void Destructor(REALobjectStruct *object); // "Destructor" and "Close"
void Bind(REALobjectStruct *object, std::int64_t port, REALstringStruct *address);
void Poll(REALobjectStruct *object);

// Bytes sent; -1 with errno in Lasterror; 0 when nothing was tried.
std::int64_t SendMessageS(REALobjectStruct *object, REALstringStruct *data, REALstringStruct *address,
                          std::int64_t port);
std::int64_t SendMessageM(REALobjectStruct *object, REALmemoryBlockStruct *data, REALstringStruct *address,
                          std::int64_t port);
std::int64_t SendMessageD(REALobjectStruct *object, REALobjectStruct *datagram);

// The next datagram with one reference for the caller, or nil. With `peek` it stays queued.
REALobjectStruct *ReadMessage(REALobjectStruct *object, HostBoolean peek);

// Property accessors: the object and the property's parameter word, which none of them needs.
long GetLocalPort(REALobjectStruct *object, long parameter);
REALstringStruct *GetLocalIP(REALobjectStruct *object, long parameter);
long AvailableBytes(REALobjectStruct *object, long parameter);
