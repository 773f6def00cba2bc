// The option properties of both socket classes. Nothing is cached: reading a property asks the system, assigning one
// tells it.
//
// A getter without a socket answers 0. Booleans are true when the low byte of the system's value is not zero; integers
// are 32 bits wide, sign-extended.
#pragma once

#include "BaseSocket.h"

#include "Source/Utility/GuardedRows.h"

enum class OptionType { kInteger, kBoolean, kReadOnly };

// The lines of the debug log that only some accessors write, besides their names and errno.
enum OptionLines : unsigned int {
    kNumberLine = 0x1,  // the option's number, and the length that the getter asks for
    kGetLine = 0x2,     // the result of getsockopt
    kSetLine = 0x4,     // the result of setsockopt
    kValueLine = 0x8,   // the value read
    kNoSetError = 0x10, // the setter leaves errno out
    kNoLine = 0x20,     // nothing at all
};

// An option that is one number in the system.
struct SocketOption {
    OptionType type;
    int level;
    int number;
    int initialValue;       // what the value is before it is read
    int failureResult;      // what the getter answers when the call fails
    const char *errorLabel; // what errno is logged as; null: not at all
    unsigned int lines;     // OptionLines
    const char *getterName;
    const char *setterName;
    const char *numberName;
};

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

// How to read a row: the option, as the tables of the classes name it; what programs see; the names of its accessors,
// which are also their lines in the log; its numbers; its values; its other lines. A new one presets -1 and answers it
// when the call fails, or 0 for a Boolean, unless programs should see something else.
#define READ_ONLY_OPTION(option, getter, level, number, initial, failed, errorLabel, lines)                            \
    inline constexpr SocketOption option = {                                                                           \
        OptionType::kReadOnly, level, number, initial, failed, errorLabel, lines, #getter, nullptr, #number};          \
    inline constexpr auto &getter = GetOption<option>;
#define SOCKET_OPTION(option, type, getter, setter, level, number, initial, failed, errorLabel, lines)                 \
    inline constexpr SocketOption option = {OptionType::type, level, number,  initial, failed,                         \
                                            errorLabel,       lines, #getter, #setter, #number};                       \
    inline constexpr auto &getter = GetOption<option>;                                                                 \
    inline constexpr auto &setter = SetOption<option>;
// clang-format off
//               option                type      getter                setter                level       number             initial failed
SOCKET_OPTION   (kTypeOfService,       kInteger, GetTOS,               SetTOS,               IPPROTO_IP, IP_TOS,            -1, -1, "Failed with errno", 0)
SOCKET_OPTION   (kTimeToLive,          kInteger, GetTTL,               SetTTL,               IPPROTO_IP, IP_TTL,            -1, -1, "Failed with errno", kNumberLine | kGetLine | kSetLine)
SOCKET_OPTION   (kMulticastTimeToLive, kInteger, GetMulticastTTL,      SetMulticastTTL,      IPPROTO_IP, IP_MULTICAST_TTL,  -1, -1, "Failed with errno", kGetLine | kSetLine)
SOCKET_OPTION   (kMulticastLoop,       kBoolean, GetMulticastLoop,     SetMulticastLoop,     IPPROTO_IP, IP_MULTICAST_LOOP,  0,  0, "Failed with errno", kValueLine)
READ_ONLY_OPTION(kType,                          GetType,                                    SOL_SOCKET, SO_TYPE,           -1, -1, "Failed with errno", 0)
SOCKET_OPTION   (kSendBufferSize,      kInteger, GetSendBufferSize,    SetSendBufferSize,    SOL_SOCKET, SO_SNDBUF,         -1, -1, "errno",             0)
SOCKET_OPTION   (kReceiveBufferSize,   kInteger, GetReceiveBufferSize, SetReceiveBufferSize, SOL_SOCKET, SO_RCVBUF,         -1, -1, "errno",             kValueLine)
SOCKET_OPTION   (kReuseAddress,        kBoolean, GetReuseAddress,      SetReuseAddress,      SOL_SOCKET, SO_REUSEADDR,       0,  0, "errno",             kValueLine)
SOCKET_OPTION   (kReusePort,           kBoolean, GetReusePort,         SetReusePort,         SOL_SOCKET, SO_REUSEPORT,       0, -1, "errno",             0)
SOCKET_OPTION   (kBroadcast,           kBoolean, GetBroadcast,         SetBroadcast,         SOL_SOCKET, SO_BROADCAST,       0,  0, "errno",             kGetLine | kValueLine | kNoSetError)
READ_ONLY_OPTION(kSocketError,                   GetSocketError,                             SOL_SOCKET, SO_ERROR,          -1, -1, "errno",             kValueLine)
SOCKET_OPTION   (kIPHeaderIncluded,    kBoolean, getIPHeaderIncluded,  setIPHeaderIncluded,  IPPROTO_IP, IP_HDRINCL,         0,  0, nullptr,             kNoLine)
// clang-format on
#undef SOCKET_OPTION
#undef READ_ONLY_OPTION

// A property's row.
#define OPTION(name, option) OptionProperty<option>(name)

template <const SocketOption &option>
consteval REALproperty OptionProperty(const char *name)
{
    if constexpr (option.type == OptionType::kReadOnly) {
        return Computed<GetOption<option>>(name, "Integer");
    } else {
        return Computed<GetOption<option>, SetOption<option>>(name, option.type == OptionType::kBoolean ? "Boolean"
                                                                                                        : "Integer");
    }
}

// The multicast interface is an IPv4 address, which programs see as text.
REALstringStruct *getMulticastInterface(REALobjectStruct *object, long parameter);
void setMulticastInterface(REALobjectStruct *object, long parameter, REALstringStruct *text);
