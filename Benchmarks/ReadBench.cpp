// Reading one datagram, beside two limits: the bare system calls, and these with the values that a program gets.
//
// The second limit makes the values in the cheapest way that the host has, and knows the sender's address as text
// already. What lies between it and ours is the library's own share.
#include "Benchmarks/Bench.h"

#include "Source/Plugins/Network/Datagram.h"

#include <cstdlib>
#include <memory>
#include <sys/ioctl.h>
#include <sys/socket.h>

using namespace bench;

static void ReadOurs(benchmark::State &state, long size)
{
    auto read = Method<REALobjectStruct *(*)(REALobjectStruct *, HostBoolean)>(
        "UDPSocketVYN", "Read(peek as boolean = false) as DatagramVYN");
    BareSocket sender;
    LibrarySocket socket;
    TimeEach(
        state, [&] { sender.Fill(socket.port, size); },
        [&] {
            Object datagram(read(socket.object.Get(), 0));
            Require(datagram.Get() != nullptr, "Read failed");
        });
}

namespace {

struct FreeBytes {
    void operator()(char *bytes) const { std::free(bytes); }
};

struct Received {
    std::unique_ptr<char, FreeBytes> bytes;
    std::size_t size;
    sockaddr_in from;
};

// The system calls that a read of unknown size can't do without.
Received Receive(const BareSocket &receiver)
{
    int size = 0;
    ioctl(receiver.fd, FIONREAD, &size);
    Received received{{}, static_cast<std::size_t>(size), {}};
    received.bytes.reset(static_cast<char *>(std::malloc(received.size)));
    socklen_t fromSize = sizeof received.from;
    ssize_t result = recvfrom(receiver.fd, received.bytes.get(), received.size, 0,
                              reinterpret_cast<sockaddr *>(&received.from), &fromSize);
    Require(result == size, "recvfrom failed");
    return received;
}

} // namespace

static void ReadBare(benchmark::State &state, long size)
{
    BareSocket sender, receiver;
    TimeEach(
        state, [&] { sender.Fill(receiver.port, size); },
        [&] { benchmark::DoNotOptimize(Receive(receiver).bytes.get()); });
}

static void ReadValues(benchmark::State &state, long size)
{
    const host::Class &type = *TheHost().classes.Find("DatagramVYN");
    BareSocket sender, receiver;
    TimeEach(
        state, [&] { sender.Fill(receiver.port, size); },
        [&] {
            Received received = Receive(receiver);
            Object datagram(host::NewInstance(type));
            // The library releases what its record holds when the object goes.
            *static_cast<DatagramRecord *>(host::InstanceBlock(datagram.Get(), type)) = {
                host::NewString("127.0.0.1", kEncodingASCII),
                host::NewString({received.bytes.get(), received.size}, kEncodingNone),
                ntohs(received.from.sin_port),
                size,
                AsMemoryBlock(host::NewMemoryBlock(&received.from, sizeof received.from)),
            };
        });
}

[[maybe_unused]] static const bool registered[] = {
    RegisterBatched("read", "ours", ReadOurs, kDatagramSizes),
    RegisterBatched("read", "limit", ReadBare, kDatagramSizes),
    RegisterBatched("read", "values", ReadValues, kDatagramSizes),
};
