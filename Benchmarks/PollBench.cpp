// A quiet poll of one socket, beside a bare select without waiting; the case is the descriptor's number.
//
// A number of 0 stands for the one that the system gives. The bare call has sets of fitting size and touches no
// more of them than the one bit: select writes the rest itself.
#include "Benchmarks/Bench.h"

#include <climits>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

using namespace bench;

// Moves a descriptor to this number; 0 leaves it where it is. Result: its number.
static int MoveDescriptor(int fd, long number)
{
    if (number == 0) return fd;
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    int moved = dup2(fd, static_cast<int>(number));
    Require(moved == number, "the system does not allow so high a descriptor");
    close(fd);
    return moved;
}

static void PollOurs(benchmark::State &state, long number)
{
    auto poll = Method<void (*)(REALobjectStruct *)>("UDPSocketVYN", "Poll");
    LibrarySocket socket;
    int fd = static_cast<int>(TheHost().Get<long>(socket.object.Get(), "Handle"));
    TheHost().Set(socket.object.Get(), "Handle", static_cast<long>(MoveDescriptor(fd, number)));
    for (auto _ : state)
        poll(socket.object.Get());
}

static void PollBare(benchmark::State &state, long number)
{
    constexpr std::size_t kWordBits = CHAR_BIT * sizeof(unsigned long);
    BareSocket socket;
    socket.fd = MoveDescriptor(socket.fd, number);
    const std::size_t word = static_cast<std::size_t>(socket.fd) / kWordBits;
    const unsigned long bit = 1UL << (static_cast<std::size_t>(socket.fd) % kWordBits);
    std::vector<unsigned long> read(word + 1), write(word + 1), except(word + 1);
    auto set = [](std::vector<unsigned long> &words) { return reinterpret_cast<fd_set *>(words.data()); };
    for (auto _ : state) {
        read[word] = write[word] = except[word] = bit;
        timeval none = {0, 0};
        int ready = select(socket.fd + 1, set(read), set(write), set(except), &none);
        Require(ready == 1, "select failed"); // it can be written to
    }
}

static const std::vector<long> kNumbers = {0, 10'000};

[[maybe_unused]] static const bool registered[] = {
    Register("poll", "ours", PollOurs, kNumbers),
    Register("poll", "limit", PollBare, kNumbers),
};
