#include "Benchmarks/Bench.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sys/socket.h>
#include <tuple>
#include <unistd.h>

namespace bench {

void Require(bool condition, const char *message)
{
    if (condition) return;
    std::fprintf(stderr, "benchmark: %s\n", message);
    std::exit(1);
}

host::Host &TheHost()
{
    static host::Host host;
    return host;
}

void *MethodAddress(const char *className, const char *declaration)
{
    const host::Class *type = TheHost().classes.Find(className);
    Require(type != nullptr, className);
    for (const auto *methods : {&type->methods, &type->sharedMethods}) {
        for (const host::Function &method : *methods) {
            if (method.declaration.text == declaration) return method.address;
        }
    }
    Require(false, declaration);
    return nullptr;
}

sockaddr_in Loopback(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

BareSocket::BareSocket() : fd(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0))
{
    sockaddr_in address = Loopback(0);
    Require(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0, "no port on loopback");
    socklen_t size = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size);
    port = ntohs(address.sin_port);
}

BareSocket::~BareSocket()
{
    close(fd);
}

void BareSocket::Fill(int toPort, long size) const
{
    const std::string data(static_cast<std::size_t>(size), 'x');
    sockaddr_in to = Loopback(toPort);
    for (int i = 0; i < kBatch; i++) {
        ssize_t sent = sendto(fd, data.data(), data.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
        Require(sent == size, "a batch was not sent");
    }
}

void BareSocket::Drain() const
{
    char byte;
    int count = 0;
    while (recv(fd, &byte, 1, 0) >= 0)
        count++;
    Require(count == 0 || count == kBatch, "a batch was cut");
}

LibrarySocket::LibrarySocket() : object(TheHost().New("UDPSocketVYN"))
{
    String address(host::NewString("127.0.0.1"));
    TheHost().Call<void>(object.Get(), "Bind(Port as Integer, IP as String)", 0, address.Get());
    port = static_cast<int>(TheHost().Get<long>(object.Get(), "LocalPort"));
    Require(port > 0, "no port on loopback");
}

namespace {

struct Registered {
    std::string row, kind;
    Measurement measurement;
    long number; // the case
    bool isBatched;
};

std::vector<Registered> &AllRegistered()
{
    static std::vector<Registered> all;
    return all;
}

bool Add(const char *row, const char *kind, Measurement measurement, const std::vector<long> &cases, bool isBatched)
{
    for (long number : cases)
        AllRegistered().push_back({row, kind, measurement, number, isBatched});
    return true;
}

} // namespace

bool Register(const char *row, const char *kind, Measurement measurement, const std::vector<long> &cases)
{
    return Add(row, kind, measurement, cases, false);
}

bool RegisterBatched(const char *row, const char *kind, Measurement measurement, const std::vector<long> &cases)
{
    return Add(row, kind, measurement, cases, true);
}

void RunAll(int count, char **arguments)
{
    constexpr int kBatches = 100;
    auto &all = AllRegistered();
    std::shuffle(all.begin(), all.end(), std::mt19937(std::random_device()()));
    std::stable_sort(all.begin(), all.end(),
                     [](auto &a, auto &b) { return std::tie(a.row, a.number) < std::tie(b.row, b.number); });
    for (const Registered &each : all) {
        std::string name = each.row + "/" + each.kind + "/" + std::to_string(each.number);
        auto *run = benchmark::RegisterBenchmark(name.c_str(), each.measurement, each.number);
        if (each.isBatched) run->UseManualTime()->Iterations(kBatches);
    }
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
}

} // namespace bench
