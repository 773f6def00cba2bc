// The host's own sockets: SocketCore, which shows a descriptor as its Handle, with a TCP and a UDP kind.
#include "Host/Runtime/Host.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace host {
namespace {

// The descriptor plus one, so that a cleared block is a socket that is not open.
int &KeptOf(REALobjectStruct *socket)
{
    return *static_cast<int *>(InstanceBlock(socket, *Host::Current().classes.Find("SocketCore")));
}

long GetHandle(REALobjectStruct *socket, long)
{
    return KeptOf(socket) - 1;
}

long GetLocalPort(REALobjectStruct *socket, long)
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getsockname(KeptOf(socket) - 1, reinterpret_cast<sockaddr *>(&address), &length) != 0) return 0;
    if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<sockaddr_in6 &>(address).sin6_port);
    return address.ss_family == AF_INET ? ntohs(reinterpret_cast<sockaddr_in &>(address).sin_port) : 0;
}

void Close(REALobjectStruct *socket)
{
    if (int kept = std::exchange(KeptOf(socket), 0); kept != 0) close(kept - 1);
}

REALproperty properties[] = {
    UnguardedProperty<GetHandle>("Handle", "Integer"),
    UnguardedProperty<GetLocalPort>("LocalPort", "Integer"),
};

MethodRow methods[] = {
    UNGUARDED_METHOD("Close", Close),
};

REALclassDefinition definitions[] = {
    {.name = "SocketCore",
     .dataSize = sizeof(int),
     .destructor = Close,
     .properties = properties,
     .propertyCount = std::size(properties),
     .methods = methods,
     .methodCount = std::size(methods)},
    {.name = "TCPSocket", .superName = "SocketCore"},
    {.name = "UDPSocket", .superName = "SocketCore"},
};

} // namespace

constinit const std::span<REALclassDefinition> socketClasses = definitions;

REALobjectStruct *NewSocket(const char *className, int descriptor)
{
    REALobjectStruct *socket = NewInstance(*Host::Current().classes.Find(className));
    if (socket != nullptr) KeptOf(socket) = descriptor + 1;
    return socket;
}

} // namespace host
