// Reading one datagram, beside the bare system calls alone, and beside these calls with the values that a program gets.
//
// The limit makes the values in the host's cheapest way, with a constant for the text of the sender's address. The
// library accounts for the rest of our time.
#include "Benchmarks/Bench.h"

#include "Source/Plugins/Network/Datagram.h"

using namespace bench;

static void ReadOurs(benchmark::State &state, long size)
{
    auto read = Method<REALobjectStruct *(*)(REALobjectStruct *, HostBoolean)>(
        "UDPSocketVYN", "Read(peek as boolean = false) as DatagramVYN");
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

static void ReadValues(benchmark::State &state, long size)
{
    const std::int64_t offset = Definition("DatagramVYN").forSystemUse;
    BareSocket sender, receiver;
    TimeEach(
        state, BatchOf(size), [&] { sender.Fill(receiver.port, size); },
        [&] {
            Received received(receiver.fd, size);
            Object datagram(entries.newInstance("DatagramVYN"));
            // The library releases the values of the record with the object.
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
