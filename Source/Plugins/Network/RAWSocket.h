// RAWSocketVYN: a socket of any family, type and protocol. Its members have the parameters of their declarations;
// those that it shares with UDPSocketVYN are in BaseSocket.h and SocketOptions.h.
//
// The shared members write to the debug log, and those of this class alone do not. That is known outside and stays.
#pragma once

#include "BaseSocket.h"

// --- RAWSocketConnect.cpp: connecting, binding and accepting ------------------------------------------

// Resolves the address, makes a new socket and connects it, which waits. The new descriptor replaces the
// old one and is blocking. A failure leaves the old one and tells in `errorMessage`.
BooleanWord Connect1(REALobjectStruct *object, REALstringStruct *address, std::int64_t port,
                     REALstringStruct **errorMessage);

// connect(2) and bind(2) with a socket address of the program's own making.
BooleanWord Connect2(REALobjectStruct *object, const void *address, std::int64_t addressSize);
BooleanWord BindDirect(REALobjectStruct *object, const void *address, std::int64_t addressSize);

void Listen(REALobjectStruct *object, std::int64_t backlog);

// The next waiting connection in `newSocket`, whose descriptor it replaces, or in a new object; nil when
// there is none. The result carries one reference for the caller.
REALobjectStruct *Accept(REALobjectStruct *object, REALstringStruct **remoteAddress, std::int64_t *remotePort,
                         REALobjectStruct *newSocket);

// --- RAWSocketIO.cpp: bytes as they are ---------------------------------------------------------------

REALmemoryBlockStruct *Read(REALobjectStruct *object, std::int64_t byteSize, HostBoolean peek);
REALmemoryBlockStruct *ReadAll(REALobjectStruct *object, HostBoolean peek);

// send(2) and sendto(2) with the program's own bytes, flags and socket address.
std::int64_t xojo_send(REALobjectStruct *object, const void *data, std::int64_t dataSize, std::int64_t flags);
std::int64_t xojo_sendto(REALobjectStruct *object, const void *data, std::int64_t dataSize, std::int64_t flags,
                         const void *address, std::int64_t addressSize);

// --- RAWSocketHelpers.cpp: class-level methods, no socket needed --------------------------------------

std::int64_t AddressFamilyINet6();

// The Internet checksum (RFC 1071) of the bytes, in the machine's byte order as the words lie in memory.
UInt16Word CalcChecksum(const void *data, std::int64_t byteCount);
UInt16Word xojo_htons(std::uint16_t value);
UInt16Word xojo_ntohs(std::uint16_t value);
std::uint32_t xojo_htonl(std::uint32_t value);
std::uint32_t xojo_ntohl(std::uint32_t value);
std::uint32_t xojo_inet_addr(REALstringStruct *text); // 0xFFFFFFFF for anything but an address
REALstringStruct *xojo_inet_ntoa(std::uint32_t address);
