// Connecting, binding by raw address, listening and accepting.
#include "RAWSocket.h"

#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/Utility/rbData.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

#include <string>

// What the resolver and socket(2) need to know and the program left open. The resolver takes a protocol
// only together with a type that carries it.
static void FillInDefaults(SocketRecord &socket)
{
    if (socket.SocketType == 0) {
        bool isRaw = socket.Protocol == IPPROTO_ICMP || socket.Protocol == IPPROTO_RAW;
        socket.SocketType = isRaw ? SOCK_RAW : socket.Protocol == IPPROTO_UDP ? SOCK_DGRAM : SOCK_STREAM;
    }
    if (socket.Protocol == 0) {
        if (socket.SocketType == SOCK_STREAM) socket.Protocol = IPPROTO_TCP;
        if (socket.SocketType == SOCK_DGRAM) socket.Protocol = IPPROTO_UDP;
    }
}

BooleanWord Connect1(REALobjectStruct *object, REALstringStruct *address, std::int64_t port,
                     REALstringStruct **errorMessage)
{
    // The variable may have the only reference on the address.
    REALstringStruct *kept = *errorMessage == address ? AddReference(address) : nullptr;
    rbFreeLater releaseKept(&kept);
    Release(std::exchange(*errorMessage, nullptr));
    SocketRecord &socket = GetRAWSocketRecord(object);
    BeginOperation(socket);
    if (!IsPort(port)) *errorMessage = CString2RB("Invalid port number.", kEncodingASCII);
    if (!CheckPort(port)) return BooleanWord(false);
    rbText text(address);
    const char *host = text.GetUTF8();
    FillInDefaults(socket);
    std::string errorText;
    int connected = -1, family = 0;
    bool inProgress = false;
    if (!ConnectSocket(errorText, host, static_cast<int>(port), connected, false, inProgress, family,
                       static_cast<int>(socket.SocketType), static_cast<int>(socket.Protocol), kNoProtocolPreference)) {
        *errorMessage = CString2RB(errorText.c_str(), kEncodingUTF8);
        return BooleanWord(false);
    }
    socket.AddressFamily = family;
    ReplaceDescriptor(socket, OwnedDescriptor(connected));
    FinishOperation(socket, 0);
    return BooleanWord(true);
}

// A call that takes the program's own socket address.
static BooleanWord CallWithAddress(REALobjectStruct *object, int (*call)(int, const sockaddr *, socklen_t),
                                   const void *address, std::int64_t addressSize)
{
    SocketRecord *socket = BeginOperation(GetRAWSocketRecord(object));
    if (socket == nullptr) return BooleanWord(false);
    int result = call(Descriptor(*socket), static_cast<const sockaddr *>(address), static_cast<socklen_t>(addressSize));
    return BooleanWord(FinishOperation(*socket, ErrorOf(result)));
}

BooleanWord Connect2(REALobjectStruct *object, const void *address, std::int64_t addressSize)
{
    return CallWithAddress(object, connect, address, addressSize);
}

BooleanWord BindDirect(REALobjectStruct *object, const void *address, std::int64_t addressSize)
{
    return CallWithAddress(object, bind, address, addressSize);
}

void Listen(REALobjectStruct *object, std::int64_t backlog)
{
    SocketRecord *socket = BeginOperation(GetRAWSocketRecord(object));
    if (socket == nullptr) return;
    int result = listen(Descriptor(*socket), static_cast<int>(backlog));
    FinishOperation(*socket, ErrorOf(result));
}

static REALobjectStruct *AcceptResult(OwnedDescriptor accepted, const sockaddr_union &peer,
                                      REALstringStruct **remoteAddress, std::int64_t *remotePort,
                                      REALobjectStruct *newSocket)
{
    char address[INET6_ADDRSTRLEN];
    sockaddr_to_text(&peer.any, address);
    *remoteAddress = CString2RB(address, kEncodingASCII);
    *remotePort = GetSocketAddressPort(peer);
    MarkNonBlocking(accepted.Get());
    REALobjectStruct *result = newSocket != nullptr ? Keep(newSocket) : REALnewInstance("RAWSocketVYN");
    if (result == nullptr) return nullptr;
    rbFreeLater release(&result); // where the host throws
    SocketRecord &socket = GetRAWSocketRecord(result);
    ReplaceDescriptor(socket, std::move(accepted));
    WatchSocket(result, socket, SocketClass::kRAWSocket);
    return std::exchange(result, nullptr);
}

REALobjectStruct *Accept(REALobjectStruct *object, REALstringStruct **remoteAddress, std::int64_t *remotePort,
                         REALobjectStruct *newSocket)
{
    Release(std::exchange(*remoteAddress, nullptr));
    *remotePort = 0;
    SocketRecord *socket = BeginOperation(GetRAWSocketRecord(object));
    if (socket == nullptr) return nullptr;

    sockaddr_union peer = {};
    socklen_t length = sizeof peer;
    OwnedDescriptor accepted = PrepareDescriptor(accept4(Descriptor(*socket), &peer.any, &length, SOCK_CLOEXEC));
    if (!FinishOperation(*socket, ErrorOf(accepted.Get()))) return nullptr;
    return AcceptResult(std::move(accepted), peer, remoteAddress, remotePort, newSocket);
}
