// UDPSocketVYN: one IPv4 datagram socket, watched by a background task of the host.
#include "SocketOptions.h"

#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbDebugHost.h"
#include "Source/Utility/rbText.h"

#include <arpa/inet.h>
#include <iterator>

template <int option>
static void ChangeMembership(REALobjectStruct *object, REALstringStruct *group, REALstringStruct *interface);
static constexpr auto &AddMembership = ChangeMembership<IP_ADD_MEMBERSHIP>;
static constexpr auto &DropMembership = ChangeMembership<IP_DROP_MEMBERSHIP>;
static void Constructor(REALobjectStruct *object);

// clang-format off
static MethodRow methods[] = {
    METHOD("AddMembership(MultiAddress as string, InterfaceAddress as string = \"\")",    AddMembership),
    METHOD("DropMembership(MultiAddress as string, InterfaceAddress as string = \"\")",   DropMembership),
    METHOD("Read(peek as boolean = false) as DatagramVYN",                                ReadMessage),
    METHOD("SendMessage(Data as string, IP as String, Port as Integer) as Integer",       SendMessageS),
    METHOD("SendMessage(Data as MemoryBlock, IP as String, Port as Integer) as Integer",  SendMessageM),
    METHOD("SendMessage(Data as DatagramVYN) as Integer",                                 SendMessageD),
    METHOD("Constructor",                                                                 Constructor),
    METHOD("Destructor",                                                                  Destructor),
    UNGUARDED_METHOD("Poll",                                                              Poll), // passes on most of what handlers throw
    METHOD("Bind(Port as Integer, IP as string = \"\")",                                  Bind),
};

static constinit REALproperty properties[] = {
    COMPUTED("LocalIP",             "String",  GetLocalIP),
    COMPUTED("LocalPort",           "Integer", GetLocalPort),
    FIELD   ("BindPort",            "Integer", SocketRecord, BindPort),
    FIELD   ("BindAddress",         "String",  SocketRecord, BindAddress),
    FIELD   ("Handle",              "Integer", SocketRecord, Handle),
    FIELD   ("Lasterror",           "Integer", SocketRecord, Lasterror),
    COMPUTED("AvailableBytes",      "Integer", AvailableBytes),
    OPTION  ("TypeOfService",       kTypeOfService),
    OPTION  ("TimeToLive",          kTimeToLive),
    OPTION  ("MulticastTimeToLive", kMulticastTimeToLive),
    OPTION  ("Type",                kType),
    OPTION  ("SendBufferSize",      kSendBufferSize),
    OPTION  ("ReceiveBufferSize",   kReceiveBufferSize),
    OPTION  ("MulticastLoop",       kMulticastLoop),
    COMPUTED("MulticastInterface",  "String",  getMulticastInterface, setMulticastInterface),
    OPTION  ("ReuseAddress",        kReuseAddress),
    OPTION  ("ReusePort",           kReusePort),
    OPTION  ("SocketError",         kSocketError),
    OPTION  ("Broadcast",           kBroadcast),
    FIELD   ("SocketType",          "Integer", SocketRecord, SocketType),
    FIELD   ("AddressFamily",       "Integer", SocketRecord, AddressFamily),
    FIELD   ("Protocol",            "Integer", SocketRecord, Protocol),
};

static constinit REALevent events[] = {
    Event("DataAvailable"),
    Event("SendComplete"),
    Event("Error"),
};
// clang-format on

constinit REALclassDefinition UDPSocketClass = {
    .name = "UDPSocketVYN",
    .dataSize = sizeof(SocketRecord),
    .properties = properties,
    .propertyCount = std::size(properties),
    .methods = methods,
    .methodCount = std::size(methods),
    .events = events,
    .eventCount = std::size(events),
    .flags = kConsoleSafe,
    .sharedProperties = gDebuggingProperty,
    .sharedPropertyCount = std::size(gDebuggingProperty),
};

static void Constructor(REALobjectStruct *object)
{
    TRACE("Constructor");
    InitSocketUtil();
    SocketRecord &socket = GetSocketRecord(object);
    // Before there is a socket, so that an object without one has its task, too; Destructor takes it back.
    WatchSocket(object, socket, SocketClass::kUDPSocket);

    OwnedDescriptor fd = PrepareDescriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
    int error = ErrorOf(fd.Get());
    if (error != 0) {
        TRACE("Failed with error", error);
        return RaiseException("UnsupportedOperationException", "Failed to create socket!");
    }
    TRACE("Created IPv4 socket: ", fd.Get());
    socket.Protocol = IPPROTO_UDP;
    socket.AddressFamily = AF_INET;
    socket.SocketType = SOCK_DGRAM;
    ReplaceDescriptor(socket, std::move(fd));
    MarkNonBlocking(Descriptor(socket));
}

// An IPv4 address in the debug log, as a number and as text.
static void TraceAddress(const char *label, in_addr address)
{
    TRACE(label, address.s_addr);
    TRACE(label, inet_ntoa(address));
}

// Joins or leaves a group. An invalid group is left for the system to reject.
template <int option>
static void ChangeMembership(REALobjectStruct *object, REALstringStruct *group, REALstringStruct *interface)
{
    TRACE("ChangeMembership", option);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return;

    ip_mreq request = {};
    rbText groupText(group);
    TRACE("ip", groupText.GetASCII());
    request.imr_multiaddr.s_addr = text_to_ipv4(groupText.GetASCII());
    if (interface != nullptr) {
        rbText interfaceText(interface);
        TRACE("interface", interfaceText.GetASCII());
        request.imr_interface.s_addr = text_to_ipv4(interfaceText.GetASCII());
        if (request.imr_interface.s_addr == INADDR_NONE)
            return RaiseException("UnsupportedOperationException", "Invalid address.");
    } else {
        TRACE("any interface");
    }
    TraceAddress("group.imr_multiaddr.s_addr", request.imr_multiaddr);
    TraceAddress("group.imr_interface", request.imr_interface);

    int result = setsockopt(Descriptor(*socket), IPPROTO_IP, option, &request, sizeof request);
    int error = ErrorOf(result);
    TRACE("setsockopt returned", result);
    if (FinishOperation(*socket, error, "errno")) TRACE("OK");
}
