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

// setsockopt with a 32-bit value, and with no value at all; getsockopt of a 32-bit value, sign-extended.
void SetSocketOption(REALobjectStruct *socket, int level, int option, int value);
void SetSocketOption(REALobjectStruct *socket, int level, int option);
std::int64_t GetSocketOption(REALobjectStruct *socket, int level, int option);

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

inline constexpr ExtensionOption kReusePortVYN = {true, SOL_SOCKET, SO_REUSEPORT};
inline constexpr ExtensionOption kReuseAddressVYN = {true, SOL_SOCKET, SO_REUSEADDR};
inline constexpr ExtensionOption kKeepAliveVYN = {false, SOL_SOCKET, SO_KEEPALIVE};
inline constexpr ExtensionOption kMaximumSegmentSizeVYN = {false, IPPROTO_TCP, TCP_MAXSEG};
inline constexpr ExtensionOption kReceiveBufferSizeVYN = {false, SOL_SOCKET, SO_RCVBUF};
inline constexpr ExtensionOption kSendBufferSizeVYN = {false, SOL_SOCKET, SO_SNDBUF};
inline constexpr ExtensionOption kTypeVYN = {false, SOL_SOCKET, SO_TYPE};
inline constexpr ExtensionOption kTOSVYN = {false, IPPROTO_IP, IP_TOS};
inline constexpr ExtensionOption kTTLVYN = {false, IPPROTO_IP, IP_TTL};
inline constexpr ExtensionOption kMutliCastTTLVYN = {false, IPPROTO_IP, IP_MULTICAST_TTL};

inline constexpr auto &GetReusePortVYN = GetExtension<kReusePortVYN>;
inline constexpr auto &SetReusePortVYN = SetExtension<kReusePortVYN>;
inline constexpr auto &GetReuseAddressVYN = GetExtension<kReuseAddressVYN>;
inline constexpr auto &SetReuseAddressVYN = SetExtension<kReuseAddressVYN>;
inline constexpr auto &GetOptionKeepAliveVYN = GetExtension<kKeepAliveVYN>;
inline constexpr auto &SetOptionKeepAliveVYN = SetExtension<kKeepAliveVYN>;
inline constexpr auto &GetOptionMaximumSegmentSizeVYN = GetExtension<kMaximumSegmentSizeVYN>;
inline constexpr auto &SetOptionMaximumSegmentSizeVYN = SetExtension<kMaximumSegmentSizeVYN>;
inline constexpr auto &GetOptionReceiveBufferSizeVYN = GetExtension<kReceiveBufferSizeVYN>;
inline constexpr auto &SetOptionReceiveBufferSizeVYN = SetExtension<kReceiveBufferSizeVYN>;
inline constexpr auto &GetOptionSendBufferSizeVYN = GetExtension<kSendBufferSizeVYN>;
inline constexpr auto &SetOptionSendBufferSizeVYN = SetExtension<kSendBufferSizeVYN>;
inline constexpr auto &GetOptionTypeVYN = GetExtension<kTypeVYN>;
inline constexpr auto &GetOptionTOSVYN = GetExtension<kTOSVYN>;
inline constexpr auto &SetOptionTOSVYN = SetExtension<kTOSVYN>;
inline constexpr auto &GetOptionTTLVYN = GetExtension<kTTLVYN>;
inline constexpr auto &SetOptionTTLVYN = SetExtension<kTTLVYN>;
inline constexpr auto &GetOptionMutliCastTTLVYN = GetExtension<kMutliCastTTLVYN>;
inline constexpr auto &SetOptionMutliCastTTLVYN = SetExtension<kMutliCastTTLVYN>;

// Removes all IP options (ip(7), IP_OPTIONS).
void ClearOptionsVYN(REALobjectStruct *socket);
