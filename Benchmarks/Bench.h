// What the measurements share: the host they run on, look-up of the library's functions, sockets, timing.
//
// A measurement is called "row/kind/case". All kinds of one row and case do the same work: "ours", the "limit",
// the peers. They run one right after the other, and report.py makes ratios of them. A call that fails ends the
// program: no figure stands for work that was not done.
#pragma once

#include "Host/Runtime/Host.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <netinet/in.h>
#include <string>
#include <vector>

namespace bench {

using Object = host::Owned<REALobjectStruct>;
using String = host::Owned<REALstringStruct>;

constexpr int kBatch = 40; // datagrams in flight: the default buffer keeps some more of the large ones
inline const std::vector<long> kDatagramSizes = {16, 512, 1400};

// Ends the program with this message unless the condition holds.
void Require(bool condition, const char *message);

// --- the library ---------------------------------------------------------------------------------------------

// The one host of the process.
host::Host &TheHost();

// The address of the function that serves the method of this declaration; ends the program when there is none.
void *MethodAddress(const char *className, const char *declaration);

template <typename Function>
Function Method(const char *className, const char *declaration)
{
    return reinterpret_cast<Function>(MethodAddress(className, declaration));
}

// --- sockets -------------------------------------------------------------------------------------------------

sockaddr_in Loopback(int port);

// A UDP socket on a free port of loopback, without anything around it. It never waits.
class BareSocket {
  public:
    BareSocket();
    ~BareSocket();
    BareSocket(const BareSocket &) = delete;
    BareSocket &operator=(const BareSocket &) = delete;

    // Sends one batch of datagrams of this size.
    void Fill(int toPort, long size) const;

    // Takes all that is queued off, which must be one batch, or nothing.
    void Drain() const;

    int fd;
    int port = 0;
};

// A UDPSocketVYN bound like a bare socket, and its port.
struct LibrarySocket {
    LibrarySocket();

    Object object;
    int port;
};

// --- timing --------------------------------------------------------------------------------------------------

// Times a batch as a whole, once for each iteration; what is needed before it is not timed.
template <typename Prepare, typename Batch>
void TimeBatches(benchmark::State &state, Prepare prepare, Batch batch)
{
    for (auto _ : state) {
        prepare();
        auto start = std::chrono::steady_clock::now();
        batch();
        std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(time.count() / kBatch);
    }
}

// The same where a batch is the body, called once for each datagram.
template <typename Prepare, typename Body>
void TimeEach(benchmark::State &state, Prepare prepare, Body body)
{
    TimeBatches(state, prepare, [&] {
        for (int i = 0; i < kBatch; i++)
            body();
    });
}

// A measurement gets its case: bytes, or whatever the row counts.
using Measurement = void (*)(benchmark::State &, long);

// The measurement is to run once for each case. Batched ones time themselves, as above. Result: true, so that each
// file can register its rows from a variable.
bool Register(const char *row, const char *kind, Measurement measurement, const std::vector<long> &cases);
bool RegisterBatched(const char *row, const char *kind, Measurement measurement, const std::vector<long> &cases);

// Runs what was registered, row by row and case by case, the kinds of each in random order. The arguments are
// Google Benchmark's.
void RunAll(int count, char **arguments);

} // namespace bench
