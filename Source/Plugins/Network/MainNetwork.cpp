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

// Names and addresses, by the system's resolver. Every failure is nil; nothing is raised.
namespace {

// The first address that the resolver lists.
template <int family>
REALstringStruct *NameToAddress(REALstringStruct *name)
{
    rbText text(name);
    addrinfo hints = {};
    hints.ai_family = family;
    addrinfo *found = nullptr;
    if (getaddrinfo(text.GetUTF8(), nullptr, &hints, &found) != 0) return nullptr;
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, freeaddrinfo);
    char address[INET6_ADDRSTRLEN]; // a std::string might find no memory, and raise
    sockaddr_to_text(list->ai_addr, address);
    return CString2RB(address, kEncodingASCII);
}

// The name of a numeric address. An address without a name yields nil, never the number itself.
template <int family>
REALstringStruct *AddressToName(REALstringStruct *numeric)
{
    rbText text(numeric);
    sockaddr_union address = {};
    address.any.sa_family = family;
    if (inet_pton(family, text.GetUTF8(), AddressIn(address)) != 1) return nullptr;

    char name[NI_MAXHOST] = {};
    auto size = static_cast<socklen_t>(GetSocketAddressSize(address));
    int code = getnameinfo(&address.any, size, name, sizeof name, nullptr, 0, NI_NAMEREQD);
    return code == 0 ? CString2RB(name, kEncodingASCII) : nullptr;
}

constexpr auto &DNSNameToAddress4 = NameToAddress<AF_INET>;
constexpr auto &DNSAddressToName4 = AddressToName<AF_INET>;
constexpr auto &DNSNameToAddress6 = NameToAddress<AF_INET6>;
constexpr auto &DNSAddressToName6 = AddressToName<AF_INET6>;

} // namespace

// clang-format off
static SharedMethodRow methods[] = {
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

void PluginEntry()
{
    MyPluginStart("Network");
    MyREALRegisterMethodArray(methods, std::size(methods));
    MyREALRegisterClass(&UDPSocketClass);
    MyREALRegisterClass(&RAWSocketClass);
    MyREALRegisterClass(&DatagramClass);
    MyPluginEnde();
}
