// Options of the host's own sockets, as extensions of its class SocketCore.
//
// Every function asks the host for the socket's descriptor and makes one system call; every failure is a
// host exception, after which a getter answers 0. Nothing is kept.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

// The property "Handle" of a host socket; -1 for nil and when it can't be read.
std::int64_t REALGetSocketHandle(REALobjectStruct *socket);

// setsockopt with a 32-bit value, and with no value at all; getsockopt of a 32-bit value, sign-extended.
void SetSocketOption(REALobjectStruct *socket, int level, int option, int value);
void SetSocketOption(REALobjectStruct *socket, int level, int option);
std::int64_t GetSocketOption(REALobjectStruct *socket, int level, int option);

// Getters of Booleans answer with the system's value; its low byte counts.
std::int64_t GetReusePortVYN(REALobjectStruct *socket);
void SetReusePortVYN(REALobjectStruct *socket, HostBoolean value);
std::int64_t GetReuseAddressVYN(REALobjectStruct *socket);
void SetReuseAddressVYN(REALobjectStruct *socket, HostBoolean value);
std::int64_t GetOptionKeepAliveVYN(REALobjectStruct *socket);
void SetOptionKeepAliveVYN(REALobjectStruct *socket, std::int64_t value);
std::int64_t GetOptionMaximumSegmentSizeVYN(REALobjectStruct *socket);
void SetOptionMaximumSegmentSizeVYN(REALobjectStruct *socket, std::int64_t value);
std::int64_t GetOptionReceiveBufferSizeVYN(REALobjectStruct *socket);
void SetOptionReceiveBufferSizeVYN(REALobjectStruct *socket, std::int64_t value);
std::int64_t GetOptionSendBufferSizeVYN(REALobjectStruct *socket);
void SetOptionSendBufferSizeVYN(REALobjectStruct *socket, std::int64_t value);
std::int64_t GetOptionTypeVYN(REALobjectStruct *socket);
void ClearOptionsVYN(REALobjectStruct *socket);
std::int64_t GetOptionTOSVYN(REALobjectStruct *socket);
void SetOptionTOSVYN(REALobjectStruct *socket, std::int64_t value);
std::int64_t GetOptionTTLVYN(REALobjectStruct *socket);
void SetOptionTTLVYN(REALobjectStruct *socket, std::int64_t value);
std::int64_t GetOptionMutliCastTTLVYN(REALobjectStruct *socket);
void SetOptionMutliCastTTLVYN(REALobjectStruct *socket, std::int64_t value);
