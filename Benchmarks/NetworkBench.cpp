// What the library adds to the system calls it makes.
//
// Every measurement of ours has a twin of the same name that makes the same system calls bare, and they are
// run interleaved: Benchmarks/report.py makes ratios of them. Ours goes through the built library, by the
// functions that it registers, on the stand-in host.
#include "Host/Runtime/Host.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using Object = host::Owned<REALobjectStruct>;
using String = host::Owned<REALstringStruct>;

constexpr int kBatch = 40; // datagrams in flight: the default buffer keeps some more of the large ones

host::Host &TheHost()
{
    static host::Host host;
    return host;
}

// The function that serves the method of this declaration.
template <typename Function>
Function Method(const char *className, const char *declaration)
{
    const host::Class *type = TheHost().classes.Find(className);
    for (const auto *methods : {&type->methods, &type->sharedMethods}) {
        for (const host::Function &method : *methods) {
            if (method.declaration.text == declaration) return reinterpret_cast<Function>(method.address);
        }
    }
    std::fprintf(stderr, "there is no method %s\n", declaration);
    std::exit(1);
}

sockaddr_in Loopback(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A bare socket on loopback, and its port.
struct BareSocket {
    BareSocket() : fd(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0))
    {
        sockaddr_in address = Loopback(0);
        bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
        socklen_t size = sizeof address;
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size);
        port = ntohs(address.sin_port);
    }
    ~BareSocket() { close(fd); }
    BareSocket(const BareSocket &) = delete;
    BareSocket &operator=(const BareSocket &) = delete;

    void Drain()
    {
        char byte;
        while (recv(fd, &byte, 1, 0) >= 0) {
        }
    }

    int fd;
    int port;
};

// Times `kBatch` calls of the body; what is needed before them is not timed.
template <typename Prepare, typename Body>
void MeasureBatches(benchmark::State &state, Prepare prepare, Body body)
{
    for (auto _ : state) {
        prepare();
        auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kBatch; i++)
            body();
        std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(time.count() / kBatch);
    }
}

void SendOurs(benchmark::State &state)
{
    auto send = Method<long (*)(REALobjectStruct *, REALstringStruct *, REALstringStruct *, long)>(
        "UDPSocketVYN", "SendMessage(Data as string, IP as String, Port as Integer) as Integer");
    BareSocket receiver;
    Object socket(TheHost().New("UDPSocketVYN"));
    String data(host::NewString(std::string(static_cast<std::size_t>(state.range(0)), 'x')));
    String address(host::NewString("127.0.0.1", kEncodingASCII));
    MeasureBatches(
        state, [&] { receiver.Drain(); },
        [&] { benchmark::DoNotOptimize(send(socket.Get(), data.Get(), address.Get(), receiver.port)); });
}

void SendBare(benchmark::State &state)
{
    BareSocket receiver, sender;
    std::string data(static_cast<std::size_t>(state.range(0)), 'x');
    sockaddr_in to = Loopback(receiver.port);
    MeasureBatches(
        state, [&] { receiver.Drain(); },
        [&] {
            benchmark::DoNotOptimize(
                sendto(sender.fd, data.data(), data.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to));
        });
}

