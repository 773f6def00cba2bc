// The socket record, the outcome rule, and binding, closing and naming a socket.
#include "BaseSocket.h"

#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbReference.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

#include <sys/ioctl.h>

bool IsRAWSocket(REALobjectStruct *object)
{
    REALclassRefStruct *rawSocket = REALGetClassRef("RAWSocketVYN");
    return rawSocket != nullptr && REALObjectIsA(object, rawSocket);
}

// The record where the host has put that class's instance data.
static SocketRecord &RecordOf(REALobjectStruct *object, const REALclassDefinition &definition)
{
    return *reinterpret_cast<SocketRecord *>(reinterpret_cast<char *>(object) + definition.forSystemUse);
}

SocketRecord &GetSocketRecord(REALobjectStruct *object)
{
    // Both classes have blocks of one size and no super class, so hosts place them alike. Only a host that does not is
    // asked for the object's class.
    if (RAWSocketClass.forSystemUse != UDPSocketClass.forSystemUse) [[unlikely]] {
        if (IsRAWSocket(object)) return GetRAWSocketRecord(object);
    }
    return RecordOf(object, UDPSocketClass);
}

SocketRecord &GetRAWSocketRecord(REALobjectStruct *object)
{
    return RecordOf(object, RAWSocketClass);
}

SocketRecord *BeginOperation(SocketRecord &socket)
{
    socket.Lasterror = -1;
    return socket.Handle != 0 ? &socket : nullptr;
}

SocketRecord *BeginOperation(REALobjectStruct *object)
{
    return BeginOperation(GetSocketRecord(object));
}

bool FinishOperation(SocketRecord &socket, int error, const char *failureLabel)
{
    socket.Lasterror = error;
    if (error != 0 && failureLabel != nullptr) TRACE(failureLabel, error);
    return error == 0;
}

int QuerySize(const SocketRecord &socket, std::int64_t &size)
{
    size = 0;
    return ioctl(Descriptor(socket), FIONREAD, &size);
}

// Stores that number in Handle and closes the previous descriptor, if any. Both may be one number, if the program
// closed the old descriptor itself.
static void SetHandle(SocketRecord &socket, std::int64_t handle)
{
    EndPollOf(socket);
    int previous = Descriptor(socket);
    socket.Handle = handle;
    if (previous > 0 && previous != handle) CloseDescriptor(previous);
}

void ReplaceDescriptor(SocketRecord &socket, OwnedDescriptor fd)
{
    SetHandle(socket, fd.Release());
}

bool CheckPort(std::int64_t port)
{
    if (IsPort(port)) return true;
    RaiseException("UnsupportedOperationException", "Invalid port number.");
    return false;
}

void Destructor(REALobjectStruct *object)
{
    TRACE("Destructor");
    SocketRecord &socket = GetSocketRecord(object);
    UnwatchSocket(object, socket);
    SetHandle(socket, 0);
    ReleaseKept(std::exchange(socket.BindAddress, nullptr));
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
    if (gDebugging) LogAddress("bind to", &local.any);
    int result = bind(Descriptor(*socket), &local.any, static_cast<socklen_t>(GetSocketAddressSize(local)));
    if (int error = ErrorOf(result); error != 0) {
        FinishOperation(*socket, error, "Failed with error");
        return;
    }
    TRACE("Bind OK");
    // The new address is locked before the old one is released, which may be the same.
    ReleaseKept(std::exchange(socket->BindAddress, Keep(address)));
    FinishOperation(*socket, 0);
    socket->BindPort = port;
}

namespace {

// The answer of getsockname.
union LocalName {
    sockaddr_union address = {};
    char space[64]; // for families that are not reported here
};

// Asks for the address that the socket is bound to. Only a failure is stored as the outcome here.
bool QueryName(SocketRecord &socket, LocalName &local, socklen_t length, const char *lengthLabel)
{
    int result = getsockname(Descriptor(socket), &local.address.any, &length);
    int error = WSAGetLastError();
    TRACE("getsockname", result, error);
    TRACE(lengthLabel, length);
    return result != -1 || FinishOperation(socket, error);
}

} // namespace

long GetLocalPort(REALobjectStruct *object, long)
{
    TRACE("GetLocalPort");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return 0;

    LocalName local;
    if (!QueryName(*socket, local, sizeof local, "len")) return -1;
    if (GetSocketAddressSize(local.address) == 0) return -1; // neither IPv4 nor IPv6
    FinishOperation(*socket, 0);
    return GetSocketAddressPort(local.address);
}

REALstringStruct *GetLocalIP(REALobjectStruct *object, long)
{
    TRACE("GetLocalIP");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return nullptr;

    LocalName local;
    // Longer addresses than IPv6 ones have no text.
    if (!QueryName(*socket, local, sizeof local.address, "otherlen")) return nullptr;
    char text[INET6_ADDRSTRLEN];
    sockaddr_to_text(&local.address.any, text);
    return CString2RB(text, kEncodingUTF8);
}
