// Nothing is cached: reading a property asks the system, assigning one tells it.
#include "SocketOptions.h"

#include "Libs/shared/Socket/SocketUtil.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr char kErrno[] = "errno";
constexpr char kFailed[] = "Failed with errno";

// How to read a row: level, option, preset, result of a failed reading; the getter's and the setter's entry
// line; what each traces besides; the label of each one's failure line.
// clang-format off
constexpr SocketOption kTypeOfService       = {IPPROTO_IP, IP_TOS,            -1, -1, "GetTOS",               "SetTOS",               kNoTrace,                  kNoTrace,                  kFailed, kFailed};
constexpr SocketOption kTimeToLive          = {IPPROTO_IP, IP_TTL,            -1, -1, "GetTTL",               "SetTTL",               kTraceOption | kTraceCall, kTraceOption | kTraceCall, kFailed, kFailed};
constexpr SocketOption kMulticastTimeToLive = {IPPROTO_IP, IP_MULTICAST_TTL,  -1, -1, "GetMulticastTTL",      "SetMulticastTTL",      kTraceCall,                kTraceCall,                kFailed, kFailed};
constexpr SocketOption kMulticastLoop       = {IPPROTO_IP, IP_MULTICAST_LOOP,  0,  0, "GetMulticastLoop",     "SetMulticastLoop",     kTraceValue,               kNoTrace,                  kFailed, kFailed};
constexpr SocketOption kType                = {SOL_SOCKET, SO_TYPE,           -1, -1, "GetType",              nullptr,                kNoTrace,                  kNoTrace,                  kFailed, nullptr};
constexpr SocketOption kSendBufferSize      = {SOL_SOCKET, SO_SNDBUF,         -1, -1, "GetSendBufferSize",    "SetSendBufferSize",    kNoTrace,                  kNoTrace,                  kErrno,  kErrno};
constexpr SocketOption kReceiveBufferSize   = {SOL_SOCKET, SO_RCVBUF,         -1, -1, "GetReceiveBufferSize", "SetReceiveBufferSize", kTraceValue,               kNoTrace,                  kErrno,  kErrno};
constexpr SocketOption kReuseAddress        = {SOL_SOCKET, SO_REUSEADDR,       0,  0, "GetReuseAddress",      "SetReuseAddress",      kTraceValue,               kNoTrace,                  kErrno,  kErrno};
constexpr SocketOption kReusePort           = {SOL_SOCKET, SO_REUSEPORT,       0, -1, "GetReusePort",         "SetReusePort",         kNoTrace,                  kNoTrace,                  kErrno,  kErrno};
constexpr SocketOption kBroadcast           = {SOL_SOCKET, SO_BROADCAST,       0,  0, "GetBroadcast",         "SetBroadcast",         kTraceCall | kTraceValue,  kNoTrace,                  kErrno,  nullptr};
constexpr SocketOption kSocketError         = {SOL_SOCKET, SO_ERROR,          -1, -1, "GetSocketError",       nullptr,                kTraceValue,               kNoTrace,                  kErrno,  nullptr};
constexpr SocketOption kIPHeaderIncluded    = {IPPROTO_IP, IP_HDRINCL,         0,  0, nullptr,                nullptr,                kNoTrace,                  kNoTrace,                  nullptr, nullptr};
// clang-format on

struct OptionAnswer {
    int value = 0;
    bool succeeded = false;
};

OptionAnswer ReadOption(REALobjectStruct *object, const SocketOption &option)
{
    if (option.getter != nullptr) TRACE(option.getter);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return {};

    OptionAnswer answer;
    answer.value = option.preset;
    socklen_t length = sizeof answer.value;
    if (option.getterTraces & kTraceOption) {
        TRACE("IP_TTL", option.number);
        TRACE("len", length);
    }
    int result = getsockopt(Descriptor(*socket), option.level, option.number, &answer.value, &length);
    int error = ErrorOf(result);
    if (option.getterTraces & kTraceCall) TRACE("getsockopt", result);
    answer.succeeded = FinishOperation(*socket, error, option.getterFailure);
    if (option.getterTraces & kTraceValue) TRACE("result", answer.value);
    if (!answer.succeeded) answer.value = option.failureResult;
    return answer;
}

// The system call of a setter, with its outcome.
void WriteOption(SocketRecord &socket, const SocketOption &option, int value)
{
    if (option.setterTraces & kTraceOption) TRACE("IP_TTL", option.number);
    int result = setsockopt(Descriptor(socket), option.level, option.number, &value, sizeof value);
    int error = ErrorOf(result);
    if (option.setterTraces & kTraceCall) TRACE("setsockopt", result);
    FinishOperation(socket, error, option.setterFailure);
}

} // namespace

long GetIntegerOption(REALobjectStruct *object, const SocketOption &option)
{
    return ReadOption(object, option).value;
}

