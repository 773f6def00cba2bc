// Polling: one quiet socket, many sockets, an idle loop, and a datagram by event. All beside bare selects.
#include "Benchmarks/Bench.h"
#include "Examples/host.h"

#include <chrono>
#include <thread>
#include <unistd.h>

using namespace bench;

// This many sockets. They are kept from one measurement to the next, so that all kinds poll the same descriptors.
static const std::vector<std::unique_ptr<LibrarySocket>> &Population(long count)
{
    static std::vector<std::unique_ptr<LibrarySocket>> sockets;
    AllowManyDescriptors();
    sockets.resize(std::min(sockets.size(), static_cast<std::size_t>(count)));
    while (sockets.size() < static_cast<std::size_t>(count))
        sockets.push_back(std::make_unique<LibrarySocket>());
    return sockets;
}

// --- one quiet socket: the case is the descriptor's number, 0 for the number that the system gives -------------

// Moves a descriptor to this number; 0 leaves it where it is. Result: its number.
static int MoveDescriptor(int fd, long number)
{
    if (number == 0) return fd;
    Population(0); // one of its sockets may have the number
    int moved = dup2(fd, static_cast<int>(number));
    Require(moved == number, "the system does not allow so high a descriptor");
    close(fd);
    return moved;
}

static void PollOurs(benchmark::State &state, long number)
{
    auto poll = Method<void (*)(REALobjectStruct *)>("UDPSocketVYN", "Poll");
    LibrarySocket socket;
    socket.Handle() = MoveDescriptor(static_cast<int>(socket.Handle()), number);
    for (auto _ : state)
        poll(socket.object.get());
}

static void PollBare(benchmark::State &state, long number)
{
    BareSocket socket;
    socket.fd = MoveDescriptor(socket.fd, number);
    BareSelect select(socket.fd);
    for (auto _ : state)
        select.Look(socket.fd);
}

// --- many quiet sockets: one turn of the host's tasks ----------------------------------------------------------

static void TurnOurs(benchmark::State &state, long count)
{
    Population(count);
    for (auto _ : state)
        host_turn();
}

static void TurnBare(benchmark::State &state, long count)
{
    std::vector<int> descriptors;
    for (const auto &socket : Population(count))
        descriptors.push_back(static_cast<int>(socket->Handle()));
    BareSelect select(*std::max_element(descriptors.begin(), descriptors.end()));
    for (auto _ : state) {
        for (int fd : descriptors)
            select.Look(fd);
    }
}

// The loop of a host that has nothing to do: a turn, then a millisecond's rest.
static void IdleOurs(benchmark::State &state, long count)
{
    Population(count);
    for (auto _ : state) {
        host_turn();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// --- a datagram by event: poll, handler, read --------------------------------------------------------------------

static REALobjectStruct *(*readDatagram)(REALobjectStruct *, HostBoolean);
static int handled;

static void ReadInHandler(REALobjectStruct *object)
{
    Object datagram(readDatagram(object, 0));
    handled += datagram != nullptr;
}

static void EventOurs(benchmark::State &state, long size)
{
    auto poll = Method<void (*)(REALobjectStruct *)>("UDPSocketVYN", "Poll");
    readDatagram = Method<decltype(readDatagram)>("UDPSocketVYN", "Read(peek as boolean = false) as DatagramVYN");
    BareSocket sender;
    LibrarySocket socket;
    host_set_handler(socket.object.get(), "DataAvailable", ReadInHandler);
    auto fill = [&] {
        sender.Fill(socket.port, size);
        handled = 0;
    };
    TimeBatches(state, BatchOf(size), fill, [&] {
        for (int i = 0; i < BatchOf(size); i++)
            poll(socket.object.get());
        Require(handled == BatchOf(size), "an event did not come");
    });
}

static void EventBare(benchmark::State &state, long size)
{
    BareSocket sender, receiver;
    BareSelect select(receiver.fd);
    TimeEach(
        state, BatchOf(size), [&] { sender.Fill(receiver.port, size); },
        [&] {
            select.Look(receiver.fd);
            Received received(receiver.fd, size);
            benchmark::DoNotOptimize(received.bytes);
        });
}

static const std::vector<long> kNumbers = {0, 10'000}, kCounts = {10, 100, 1'000, 10'000};
static const std::vector<long> kIdleCounts = {100, 1'000, 10'000}, kEventSizes = {16, 512, 1400};

[[maybe_unused]] static const bool registered[] = {
    Register("poll", "ours", PollOurs, kNumbers),
    Register("poll", "limit", PollBare, kNumbers),
    Register("turn", "ours", TurnOurs, kCounts),
    Register("turn", "limit", TurnBare, kCounts),
    Register("idle", "ours", IdleOurs, kIdleCounts, Timing::kResting),
    RegisterBatched("event", "ours", EventOurs, kEventSizes),
    RegisterBatched("event", "limit", EventBare, kEventSizes),
};
