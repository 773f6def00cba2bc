// The class as the host sees it, and its constructor.
#include "RAWSocket.h"

#include "SocketOptions.h"

#include <cerrno>
#include <iterator>

static void Constructor(REALobjectStruct *object, std::int64_t family, std::int64_t type, std::int64_t protocol);

// clang-format off
static constinit REALproperty properties[] = {
    FIELD   ("Handle",              "Integer", SocketRecord, Handle),
    FIELD   ("Lasterror",           "Integer", SocketRecord, Lasterror),
    COMPUTED("AvailableBytes",      "Integer", AvailableBytes),
    OPTION  ("SendBufferSize",      kSendBufferSize),
    OPTION  ("ReceiveBufferSize",   kReceiveBufferSize),
    OPTION  ("ReuseAddress",        kReuseAddress),
    OPTION  ("ReusePort",           kReusePort),
    OPTION  ("SocketError",         kSocketError),
    OPTION  ("Broadcast",           kBroadcast),
    OPTION  ("IPHeaderIncluded",    kIPHeaderIncluded),
    COMPUTED("LocalIP",             "String",  GetLocalIP),
    COMPUTED("LocalPort",           "Integer", GetLocalPort),
    FIELD   ("SocketType",          "Integer", SocketRecord, SocketType),
    FIELD   ("AddressFamily",       "Integer", SocketRecord, AddressFamily),
    FIELD   ("Protocol",            "Integer", SocketRecord, Protocol),
};

static MethodRow methods[] = {
    METHOD("Listen(BackLog as Integer = 2)", Listen),
    METHOD("Accept(byref RemoteAddress as String, byref RemotePort as Integer, "
           "NewSocket as RAWSocketVYN) as RAWSocketVYN",
           Accept),
    METHOD("Connect(Address as String, Port as Integer, byref ErrorMessage as String) as Boolean", Connect1),
    METHOD("Bind(DestAddr as Ptr, DestAddrByteSize as Integer) as Boolean", BindDirect),
    METHOD("Connect(DestAddr as Ptr, DestAddrByteSize as Integer) as Boolean", Connect2),
    METHOD("Read(ByteSize as Integer, peek as boolean = false) as MemoryBlock", Read),
    METHOD("ReadAll(peek as boolean = false) as MemoryBlock", ReadAll),
    METHOD("Send(Data as Ptr, DataByteSize as Integer, Flags as Integer = 0) as Integer", xojo_send),
    METHOD("SendTo(Data as Ptr, DataByteSize as Integer, Flags as Integer, "
           "DestAddr as Ptr, DestAddrByteSize as Integer) as Integer",
           xojo_sendto),
    METHOD("Constructor(AddressFamily as Integer, SocketType as Integer, Protocol as Integer)", Constructor),
    UNGUARDED_METHOD("Poll", Poll), // passes on most of what handlers throw
    METHOD("Destructor", Destructor),
    METHOD("Close", Destructor),
    METHOD("SendMessage(Data as string, IP as String, Port as Integer) as Integer", SendMessageS),
    METHOD("SendMessage(Data as MemoryBlock, IP as String, Port as Integer) as Integer", SendMessageM),
    METHOD("SendMessage(Data as DatagramVYN) as Integer", SendMessageD),
    METHOD("Bind(Port as Integer, IP as string = \"\")", Bind),
    METHOD("ReadDatagram(peek as boolean = false) as DatagramVYN", ReadMessage),
};

static constinit REALevent events[] = {
    Event("DataAvailable"),
    Event("SendComplete"),
    Event("Error"),
};

static constinit REALconstant constants[] = {
    Constant("AddressFamilyINet = 2"),
    Constant("SocketTypeStream = 1"),
    Constant("SocketTypeDatagram = 2"),
    Constant("SocketTypeRaw = 3"),
    Constant("ProtocolIP = 0"),
    Constant("ProtocolUDP = 17"),
    Constant("ProtocolICMP = 1"),
    Constant("ProtocolTCP = 6"),
    Constant("ProtocolIPv6 = 41"),
    Constant("ProtocolRaw = 255"),
};

static SharedMethodRow sharedMethods[] = {
    SHARED_METHOD("AddressFamilyINet6 as Integer", AddressFamilyINet6),
    SHARED_METHOD("CalcChecksum(data as ptr, ByteCount as Integer) as UInt16", CalcChecksum),
    SHARED_METHOD("htons(value as UInt16) as UInt16", xojo_htons),
    SHARED_METHOD("ntohs(value as UInt16) as UInt16", xojo_ntohs),
    SHARED_METHOD("htonl(value as UInt32) as UInt32", xojo_htonl),
    SHARED_METHOD("ntohl(value as UInt32) as UInt32", xojo_ntohl),
    SHARED_METHOD("inet_addr(IPv4 as String) as UInt32", xojo_inet_addr),
    SHARED_METHOD("inet_ntoa(IPv4 as UInt32) as String", xojo_inet_ntoa),
};
// clang-format on

constinit REALclassDefinition RAWSocketClass = {
    .name = "RAWSocketVYN",
    .dataSize = sizeof(SocketRecord),
    .properties = properties,
    .propertyCount = std::size(properties),
    .methods = methods,
    .methodCount = std::size(methods),
    .events = events,
    .eventCount = std::size(events),
    .constants = constants,
    .constantCount = std::size(constants),
    .flags = kConsoleSafe,
    .sharedMethods = sharedMethods,
    .sharedMethodCount = std::size(sharedMethods),
};

// What a program is told when its socket can't be made.
static const char *CreationMessage(int error)
{
    static constexpr struct {
        int error;
        const char *message;
    } rows[] = {
        {EPROTOTYPE, "The socket type is not supported by the protocol."},
        {EOPNOTSUPP, "Operation not supported on socket."},
        {EAFNOSUPPORT, "The specified address family is not supported."},
        {ENOBUFS, "Insufficient buffer space is available.  "
                  "The socket cannot be created until sufficient resources are freed."},
        {EPROTONOSUPPORT, "The protocol type or the specified protocol is not supported within this domain."},
        {EACCES, "Permission to create a socket of the specified type and/or protocol is denied."},
        {ENFILE, "The system file table is full."},
        {EMFILE, "The per-process descriptor table is full."},
        {ENOMEM, "Insufficient memory was available to fulfill the request."},
    };
    for (const auto &row : rows) {
        if (row.error == error) return row.message;
    }
    return "Failed to create socket!";
}

static void Constructor(REALobjectStruct *object, std::int64_t family, std::int64_t type, std::int64_t protocol)
{
    SocketRecord &socket = GetRAWSocketRecord(object);
    WatchSocket(object, socket, SocketClass::kRAWSocket);
    OwnedDescriptor fd = PrepareDescriptor(
        ::socket(static_cast<int>(family), static_cast<int>(type) | SOCK_CLOEXEC, static_cast<int>(protocol)));
    int error = ErrorOf(fd.Get());
    if (error != 0) return RaiseException("UnsupportedOperationException", CreationMessage(error));
    socket.AddressFamily = family;
    socket.SocketType = type;
    socket.Protocol = protocol;
    ReplaceDescriptor(socket, std::move(fd));
    MarkNonBlocking(Descriptor(socket));
}
