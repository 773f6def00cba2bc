// The socket record, the outcome rule, and binding, closing and naming a socket.
#include "BaseSocket.h"

#include "Libs/shared/Socket/SocketUtil.h"
#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbException.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

#include <cerrno>
#include <climits>
#include <unistd.h>

bool IsRAWSocket(REALobjectStruct *object)
{
    REALclassRefStruct *rawSocket = REALGetClassRef("RAWSocketVYN");
    return rawSocket != nullptr && REALObjectIsA(object, rawSocket);
}

SocketRecord &GetSocketRecord(REALobjectStruct *object)
{
    std::int64_t offset = UDPSocketClass.forSystemUse;
    // Both classes have blocks of one size and no super class, so hosts place them alike; only where one
    // does not is the object asked for its class.
    if (RAWSocketClass.forSystemUse != offset) [[unlikely]] {
        if (IsRAWSocket(object)) offset = RAWSocketClass.forSystemUse;
    }
    return *reinterpret_cast<SocketRecord *>(reinterpret_cast<char *>(object) + offset);
}

int Descriptor(const SocketRecord &socket)
{
    return socket.Handle >= 0 && socket.Handle <= INT_MAX ? static_cast<int>(socket.Handle) : -1;
}

SocketRecord *BeginOperation(REALobjectStruct *object)
{
    SocketRecord &socket = GetSocketRecord(object);
    socket.Lasterror = -1;
    return socket.Handle != 0 ? &socket : nullptr;
}

bool FinishOperation(SocketRecord &socket, int error, const char *failureLabel)
{
    socket.Lasterror = error;
    if (error != 0 && failureLabel != nullptr) TRACE(failureLabel, error);
    return error == 0;
}

int ErrorOf(long result)
{
    return result == -1 ? errno : 0;
}

OwnedDescriptor::~OwnedDescriptor()
{
    if (fd >= 0) close(fd);
}

void ReplaceDescriptor(SocketRecord &socket, int fd)
{
    int previous = Descriptor(socket);
    socket.Handle = fd;
    if (previous > 0) close(previous);
}

bool CheckPort(std::int64_t port)
{
    if (IsPort(port)) return true;
    RaiseException("UnsupportedOperationException", "Invalid port number.", kEncodingASCII);
    return false;
}

void Destructor(REALobjectStruct *object)
{
    TRACE("Destructor");
    SocketRecord &socket = GetSocketRecord(object);
    UnwatchSocket(object, socket);
    ReplaceDescriptor(socket, 0);
    REALReleaseString(std::exchange(socket.BindAddress, nullptr));
}

// Keeps what a successful Bind was asked for. The new address is locked first: it may be the old one.
static void RememberBinding(SocketRecord &socket, std::int64_t port, REALstringStruct *address)
{
    REALReleaseString(std::exchange(socket.BindAddress, REALRetainString(address)));
    socket.BindPort = port;
}

static void TraceAddress(const sockaddr_union &address)
{
    if (!gDebugging) return;
    char text[INET6_ADDRSTRLEN];
    sockaddr_to_text(&address.any, text);
    LogMessage("bind to", text);
    LogMessage("port", GetSocketAddressPort(address));
}

void Bind(REALobjectStruct *object, std::int64_t port, REALstringStruct *address)
{
    TRACE("Bind");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) {
        TRACE("Socket not initialized");
        return;
    }
    if (!CheckPort(port)) return;

    sockaddr_union local;
    int family = static_cast<int>(socket->AddressFamily);
    SetAnySocketAddress(family, local, static_cast<int>(port));
    if (address != nullptr) {
        rbText text(address);
        if (ParseSocketAddress(family, local, text.GetUTF8(), static_cast<int>(port)) != 0) {
            TRACE("Failed to parse IP", text.GetUTF8());
            return;
        }
    }
    TraceAddress(local);
    int result = bind(Descriptor(*socket), &local.any, static_cast<socklen_t>(GetSocketAddressSize(local)));
    if (!FinishOperation(*socket, ErrorOf(result), "Failed with error")) return;
    TRACE("Bind OK");
    RememberBinding(*socket, port, address);
}

long GetLocalPort(REALobjectStruct *object, long)
{
    TRACE("GetLocalPort");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return 0;

    union {
        sockaddr_union address;
        char room[64]; // for families that are not reported here
    } local = {};
    socklen_t length = sizeof local;
    int result = getsockname(Descriptor(*socket), &local.address.any, &length);
    int error = errno;
    TRACE("getsockname", result, error);
    TRACE("len", length);
    if (result == -1) {
        FinishOperation(*socket, error);
        return -1;
    }
    if (GetSocketAddressSize(local.address) == 0) return -1; // neither IPv4 nor IPv6
    FinishOperation(*socket, 0);
    return GetSocketAddressPort(local.address);
}

REALstringStruct *GetLocalIP(REALobjectStruct *object, long)
{
    TRACE("GetLocalIP");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return nullptr;

    sockaddr_union local = {};
    socklen_t length = sizeof local;
    int result = getsockname(Descriptor(*socket), &local.any, &length);
    int error = WSAGetLastError();
    TRACE("getsockname", result, error);
    TRACE("otherlen", length);
    if (result == -1) {
        FinishOperation(*socket, error);
        return nullptr;
    }
    // Unlike LocalPort, a success leaves Lasterror at -1.
    char text[INET6_ADDRSTRLEN];
    sockaddr_to_text(&local.any, text);
    return CString2RB(text, kEncodingUTF8);
}
