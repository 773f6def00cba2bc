// The option properties of both socket classes. Nothing is cached: reading a property asks the system, assigning one
// tells it. The rows are in SocketOptions.inc.
//
// A getter without a socket answers 0. Booleans are true when the low byte of the system's value is not zero; integers
// are 32 bits wide, sign-extended.
#pragma once

#include "BaseSocket.h"

// The accessors of each row. None needs the property's parameter word.
#define READ_ONLY_SOCKET_OPTION(type, get, level, option, initialValue, failureResult, getterLabels)                   \
    type##Word get(REALobjectStruct *object, long parameter);
#define SOCKET_OPTION(type, get, set, level, option, initialValue, failureResult, getterLabels, setterLabels)          \
    type##Word get(REALobjectStruct *object, long parameter);                                                          \
    void set(REALobjectStruct *object, long parameter, Host##type value);
#include "SocketOptions.inc"

// The multicast interface is an IPv4 address, which programs see as text.
REALstringStruct *getMulticastInterface(REALobjectStruct *object, long parameter);
void setMulticastInterface(REALobjectStruct *object, long parameter, REALstringStruct *text);
