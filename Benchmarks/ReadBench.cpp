// Reading one datagram, beside the bare system calls, and beside these with the values that a program gets.
//
// The limit makes the values in the cheapest way that the host has, and knows the sender's address as text already.
// What lies between it and ours is the library's own share.
#include "Benchmarks/Bench.h"

#include "Source/Plugins/Network/Datagram.h"

using namespace bench;

static auto ReadFunction()
{
    return Method<REALobjectStruct *(*)(REALobjectStruct *, HostBoolean)>(
        "UDPSocketVYN", "Read(peek as boolean = false) as DatagramVYN");
}

static void ReadOurs(benchmark::State &state, long size)
{
    auto read = ReadFunction();
    BareSocket sender;
    LibrarySocket socket;
    TimeEach(
        state, BatchOf(size), [&] { sender.Fill(socket.port, size); },
        [&] {
            Object datagram(read(socket.object.get(), 0));
            Require(datagram != nullptr, "Read failed");
        });
}

static void ReadBare(benchmark::State &state, long size)
{
    BareSocket sender, receiver;
    TimeEach(
        state, BatchOf(size), [&] { sender.Fill(receiver.port, size); },
        [&] {
            Received received(receiver.fd, size);
            benchmark::DoNotOptimize(received.bytes);
        });
}

// The library releases values only once it has retained some: a datagram of its own must come before those made here.
static void ReadFirstDatagram()
{
    BareSocket sender;
    LibrarySocket socket;
    sender.Fill(socket.port, kDatagramSizes.front());
    Object datagram(ReadFunction()(socket.object.get(), 0));
    Require(datagram != nullptr, "Read failed");
}

static void ReadValues(benchmark::State &state, long size)
{
    ReadFirstDatagram();
    const std::int64_t offset = Definition("DatagramVYN").forSystemUse;
    BareSocket sender, receiver;
    TimeEach(
        state, BatchOf(size), [&] { sender.Fill(receiver.port, size); },
        [&] {
            Received received(receiver.fd, size);
            Object datagram(entries.newInstance("DatagramVYN"));
            // The library releases what its record holds when the object goes.
            *reinterpret_cast<DatagramRecord *>(reinterpret_cast<char *>(datagram.get()) + offset) = {
                entries.buildString("127.0.0.1", 9, kEncodingASCII),
                entries.buildString(received.bytes, static_cast<int>(size), kEncodingNone),
                ntohs(received.from.sin_port),
                size,
                AsMemoryBlock(NewMemoryBlock(&received.from, sizeof received.from)),
            };
        });
}

[[maybe_unused]] static const bool registered[] = {
    RegisterBatched("read", "ours", ReadOurs, kDatagramSizes),
    RegisterBatched("read", "calls", ReadBare, kDatagramSizes),
    RegisterBatched("read", "limit", ReadValues, kDatagramSizes),
};
