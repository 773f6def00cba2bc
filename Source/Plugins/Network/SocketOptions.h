// The option properties of both socket classes. Nothing is cached: reading a property asks the system, assigning one
// tells it.
//
// A getter without a socket answers 0. Booleans are true when the low byte of the system's value is not zero; integers
// are 32 bits wide, sign-extended.
#pragma once

#include "BaseSocket.h"

#include "Source/Utility/GuardedRows.h"

#include <netinet/in.h>

enum class OptionType { kInteger, kBoolean, kReadOnlyInteger };

// What an accessor writes to the debug log; null: no line.
struct OptionLabels {
    const char *entry = nullptr;   // on entry; a setter adds the value
    const char *number = nullptr;  // the option's number; a getter adds the length that it asks for
    const char *call = nullptr;    // the call's result
    const char *value = nullptr;   // the value read
    const char *failure = nullptr; // errno
};

// An option that is one number in the system. A new one presets -1 and answers it when the call fails, or 0 for a
// Boolean, unless programs should see something else; its labels are its names and "Failed with errno".
struct SocketOption {
    OptionType type;
    int level;
    int number;
    int initialValue;  // what the value is before it is read
    int failureResult; // what the getter answers when the call fails
    OptionLabels getter = {};
    OptionLabels setter = {};
};

// clang-format off
inline constexpr SocketOption kTypeOfService = {OptionType::kInteger, IPPROTO_IP, IP_TOS, -1, -1,
    {.entry = "GetTOS", .failure = "Failed with errno"},
    {.entry = "SetTOS", .failure = "Failed with errno"}};
inline constexpr SocketOption kTimeToLive = {OptionType::kInteger, IPPROTO_IP, IP_TTL, -1, -1,
    {.entry = "GetTTL", .number = "IP_TTL", .call = "getsockopt", .failure = "Failed with errno"},
    {.entry = "SetTTL", .number = "IP_TTL", .call = "setsockopt", .failure = "Failed with errno"}};
inline constexpr SocketOption kMulticastTimeToLive = {OptionType::kInteger, IPPROTO_IP, IP_MULTICAST_TTL, -1, -1,
    {.entry = "GetMulticastTTL", .call = "getsockopt", .failure = "Failed with errno"},
    {.entry = "SetMulticastTTL", .call = "setsockopt", .failure = "Failed with errno"}};
inline constexpr SocketOption kMulticastLoop = {OptionType::kBoolean, IPPROTO_IP, IP_MULTICAST_LOOP, 0, 0,
    {.entry = "GetMulticastLoop", .value = "result", .failure = "Failed with errno"},
    {.entry = "SetMulticastLoop", .failure = "Failed with errno"}};
inline constexpr SocketOption kType = {OptionType::kReadOnlyInteger, SOL_SOCKET, SO_TYPE, -1, -1,
    {.entry = "GetType", .failure = "Failed with errno"}};
inline constexpr SocketOption kSendBufferSize = {OptionType::kInteger, SOL_SOCKET, SO_SNDBUF, -1, -1,
    {.entry = "GetSendBufferSize", .failure = "errno"},
    {.entry = "SetSendBufferSize", .failure = "errno"}};
inline constexpr SocketOption kReceiveBufferSize = {OptionType::kInteger, SOL_SOCKET, SO_RCVBUF, -1, -1,
    {.entry = "GetReceiveBufferSize", .value = "result", .failure = "errno"},
    {.entry = "SetReceiveBufferSize", .failure = "errno"}};
inline constexpr SocketOption kReuseAddress = {OptionType::kBoolean, SOL_SOCKET, SO_REUSEADDR, 0, 0,
    {.entry = "GetReuseAddress", .value = "result", .failure = "errno"},
    {.entry = "SetReuseAddress", .failure = "errno"}};
inline constexpr SocketOption kReusePort = {OptionType::kBoolean, SOL_SOCKET, SO_REUSEPORT, 0, -1,
    {.entry = "GetReusePort", .failure = "errno"},
    {.entry = "SetReusePort", .failure = "errno"}};
