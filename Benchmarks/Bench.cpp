#include "Benchmarks/Bench.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <span>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
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

void RequireAligned(const void *bytes)
{
    if (*kRowPrefix != 0) return; // the stand-in host's heap is not aligned
    Require(reinterpret_cast<std::uintptr_t>(bytes) % 64 == 0, "bytes do not begin at a multiple of 64");
}

// --- the host ------------------------------------------------------------------------------------------------

Entries entries;

template <typename Function>
static void Find(HostResolver resolve, const char *name, Function &function)
{
    function = reinterpret_cast<Function>(resolve(name));
    Require(function != nullptr, name);
}

void StartHost(void (*pluginMain)(HostResolver))
{
    HostResolver resolve = BeginHost();
    Find(resolve, "REALBuildStringWithEncoding", entries.buildString);
    Find(resolve, "PluginNewInstance", entries.newInstance);
    Find(resolve, "REALUnlockString", entries.unlockString);
    Find(resolve, "REALUnlockObject", entries.unlockObject);
    pluginMain(resolve);
}

// --- the library ---------------------------------------------------------------------------------------------

REALstringStruct *NewString(const std::string &bytes, unsigned int encoding)
{
    return entries.buildString(bytes.data(), static_cast<int>(bytes.size()), encoding);
}

void *MethodAddress(const char *className, const char *declaration)
{
    const REALclassDefinition &type = Definition(className);
    for (std::span methods :
         {std::span(type.methods, type.methodCount), std::span(type.sharedMethods, type.sharedMethodCount)}) {
        for (const REALmethodDefinition &method : methods) {
            if (std::strcmp(method.declaration, declaration) == 0) return method.function;
        }
    }
    Require(false, declaration);
    return nullptr;
}

static const REALproperty &Property(const REALclassDefinition &type, const char *name)
{
    auto named = [&](const REALproperty &property) { return std::strcmp(property.name, name) == 0; };
    const REALproperty *end = type.properties + type.propertyCount;
    const REALproperty *found = std::find_if(type.properties, type.properties + type.propertyCount, named);
    Require(found != end, name);
    return *found;
}

// --- sockets -------------------------------------------------------------------------------------------------

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
    for (int i = 0; i < BatchOf(size); i++) {
        ssize_t sent = sendto(fd, data.data(), data.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
        Require(sent == size, "a batch was not sent");
    }
}

void BareSocket::Drain(long size) const
{
    char byte;
    int count = 0;
    while (recv(fd, &byte, 1, 0) >= 0)
        count++;
    Require(count == 0 || count == BatchOf(size), "a batch was cut");
}

LibrarySocket::LibrarySocket() : object(entries.newInstance("UDPSocketVYN"))
{
    const REALclassDefinition &type = Definition("UDPSocketVYN");
    Method<void (*)(REALobjectStruct *)>(type.name, "Constructor")(object.get());
    String address(NewString("127.0.0.1", kEncodingASCII));
    Method<void (*)(REALobjectStruct *, long, REALstringStruct *)>(
        type.name, "Bind(Port as Integer, IP as string = \"\")")(object.get(), 0, address.get());
    port = static_cast<int>(Property(type, "LocalPort").getter.integer(object.get(), 0));
    Require(port > 0, "no port on loopback");
}

std::int64_t &LibrarySocket::Handle() const
{
    const REALclassDefinition &type = Definition("UDPSocketVYN");
    char *block = reinterpret_cast<char *>(object.get()) + type.forSystemUse;
    return *reinterpret_cast<std::int64_t *>(block + Property(type, "Handle").parameter);
}

Received::Received(int fd, long expected)
{
    int size = 0;
    ioctl(fd, FIONREAD, &size);
    bytes = static_cast<char *>(std::malloc(static_cast<std::size_t>(size)));
    RequireAligned(bytes);
    socklen_t fromSize = sizeof from;
    ssize_t result =
        recvfrom(fd, bytes, static_cast<std::size_t>(size), 0, reinterpret_cast<sockaddr *>(&from), &fromSize);
    Require(result == expected, "recvfrom failed");
}

Received::~Received()
{
    std::free(bytes);
}

static constexpr std::size_t kWordBits = CHAR_BIT * sizeof(unsigned long);

BareSelect::BareSelect(int highest) : read(static_cast<std::size_t>(highest) / kWordBits + 1), write(read), except(read)
{
}

void BareSelect::Look(int fd)
{
    const std::size_t word = static_cast<std::size_t>(fd) / kWordBits;
    auto set = [](std::vector<unsigned long> &words) { return reinterpret_cast<fd_set *>(words.data()); };
    read[word] = write[word] = except[word] = 1UL << (static_cast<std::size_t>(fd) % kWordBits);
    timeval noTime = {0, 0};
    int ready = select(fd + 1, set(read), set(write), set(except), &noTime);
    read[word] = write[word] = except[word] = 0;
    Require(ready > 0, "select failed"); // the socket is writable
}

void AllowManyDescriptors()
{
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// --- the rows ------------------------------------------------------------------------------------------------

namespace {

struct Registered {
    std::string row, kind;
    Measurement measurement;
    long number; // the case
    Timing timing;
};

std::vector<Registered> &AllRegistered()
{
    static std::vector<Registered> all;
    return all;
}

} // namespace

bool Register(const char *row, const char *kind, Measurement measurement, const std::vector<long> &cases, Timing timing)
{
    for (long number : cases)
        AllRegistered().push_back({row, kind, measurement, number, timing});
    return true;
}

void RunAll(int count, char **arguments)
{
    auto &all = AllRegistered();
    std::shuffle(all.begin(), all.end(), std::mt19937(std::random_device()()));
    std::stable_sort(all.begin(), all.end(),
                     [](auto &a, auto &b) { return std::tie(a.row, a.number) < std::tie(b.row, b.number); });
    for (const Registered &each : all) {
        std::string name = kRowPrefix + each.row + "/" + each.kind + "/" + std::to_string(each.number);
        auto *run = benchmark::RegisterBenchmark(name.c_str(), each.measurement, each.number);
        switch (each.timing) {
        case Timing::kLoop:
            run->MinWarmUpTime(0.01);
            break;
        case Timing::kBatches:
            run->UseManualTime()->Iterations(1);
            break;
        case Timing::kResting:
            run->Iterations(50);
            break;
        }
    }
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
}

} // namespace bench
