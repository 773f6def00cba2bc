#include "Host/Runtime/Sockets.h"

#include "Host/Runtime/Host.h"
#include "Host/Runtime/OwnClasses.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace host {
namespace {

// Kept plus one, so that a cleared block is a socket that is not open.
struct Record {
    std::int64_t descriptorPlusOne;
};

Record &RecordOf(REALobjectStruct *socket)
{
    return *static_cast<Record *>(InstanceBlock(socket, *Host::Current().classes.Find("SocketCore")));
}

long GetHandle(REALobjectStruct *socket, long)
{
    return RecordOf(socket).descriptorPlusOne - 1;
}

long GetLocalPort(REALobjectStruct *socket, long)
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto descriptor = static_cast<int>(GetHandle(socket, 0));
    if (getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length) != 0) return 0;
    if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<sockaddr_in6 &>(address).sin6_port);
    return address.ss_family == AF_INET ? ntohs(reinterpret_cast<sockaddr_in &>(address).sin_port) : 0;
}

void Close(REALobjectStruct *socket)
{
    Record &record = RecordOf(socket);
    if (record.descriptorPlusOne != 0) close(static_cast<int>(record.descriptorPlusOne - 1));
    record = {};
}

REALproperty properties[] = {
    Computed("Handle", "Integer", GetHandle),
    Computed("LocalPort", "Integer", GetLocalPort),
};

REALmethodDefinition methods[] = {
    METHOD("Close", Close),
};

REALclassDefinition definitions[] = {
    {.name = "SocketCore",
     .dataSize = sizeof(Record),
     .destructor = Close,
     .properties = properties,
     .propertyCount = std::size(properties),
     .methods = methods,
     .methodCount = std::size(methods)},
    {.name = "TCPSocket", .superName = "SocketCore"},
    {.name = "UDPSocket", .superName = "SocketCore"},
};

} // namespace

void AddSocketClasses(Classes &classes)
{
    for (REALclassDefinition &definition : definitions)
        classes.AddClass(definition, true);
}

REALobjectStruct *NewSocket(const char *className, int descriptor)
{
    REALobjectStruct *socket = NewInstance(*Host::Current().classes.Find(className));
    if (socket != nullptr) RecordOf(socket).descriptorPlusOne = std::int64_t{descriptor} + 1;
    return socket;
}

} // namespace host