inline constexpr SocketOption kBroadcast = {OptionType::kBoolean, SOL_SOCKET, SO_BROADCAST, 0, 0,
    {.entry = "GetBroadcast", .call = "getsockopt", .value = "result", .failure = "errno"},
    {.entry = "SetBroadcast"}};
inline constexpr SocketOption kSocketError = {OptionType::kReadOnlyInteger, SOL_SOCKET, SO_ERROR, -1, -1,
    {.entry = "GetSocketError", .value = "result", .failure = "errno"}};
inline constexpr SocketOption kIPHeaderIncluded = {OptionType::kBoolean, IPPROTO_IP, IP_HDRINCL, 0, 0};
// clang-format on

// The value that the system has, and that it gets.
long ReadOption(REALobjectStruct *object, const SocketOption &option);
void WriteOption(REALobjectStruct *object, const SocketOption &option, long value);

// The accessors of an option. None needs the property's parameter word.
template <const SocketOption &option>
auto GetOption(REALobjectStruct *object, long)
{
    using Result = std::conditional_t<option.type == OptionType::kBoolean, BooleanWord, long>;
    return Result(ReadOption(object, option));
}
template <const SocketOption &option>
void SetOption(REALobjectStruct *object, long,
               std::conditional_t<option.type == OptionType::kBoolean, HostBoolean, long> value)
{
    WriteOption(object, option, value);
}

// A property's row.
#define OPTION(name, option) OptionProperty<option>(name)

template <const SocketOption &option>
consteval REALproperty OptionProperty(const char *name)
{
    if constexpr (option.type == OptionType::kReadOnlyInteger) {
        return Computed<GetOption<option>>(name, "Integer");
    } else {
        return Computed<GetOption<option>, SetOption<option>>(name, option.type == OptionType::kBoolean ? "Boolean"
                                                                                                        : "Integer");
    }
}

// The accessors by their names.
inline constexpr auto &GetTOS = GetOption<kTypeOfService>;
inline constexpr auto &SetTOS = SetOption<kTypeOfService>;
inline constexpr auto &GetTTL = GetOption<kTimeToLive>;
inline constexpr auto &SetTTL = SetOption<kTimeToLive>;
inline constexpr auto &GetMulticastTTL = GetOption<kMulticastTimeToLive>;
inline constexpr auto &SetMulticastTTL = SetOption<kMulticastTimeToLive>;
inline constexpr auto &GetMulticastLoop = GetOption<kMulticastLoop>;
inline constexpr auto &SetMulticastLoop = SetOption<kMulticastLoop>;
inline constexpr auto &GetType = GetOption<kType>;
inline constexpr auto &GetSendBufferSize = GetOption<kSendBufferSize>;
inline constexpr auto &SetSendBufferSize = SetOption<kSendBufferSize>;
inline constexpr auto &GetReceiveBufferSize = GetOption<kReceiveBufferSize>;
inline constexpr auto &SetReceiveBufferSize = SetOption<kReceiveBufferSize>;
inline constexpr auto &GetReuseAddress = GetOption<kReuseAddress>;
inline constexpr auto &SetReuseAddress = SetOption<kReuseAddress>;
inline constexpr auto &GetReusePort = GetOption<kReusePort>;
inline constexpr auto &SetReusePort = SetOption<kReusePort>;
inline constexpr auto &GetBroadcast = GetOption<kBroadcast>;
inline constexpr auto &SetBroadcast = SetOption<kBroadcast>;
inline constexpr auto &GetSocketError = GetOption<kSocketError>;
inline constexpr auto &getIPHeaderIncluded = GetOption<kIPHeaderIncluded>;
inline constexpr auto &setIPHeaderIncluded = SetOption<kIPHeaderIncluded>;

// The multicast interface is an IPv4 address, which programs see as text.
REALstringStruct *getMulticastInterface(REALobjectStruct *object, long parameter);
void setMulticastInterface(REALobjectStruct *object, long parameter, REALstringStruct *text);
