// The option properties of both socket classes. Nothing is cached: reading a property asks the system, assigning one
// tells it. The rows are in SocketOptions.inc.
//
// A getter without a socket answers 0. Booleans are true when the low byte of the system's value is not zero; integers
// are 32 bits wide, sign-extended.
#pragma once

#include "BaseSocket.h"

namespace property {

// How accessors pass the value of a property of each type.
using IntegerResult = long;
using IntegerValue = long;
using BooleanResult = BooleanWord;
using BooleanValue = HostBoolean;

} // namespace property

// For each row
//   long Get(REALobjectStruct *object, long parameter);
//   void Set(REALobjectStruct *object, long parameter, long value);
// with the types of a Boolean where it is one. The property's parameter word is not needed.
#define READ_ONLY_SOCKET_OPTION(type, get, level, option, initialValue, failureResult, getterLabels)                   \
    property::type##Result get(REALobjectStruct *object, long parameter);
#define SOCKET_OPTION(type, get, set, level, option, initialValue, failureResult, getterLabels, setterLabels)          \
    property::type##Result get(REALobjectStruct *object, long parameter);                                              \
    void set(REALobjectStruct *object, long parameter, property::type##Value value);
#include "SocketOptions.inc"

// The multicast interface is an IPv4 address, which programs see as text.
REALstringStruct *getMulticastInterface(REALobjectStruct *object, long parameter);
void setMulticastInterface(REALobjectStruct *object, long parameter, REALstringStruct *text);
