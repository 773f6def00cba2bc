// Sending one datagram to a dotted address, beside a bare sendto.
#include "Benchmarks/Bench.h"

#include <sys/socket.h>

using namespace bench;

static void SendOurs(benchmark::State &state, long size)
{
    auto send = Method<long (*)(REALobjectStruct *, REALstringStruct *, REALstringStruct *, long)>(
        "UDPSocketVYN", "SendMessage(Data as string, IP as String, Port as Integer) as Integer");
    BareSocket receiver;
    LibrarySocket socket;
    String data(NewString(std::string(static_cast<std::size_t>(size), 'x'), kEncodingUTF8));
    String address(NewString("127.0.0.1", kEncodingASCII));
    TimeEach(
        state, BatchOf(size), [&] { receiver.Drain(size); },
        [&] {
            long sent = send(socket.object.get(), data.get(), address.get(), receiver.port);
            Require(sent == size, "SendMessage failed");
        });
}

static void SendBare(benchmark::State &state, long size)
{
    BareSocket receiver, sender;
    const std::string data(static_cast<std::size_t>(size), 'x');
    RequireAligned(data.data());
    sockaddr_in to = Loopback(receiver.port);
    TimeEach(
        state, BatchOf(size), [&] { receiver.Drain(size); },
        [&] {
            ssize_t sent = sendto(sender.fd, data.data(), data.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
            Require(sent == size, "sendto failed");
        });
}

[[maybe_unused]] static const bool registered[] = {
    RegisterBatched("send", "ours", SendOurs, kDatagramSizes),
    RegisterBatched("send", "limit", SendBare, kDatagramSizes),
};
