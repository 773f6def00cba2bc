// Options of the host's own sockets, as extensions of its class SocketCore. The misspelt "Mutli" in two of the names is
// known outside and stays.
//
// Every function asks the host for the socket's descriptor and makes one system call; every failure is a
// host exception, after which a getter answers 0. Nothing is kept.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <type_traits>

// The property "Handle" of a host socket; -1 for nil and when it can't be read.
std::int64_t REALGetSocketHandle(REALobjectStruct *socket);

// setsockopt with a 32-bit value, and with no value at all; getsockopt of a 32-bit value, sign-extended. Two of them
// serve many rows, which would be larger with copies.
[[gnu::noinline]] void SetSocketOption(REALobjectStruct *socket, int level, int option, int value);
void SetSocketOption(REALobjectStruct *socket, int level, int option);
[[gnu::noinline]] std::int64_t GetSocketOption(REALobjectStruct *socket, int level, int option);

// An option of the host's own sockets.
struct ExtensionOption {
    bool isBoolean;
    int level;
    int number;
};

// Its getter, which answers with the system's value, of which a Boolean's low byte counts. Its setter, which passes the
// low 32 bits of an Integer on.
template <const ExtensionOption &option>
auto GetExtension(REALobjectStruct *socket)
{
    using Result = std::conditional_t<option.isBoolean, BooleanWord, std::int64_t>;
    return Result(GetSocketOption(socket, option.level, option.number));
}
template <const ExtensionOption &option>
void SetExtension(REALobjectStruct *socket, std::conditional_t<option.isBoolean, HostBoolean, std::int64_t> value)
{
    SetSocketOption(socket, option.level, option.number, option.isBoolean ? value != 0 : static_cast<int>(value));
}

// How to read a row: the names of the accessors follow Get and Set; whether programs see a Boolean; the option's
// numbers. The table of members has no setter of the type.
#define EXTENSION_OPTION(name, isBoolean, level, number)                                                               \
    inline constexpr ExtensionOption k##name = {isBoolean, level, number};                                             \
    inline constexpr auto &Get##name = GetExtension<k##name>;                                                          \
    inline constexpr auto &Set##name = SetExtension<k##name>;
// clang-format off
EXTENSION_OPTION(ReusePortVYN,                true,  SOL_SOCKET,  SO_REUSEPORT)
EXTENSION_OPTION(ReuseAddressVYN,             true,  SOL_SOCKET,  SO_REUSEADDR)
EXTENSION_OPTION(OptionKeepAliveVYN,          false, SOL_SOCKET,  SO_KEEPALIVE)
EXTENSION_OPTION(OptionMaximumSegmentSizeVYN, false, IPPROTO_TCP, TCP_MAXSEG)
EXTENSION_OPTION(OptionReceiveBufferSizeVYN,  false, SOL_SOCKET,  SO_RCVBUF)
EXTENSION_OPTION(OptionSendBufferSizeVYN,     false, SOL_SOCKET,  SO_SNDBUF)
EXTENSION_OPTION(OptionTypeVYN,               false, SOL_SOCKET,  SO_TYPE)
EXTENSION_OPTION(OptionTOSVYN,                false, IPPROTO_IP,  IP_TOS)
EXTENSION_OPTION(OptionTTLVYN,                false, IPPROTO_IP,  IP_TTL)
EXTENSION_OPTION(OptionMutliCastTTLVYN,       false, IPPROTO_IP,  IP_MULTICAST_TTL)
// clang-format on
#undef EXTENSION_OPTION

// Removes all IP options (ip(7), IP_OPTIONS).
void ClearOptionsVYN(REALobjectStruct *socket);
