// Options of the host's own sockets, as extensions of its class SocketCore. "Mutli" in two of the names is a
// misspelling that programs know them by.
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

// std::int64_t Get(socket) and void Set(socket, value) for each row. Getters of Booleans answer with the system's
// value, whose low byte counts; setters of integers pass the low 32 bits on.
#define READ_ONLY_OPTION(get, level, option) std::int64_t get(REALobjectStruct *socket);
#define OPTION(get, set, type, level, option)                                                                          \
    std::int64_t get(REALobjectStruct *socket);                                                                        \
    void set(REALobjectStruct *socket, Host##type value);
#include "MainSocket.inc"

// Removes all IP options (ip(7), IP_OPTIONS).
void ClearOptionsVYN(REALobjectStruct *socket);