// Queues a batch of datagrams for the port.
void Fill(BareSocket &sender, int port, std::int64_t size)
{
    std::string data(static_cast<std::size_t>(size), 'x');
    sockaddr_in to = Loopback(port);
    for (int i = 0; i < kBatch; i++)
        sendto(sender.fd, data.data(), data.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
}

void ReadOurs(benchmark::State &state)
{
    auto read = Method<REALobjectStruct *(*)(REALobjectStruct *, HostBoolean)>(
        "UDPSocketVYN", "Read(peek as boolean = false) as DatagramVYN");
    BareSocket sender;
    Object socket(TheHost().New("UDPSocketVYN"));
    String any(host::NewString("127.0.0.1"));
    TheHost().Call<void>(socket.Get(), "Bind(Port as Integer, IP as String)", 0, any.Get());
    auto port = static_cast<int>(TheHost().Get<long>(socket.Get(), "LocalPort"));
    MeasureBatches(
        state, [&] { Fill(sender, port, state.range(0)); },
        [&] {
            Object datagram(read(socket.Get(), 0));
            if (datagram.Get() == nullptr) std::abort();
        });
}

// What a program has when it has read: sender, port and payload, in two objects and two strings of the host.
void ReadBareInto(BareSocket &receiver)
{
    int size = 0;
    ioctl(receiver.fd, FIONREAD, &size);
    auto buffer = static_cast<char *>(std::malloc(static_cast<std::size_t>(size)));
    sockaddr_in from;
    socklen_t fromSize = sizeof from;
    benchmark::DoNotOptimize(recvfrom(receiver.fd, buffer, static_cast<std::size_t>(size), 0,
                                      reinterpret_cast<sockaddr *>(&from), &fromSize));
    std::free(buffer);
}

void ReadBare(benchmark::State &state)
{
    BareSocket sender, receiver;
    MeasureBatches(
        state, [&] { Fill(sender, receiver.port, state.range(0)); }, [&] { ReadBareInto(receiver); });
}

void PollOurs(benchmark::State &state)
{
    auto poll = Method<void (*)(REALobjectStruct *)>("UDPSocketVYN", "Poll");
    Object socket(TheHost().New("UDPSocketVYN"));
    for (auto _ : state)
        poll(socket.Get());
}

void PollBare(benchmark::State &state)
{
    BareSocket socket;
    for (auto _ : state) {
        fd_set read, write, except;
        FD_ZERO(&read);
        FD_ZERO(&write);
        FD_ZERO(&except);
        FD_SET(socket.fd, &read);
        FD_SET(socket.fd, &write);
        FD_SET(socket.fd, &except);
        timeval none = {0, 0};
        benchmark::DoNotOptimize(select(socket.fd + 1, &read, &write, &except, &none));
    }
}

void ChecksumOurs(benchmark::State &state)
{
    auto checksum = Method<std::uint16_t (*)(const void *, long)>(
        "RAWSocketVYN", "CalcChecksum(data as ptr, ByteCount as Integer) as UInt16");
    std::vector<unsigned char> bytes(static_cast<std::size_t>(state.range(0)), 0x5A);
    for (auto _ : state)
        benchmark::DoNotOptimize(checksum(bytes.data(), state.range(0)));
}

// The limit: the bytes are read, with the widest loads there are, and nothing else is done.
#if defined(__x86_64__)
__attribute__((target("avx2")))
#endif
void ChecksumBare(benchmark::State &state)
{
    std::vector<unsigned char> bytes(static_cast<std::size_t>(state.range(0)), 0x5A);
    for (auto _ : state) {
#if defined(__x86_64__)
        __m256i joined = {};
        for (std::size_t i = 0; i + 32 <= bytes.size(); i += 32)
            joined |= _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data() + i));
        benchmark::DoNotOptimize(joined);
#else
        std::uint64_t joined = 0, word;
        for (std::size_t i = 0; i + 8 <= bytes.size(); i += 8) {
            std::memcpy(&word, bytes.data() + i, 8);
            joined |= word;
        }
        benchmark::DoNotOptimize(joined);
#endif
    }
}

using Measurement = void (*)(benchmark::State &);

void Register(const std::string &name, Measurement ours, Measurement bare, const std::vector<std::int64_t> &sizes,
              bool manual)
{
    for (auto [kind, measurement] : {std::pair{"ours", ours}, {"bare", bare}}) {
        for (std::int64_t size : sizes) {
            auto *registered = benchmark::RegisterBenchmark((name + "/" + kind).c_str(), measurement)->Arg(size);
            if (manual) registered->UseManualTime()->Iterations(400);
        }
    }
}

} // namespace

int main(int count, char **arguments)
{
    if (count < 2) return std::fprintf(stderr, "usage: network_bench LIBRARY [OPTION...]\n"), 2;
    void *library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    TheHost().Start(reinterpret_cast<void (*)(host::Resolver)>(dlsym(library, "REALPluginMain")));

    const std::vector<std::int64_t> datagrams = {16, 512, 1400};
    Register("send", SendOurs, SendBare, datagrams, true);
    Register("read", ReadOurs, ReadBare, datagrams, true);
    Register("poll", PollOurs, PollBare, {0}, false);
    Register("checksum", ChecksumOurs, ChecksumBare, {1500, 9000, 65535}, false);

    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
