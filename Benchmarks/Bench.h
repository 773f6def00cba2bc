// Shared by all measurements: the host, look-up of the library's functions, sockets, timing.
//
// A measurement is called "row/kind/case". All kinds of one row and case do the same work: "ours", the "limit",
// the peers. They run one right after the other, and report.py makes ratios of them. A call that fails ends the
// program: no figure is shown for work that was not done.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"
#include "Source/SDK/GlueCode/PluginMain.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <vector>

namespace bench {

// Ends the program with this message unless the condition holds.
void Require(bool condition, const char *message);

// Ends the program unless the bytes for a system call begin at a multiple of 64, as all blocks of the plain host do
// (AlignedHeap.cpp).
void RequireAligned(const void *bytes);

// --- the host ------------------------------------------------------------------------------------------------

// A program is linked with one of two hosts: the plain one (PlainHost.cpp) or the stand-in host (StandInHost.cpp).
// Both define these:

extern const char *const kRowPrefix; // of the rows measured on this host

// Begins the host. Result: its resolver.
HostResolver BeginHost();

// The record of a class that the library or the host registered. Ends the program if no class has that name.
const REALclassDefinition &Definition(const char *className);

// A block that holds a copy of the bytes, with one reference for the caller.
REALobjectStruct *NewMemoryBlock(const void *bytes, std::size_t count);

// Begins the host and hands its resolver to the library.
void StartHost(void (*pluginMain)(HostResolver));

// The entries by which measurements make and release values, from StartHost on.
struct Entries {
    REALstringStruct *(*buildString)(const char *bytes, int count, unsigned int encoding);
    REALobjectStruct *(*newInstance)(const char *className);
    void (*unlockString)(REALstringStruct *);
    void (*unlockObject)(REALobjectStruct *);
};
extern Entries entries;

struct ReleaseValue {
    void operator()(REALobjectStruct *object) const { entries.unlockObject(object); }
    void operator()(REALstringStruct *string) const { entries.unlockString(string); }
};
using Object = std::unique_ptr<REALobjectStruct, ReleaseValue>;
using String = std::unique_ptr<REALstringStruct, ReleaseValue>;

REALstringStruct *NewString(const std::string &bytes, unsigned int encoding);

// --- the library ---------------------------------------------------------------------------------------------

// The address of the function that serves the method of this declaration. Ends the program if no method has it.
void *MethodAddress(const char *className, const char *declaration);

template <typename Function>
Function Method(const char *className, const char *declaration)
{
    return reinterpret_cast<Function>(MethodAddress(className, declaration));
}

// --- sockets -------------------------------------------------------------------------------------------------

inline const std::vector<long> kDatagramSizes = {16, 512, 1400, 8192, 32768, 65507};

// How many datagrams of this size are in flight. The default buffer holds more.
constexpr int BatchOf(long size)
{
    return static_cast<int>(std::clamp(100'000 / size, 1L, 40L));
}

sockaddr_in Loopback(int port);

// A UDP socket on a free port of loopback. It never waits.
class BareSocket {
  public:
    BareSocket();
    ~BareSocket();
    BareSocket(const BareSocket &) = delete;
    BareSocket &operator=(const BareSocket &) = delete;

    // Sends one batch of datagrams of this size.
    void Fill(int toPort, long size) const;

    // Empties the queue, which must hold one batch of datagrams of this size, or nothing.
    void Drain(long size) const;

    int fd;
    int port = 0;
};

// A UDPSocketVYN bound like a bare socket.
struct LibrarySocket {
    LibrarySocket();

    // Its property Handle, which programs may write.
    std::int64_t &Handle() const;

    Object object;
    int port;
};

// Gets a datagram off a bare socket with the system calls that a read of unknown size can't do without.
struct Received {
    explicit Received(int fd, long expected);
    ~Received();
    Received(const Received &) = delete;
    Received &operator=(const Received &) = delete;

    char *bytes;
    sockaddr_in from;
};

// A select on one descriptor, in three sets, without waiting. The sets are as large as the highest descriptor needs.
// Only the word of the descriptor is written: select writes the rest itself.
class BareSelect {
  public:
    explicit BareSelect(int highest);
    void Look(int fd);

  private:
    std::vector<unsigned long> read, write, except;
};

// Allows as many descriptors as the system does.
void AllowManyDescriptors();

// --- timing --------------------------------------------------------------------------------------------------

// The median time of a batch, divided by the `count` of its operations, after batches that only warm up. The
// preparation of a batch is not timed.
template <typename Prepare, typename Batch>
void TimeBatches(benchmark::State &state, int count, Prepare prepare, Batch batch)
{
    constexpr int kWarmUp = 60, kTimed = 101;
    std::vector<double> times;
    for (auto _ : state) {
        for (int i = 0; i < kWarmUp + kTimed; i++) {
            prepare();
            auto start = std::chrono::steady_clock::now();
            batch();
            std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
            if (i >= kWarmUp) times.push_back(time.count() / count);
        }
        std::nth_element(times.begin(), times.begin() + kTimed / 2, times.end());
        state.SetIterationTime(times[kTimed / 2]);
    }
}

// The same for a batch that calls the body `count` times.
template <typename Prepare, typename Body>
void TimeEach(benchmark::State &state, int count, Prepare prepare, Body body)
{
    TimeBatches(state, count, prepare, [&] {
        for (int i = 0; i < count; i++)
            body();
    });
}

// A measurement gets its case: a number of bytes, sockets or elements.
using Measurement = void (*)(benchmark::State &, long);

// How a measurement is timed: over as many turns of its loop as Google Benchmark chooses, after a warm-up; by batches,
// as above; over 50 turns of a loop that rests in each.
enum class Timing { kLoop, kBatches, kResting };

// Adds a measurement that runs once for each case. Result: true, so that a file can register its rows by a variable.
bool Register(const char *row, const char *kind, Measurement measurement, const std::vector<long> &cases,
              Timing timing = Timing::kLoop);
inline bool RegisterBatched(const char *row, const char *kind, Measurement measurement, const std::vector<long> &cases)
{
    return Register(row, kind, measurement, cases, Timing::kBatches);
}

// Runs the measurements row by row and case by case, with the kinds of each in random order. The arguments are Google
// Benchmark's.
void RunAll(int count, char **arguments);

} // namespace bench