BooleanWord GetBooleanOption(REALobjectStruct *object, const SocketOption &option)
{
    OptionAnswer answer = ReadOption(object, option);
    return answer.succeeded ? (answer.value & 0xFF) != 0 : answer.value;
}

void SetIntegerOption(REALobjectStruct *object, const SocketOption &option, long value)
{
    if (option.setter != nullptr) TRACE(option.setter, value);
    SocketRecord *socket = BeginOperation(object);
    if (socket != nullptr) WriteOption(*socket, option, static_cast<int>(value));
}

void SetBooleanOption(REALobjectStruct *object, const SocketOption &option, HostBoolean value)
{
    SetIntegerOption(object, option, value != 0);
}

// clang-format off
long        GetTOS              (REALobjectStruct *object, long)                    { return GetIntegerOption(object, kTypeOfService); }
void        SetTOS              (REALobjectStruct *object, long, long value)        { SetIntegerOption(object, kTypeOfService, value); }
long        GetTTL              (REALobjectStruct *object, long)                    { return GetIntegerOption(object, kTimeToLive); }
void        SetTTL              (REALobjectStruct *object, long, long value)        { SetIntegerOption(object, kTimeToLive, value); }
long        GetMulticastTTL     (REALobjectStruct *object, long)                    { return GetIntegerOption(object, kMulticastTimeToLive); }
void        SetMulticastTTL     (REALobjectStruct *object, long, long value)        { SetIntegerOption(object, kMulticastTimeToLive, value); }
BooleanWord GetMulticastLoop    (REALobjectStruct *object, long)                    { return GetBooleanOption(object, kMulticastLoop); }
void        SetMulticastLoop    (REALobjectStruct *object, long, HostBoolean value) { SetBooleanOption(object, kMulticastLoop, value); }
long        GetType             (REALobjectStruct *object, long)                    { return GetIntegerOption(object, kType); }
long        GetSendBufferSize   (REALobjectStruct *object, long)                    { return GetIntegerOption(object, kSendBufferSize); }
void        SetSendBufferSize   (REALobjectStruct *object, long, long value)        { SetIntegerOption(object, kSendBufferSize, value); }
long        GetReceiveBufferSize(REALobjectStruct *object, long)                    { return GetIntegerOption(object, kReceiveBufferSize); }
void        SetReceiveBufferSize(REALobjectStruct *object, long, long value)        { SetIntegerOption(object, kReceiveBufferSize, value); }
BooleanWord GetReuseAddress     (REALobjectStruct *object, long)                    { return GetBooleanOption(object, kReuseAddress); }
void        SetReuseAddress     (REALobjectStruct *object, long, HostBoolean value) { SetBooleanOption(object, kReuseAddress, value); }
BooleanWord GetReusePort        (REALobjectStruct *object, long)                    { return GetBooleanOption(object, kReusePort); }
void        SetReusePort        (REALobjectStruct *object, long, HostBoolean value) { SetBooleanOption(object, kReusePort, value); }
BooleanWord GetBroadcast        (REALobjectStruct *object, long)                    { return GetBooleanOption(object, kBroadcast); }
void        SetBroadcast        (REALobjectStruct *object, long, HostBoolean value) { SetBooleanOption(object, kBroadcast, value); }
long        GetSocketError      (REALobjectStruct *object, long)                    { return GetIntegerOption(object, kSocketError); }
BooleanWord getIPHeaderIncluded (REALobjectStruct *object, long)                    { return GetBooleanOption(object, kIPHeaderIncluded); }
void        setIPHeaderIncluded (REALobjectStruct *object, long, HostBoolean value) { SetBooleanOption(object, kIPHeaderIncluded, value); }
// clang-format on

// The multicast interface is an IPv4 address, which programs see as text.

REALstringStruct *getMulticastInterface(REALobjectStruct *object, long)
{
    TRACE("getMulticastInterface");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return nullptr;

    in_addr address = {};
    socklen_t length = sizeof address;
    int result = getsockopt(Descriptor(*socket), IPPROTO_IP, IP_MULTICAST_IF, &address, &length);
    FinishOperation(*socket, ErrorOf(result), kFailed);
    return CString2RB(inet_ntoa(address), kEncodingASCII);
}

void setMulticastInterface(REALobjectStruct *object, long, REALstringStruct *text)
{
    TRACE("setMulticastInterface", text);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return;

    in_addr address = {}; // any interface
    if (text != nullptr) {
        rbText name(text);
        TRACE("interface", name.GetASCII());
        address.s_addr = text_to_ipv4(name.GetASCII());
    } else {
        TRACE("any interface");
    }
    int result = setsockopt(Descriptor(*socket), IPPROTO_IP, IP_MULTICAST_IF, &address, sizeof address);
    int error = ErrorOf(result);
    TRACE("setsockopt", result);
    FinishOperation(*socket, error, "Failed with error");
}
