// The plugin's entry: what is registered, in which order. And the DNS functions.
#include "BaseSocket.h"
#include "Datagram.h"
#include "MainSocket.h"

#include "Source/SDK/GlueCode/PluginMain.h"
#include "Source/Utility/GuardedRows.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"
#include "Source/Utility/rbclassutil.h"

#include <arpa/inet.h>
#include <iterator>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

// Names and addresses, by the system's resolver. Every failure is nil; nothing is raised.
namespace {

// Where an address of each family lies in its socket address.
struct IPv4 {
    static constexpr int family = AF_INET;
    using SocketAddress = sockaddr_in;
    static void *Address(SocketAddress &address) { return &address.sin_addr; }
    static void SetFamily(SocketAddress &address) { address.sin_family = AF_INET; }
};
struct IPv6 {
    static constexpr int family = AF_INET6;
    using SocketAddress = sockaddr_in6;
    static void *Address(SocketAddress &address) { return &address.sin6_addr; }
    static void SetFamily(SocketAddress &address) { address.sin6_family = AF_INET6; }
};

// The first address that the resolver lists.
template <typename Family>
REALstringStruct *NameToAddress(REALstringStruct *name)
{
    rbText text(name);
    addrinfo hints = {};
    hints.ai_family = Family::family;
    addrinfo *found = nullptr;
    if (getaddrinfo(text.GetUTF8(), nullptr, &hints, &found) != 0) return nullptr;
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, freeaddrinfo);

    auto &address = *reinterpret_cast<typename Family::SocketAddress *>(list->ai_addr);
    char buffer[99] = {};
    if (inet_ntop(Family::family, Family::Address(address), buffer, sizeof buffer) == nullptr) return nullptr;
    return CString2RB(buffer, kEncodingASCII);
}

// The name of a numeric address. An address without a name yields nil, never the number itself.
template <typename Family>
REALstringStruct *AddressToName(REALstringStruct *numeric)
{
    rbText text(numeric);
    typename Family::SocketAddress address = {};
    Family::SetFamily(address);
    if (inet_pton(Family::family, text.GetUTF8(), Family::Address(address)) != 1) return nullptr;

    char name[1025] = {};
    int code =
        getnameinfo(reinterpret_cast<sockaddr *>(&address), sizeof address, name, sizeof name, nullptr, 0, NI_NAMEREQD);
    return code == 0 ? CString2RB(name, kEncodingASCII) : nullptr;
}

constexpr auto &DNSNameToAddress4 = NameToAddress<IPv4>;
constexpr auto &DNSAddressToName4 = AddressToName<IPv4>;
constexpr auto &DNSNameToAddress6 = NameToAddress<IPv6>;
constexpr auto &DNSAddressToName6 = AddressToName<IPv6>;

} // namespace

// The host writes into the records when they are registered.
// clang-format off
static REALmethodDefinition methods[] = {
    SHARED_METHOD("OptionReusePortVYN(extends s as SocketCore) as Boolean",                            GetReusePortVYN),
    SHARED_METHOD("OptionReusePortVYN(extends s as SocketCore, assigns value as Boolean)",             SetReusePortVYN),
    SHARED_METHOD("OptionReuseAddressVYN(extends s as SocketCore) as Boolean",                         GetReuseAddressVYN),
    SHARED_METHOD("OptionReuseAddressVYN(extends s as SocketCore, assigns value as Boolean)",          SetReuseAddressVYN),
    SHARED_METHOD("DNSNameToAddressVYN(HostName as string) as string",                                 DNSNameToAddress4),
    SHARED_METHOD("DNSAddressToNameVYN(HostAddress as string) as string",                              DNSAddressToName4),
    SHARED_METHOD("DNSNameToAddressIPv6VYN(HostName as string) as string",                             DNSNameToAddress6),
    SHARED_METHOD("DNSAddressToNameIPv6VYN(HostAddress as string) as string",                          DNSAddressToName6),
    SHARED_METHOD("OptionKeepAliveVYN(extends s as SocketCore) as integer",                            GetOptionKeepAliveVYN),
    SHARED_METHOD("OptionMaximumSegmentSizeVYN(extends s as SocketCore) as integer",                   GetOptionMaximumSegmentSizeVYN),
    SHARED_METHOD("OptionMaximumSegmentSizeVYN(extends s as SocketCore, assigns value as integer)",    SetOptionMaximumSegmentSizeVYN),
    SHARED_METHOD("OptionReceiveBufferSizeVYN(extends s as SocketCore) as integer",                    GetOptionReceiveBufferSizeVYN),
    SHARED_METHOD("OptionReceiveBufferSizeVYN(extends s as SocketCore, assigns value as integer)",     SetOptionReceiveBufferSizeVYN),
    SHARED_METHOD("OptionSendBufferSizeVYN(extends s as SocketCore) as integer",                       GetOptionSendBufferSizeVYN),
    SHARED_METHOD("OptionSendBufferSizeVYN(extends s as SocketCore, assigns value as integer)",        SetOptionSendBufferSizeVYN),
    SHARED_METHOD("OptionTypeVYN(extends s as SocketCore) as integer",                                 GetOptionTypeVYN),
    SHARED_METHOD("ClearOptionsVYN(extends s as SocketCore)",                                          ClearOptionsVYN),
    SHARED_METHOD("OptionTOSVYN(extends s as SocketCore) as integer",                                  GetOptionTOSVYN),
    SHARED_METHOD("OptionTTLVYN(extends s as SocketCore) as integer",                                  GetOptionTTLVYN),
    SHARED_METHOD("OptionMutliCastTTLVYN(extends s as SocketCore) as integer",                         GetOptionMutliCastTTLVYN),
    SHARED_METHOD("OptionTOSVYN(extends s as SocketCore, assigns value as integer)",                   SetOptionTOSVYN),
    SHARED_METHOD("OptionTTLVYN(extends s as SocketCore, assigns value as integer)",                   SetOptionTTLVYN),
    SHARED_METHOD("OptionMutliCastTTLVYN(extends s as SocketCore, assigns value as integer)",          SetOptionMutliCastTTLVYN),
    SHARED_METHOD("OptionKeepAliveVYN(extends s as SocketCore, assigns value as integer)",             SetOptionKeepAliveVYN),
};
// clang-format on

extern "C" __attribute__((visibility("default"))) void PluginEntry()
{
    MyPluginStart("Network");
    MyREALRegisterMethodArray(methods, std::size(methods));
    MyREALRegisterClass(&UDPSocketClass);
    MyREALRegisterClass(&RAWSocketClass);
    MyREALRegisterClass(&DatagramClass);
    MyPluginEnde();
}
