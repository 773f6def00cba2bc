// The option properties of both socket classes: each one row of what the system is asked, and what is
// said of it in the debug log.
#pragma once

#include "BaseSocket.h"

// What an accessor traces besides its name and the failure.
enum OptionTrace : unsigned int {
    kNoTrace = 0,
    kTraceOption = 1, // "IP_TTL" with its number, and when reading "len" with the length asked for
    kTraceCall = 2,   // "getsockopt" or "setsockopt" with the call's result
    kTraceValue = 4,  // "result" with the value read
};

struct SocketOption {
    int level;
    int number;
    int preset;         // what the value is before it is read
    int failureResult;  // what the getter answers when the call fails
    const char *getter; // entry lines; null: no line
    const char *setter;
    unsigned int getterTraces; // OptionTrace bits
    unsigned int setterTraces;
    const char *getterFailure; // label of the failure line; null: no line
    const char *setterFailure;
};

// Reads an option as a 32-bit integer, sign-extended; without a socket 0.
long GetIntegerOption(REALobjectStruct *object, const SocketOption &option);
// True when the low byte of the value is not zero; the failure result as it stands.
BooleanWord GetBooleanOption(REALobjectStruct *object, const SocketOption &option);
// Sets the low 32 bits.
void SetIntegerOption(REALobjectStruct *object, const SocketOption &option, long value);
void SetBooleanOption(REALobjectStruct *object, const SocketOption &option, HostBoolean value);

// --- accessors that serve both classes ----------------------------------------------------------------
long GetSendBufferSize(REALobjectStruct *object, long parameter);
void SetSendBufferSize(REALobjectStruct *object, long parameter, long value);
long GetReceiveBufferSize(REALobjectStruct *object, long parameter);
void SetReceiveBufferSize(REALobjectStruct *object, long parameter, long value);
BooleanWord GetReuseAddress(REALobjectStruct *object, long parameter);
void SetReuseAddress(REALobjectStruct *object, long parameter, HostBoolean value);
BooleanWord GetReusePort(REALobjectStruct *object, long parameter);
void SetReusePort(REALobjectStruct *object, long parameter, HostBoolean value);
BooleanWord GetBroadcast(REALobjectStruct *object, long parameter);
void SetBroadcast(REALobjectStruct *object, long parameter, HostBoolean value);
long GetSocketError(REALobjectStruct *object, long parameter);

// --- of UDPSocketVYN alone ----------------------------------------------------------------------------
long GetTOS(REALobjectStruct *object, long parameter);
void SetTOS(REALobjectStruct *object, long parameter, long value);
long GetTTL(REALobjectStruct *object, long parameter);
void SetTTL(REALobjectStruct *object, long parameter, long value);
long GetMulticastTTL(REALobjectStruct *object, long parameter);
void SetMulticastTTL(REALobjectStruct *object, long parameter, long value);
BooleanWord GetMulticastLoop(REALobjectStruct *object, long parameter);
void SetMulticastLoop(REALobjectStruct *object, long parameter, HostBoolean value);
REALstringStruct *getMulticastInterface(REALobjectStruct *object, long parameter);
void setMulticastInterface(REALobjectStruct *object, long parameter, REALstringStruct *text);
long GetType(REALobjectStruct *object, long parameter);

// --- of RAWSocketVYN alone ----------------------------------------------------------------------------
BooleanWord getIPHeaderIncluded(REALobjectStruct *object, long parameter);
void setIPHeaderIncluded(REALobjectStruct *object, long parameter, HostBoolean value);
