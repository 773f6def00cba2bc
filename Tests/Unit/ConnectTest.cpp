// Resolving and connecting, over loopback and with answers of the resolver that the tests write.
#include "Libs/shared/Socket/SocketUtil.h"
#include "Source/Utility/rbDebug.h"
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/OnHost.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <list>
#include <utility>

namespace {

// An entry of the resolver's answer with its address.
struct Entry : addrinfo {
    Entry(int family, int port) : addrinfo{0, family, 0, 0, 16, &address.any, nullptr, nullptr}
    {
        SetLoopbackSocketAddress(family, address, port);
        if (family == AF_INET6) ai_addrlen = sizeof address;
    }
    Entry(const Entry &) = delete;
    sockaddr_union address;
};

std::list<Entry> answer; // what the resolver says; empty: ask the system's
bool answerIsOut = false;
addrinfo hintsGiven;
std::string serviceGiven;

// The C library's function of that name, which the one here replaces.
template <typename Function>
Function *System(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int getaddrinfo(const char *host, const char *service, const addrinfo *hints, addrinfo **list)
{
    if (answer.empty()) return System<decltype(getaddrinfo)>("getaddrinfo")(host, service, hints, list);
    hintsGiven = *hints;
    serviceGiven = service;
    answerIsOut = true;
    for (Entry &entry : answer) {
        *list = &entry;
        list = &entry.ai_next;
    }
    return 0;
}

extern "C" void freeaddrinfo(addrinfo *list)
{
    if (!std::exchange(answerIsOut, false)) System<decltype(freeaddrinfo)>("freeaddrinfo")(list);
}

namespace {

// A TCP socket on a free port of 127.0.0.1; connections are refused unless it listens.
struct Server {
    explicit Server(bool listening) : fd(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_union address = {};
        socklen_t length = sizeof address;
        SetLoopbackSocketAddress(AF_INET, address, 0);
        bind(fd, &address.any, 16);
        if (listening) listen(fd, 20);
        getsockname(fd, &address.any, &length);
        port = GetSocketAddressPort(address);
    }
    Server(const Server &) = delete;
    ~Server() { close(fd); }
    int fd, port;
};

struct Outcome {
    bool connected = false;
    std::string message = "untouched";
    int sock = 77;
    bool inProgress = false;
    int family = -7;
    bool operator==(const Outcome &) const = default;
};

Outcome Connect(const char *host, int port, bool nonBlocking, int socketType, int protocol, int preference = 0)
{
    Outcome outcome;
    outcome.connected =
        ConnectSocket(outcome.message, host, port, outcome.sock, nonBlocking, outcome.inProgress, outcome.family,
                      socketType, protocol, static_cast<SocketProtocolPreference>(preference));
    return outcome;
}

const char kRefused[] = "Socket connect failed with error 111: Connection refused";

} // namespace

TEST(Connect, ConnectedDescriptorIsTheCallersAndCloseOnExec)
{
    Server server(true);
    const std::string unreachable = "Socket connect failed with error 101: Network is unreachable";
    const std::string again = "Socket connect failed with error 11: Resource temporarily unavailable";
    struct {
        bool nonBlocking;
        int error; // of connect itself; 0: what the system says
        Outcome expected;
    } const rows[] = {
        {false, 0, {true, "untouched", 0, false, AF_INET}},
        {true, 0, {true, "untouched", 0, true, AF_INET}},
        {true, EAGAIN, {true, "untouched", 0, true, AF_INET}},
        {false, EAGAIN, {false, again, -1, false, AF_INET}},
        {true, ENETUNREACH, {false, unreachable, -1, false, AF_INET}},
    };
    for (const auto &row : rows) {
        if (row.error != 0) faults::FailSystemCall(row.nonBlocking ? 4 : 2, row.error); // after socket and fcntl
        Outcome outcome = Connect("127.0.0.1", server.port, row.nonBlocking, SOCK_STREAM, IPPROTO_TCP);
        if (outcome.connected) {
            EXPECT_EQ(fcntl(outcome.sock, F_GETFD), FD_CLOEXEC);
            EXPECT_EQ((fcntl(outcome.sock, F_GETFL) & O_NONBLOCK) != 0, row.nonBlocking);
            close(std::exchange(outcome.sock, 0));
        }
        EXPECT_TRUE(outcome == row.expected) << outcome.message;
    }
}

TEST(Connect, AddressesAreTriedInTheResolversOrderWithinThePreference)
{
    Server open(true);
    Server closed(false);
    const bool hasIPv6 = std::ifstream("/proc/net/if_inet6").peek() != EOF;
    // 4 answers and 5 refuses, both by IPv4; 6 refuses by IPv6; 1 is no family to connect to.
    struct {
        const char *what;
        std::vector<int> addresses;
        int protocol, preference;
        int sock, family; // sock: 0 for a connected one
        std::string message;
    } const rows[] = {
        {"IPv6 refuses, IPv4 answers", {6, 4}, 6, 0, 0, AF_INET, "untouched"},
        {"the first that answers is taken", {5, 4, 6}, 6, 0, 0, AF_INET, "untouched"},
        {"all refuse", {5, 6}, 6, 0, -1, AF_INET6, kRefused},
        {"IPv6 wanted, IPv4 skipped", {4, 6, 4}, 6, 6, -1, AF_INET6, kRefused},
        {"IPv4 wanted, IPv6 skipped", {6, 4}, 6, 4, 0, AF_INET, "untouched"},
        {"IPv4 wanted, none there", {6}, 6, 4, -1, AF_INET6, kRefused},
        {"IPv6 wanted, none there", {4}, 6, 6, 0, AF_INET, "untouched"},
        {"an unknown preference", {6, 4}, 6, 5, 0, AF_INET, "untouched"},
        {"no socket", {6, 4}, 17, 0, -1, AF_INET6, "Socket creation failed with error 93: Protocol not supported"},
        {"no usable family", {1, 1}, 6, 0, 77, -7, ""},
    };
    for (std::size_t i = 0; i < 2 * std::size(rows); i++) {
        const auto &row = rows[i / 2];
        if (!hasIPv6 && std::count(row.addresses.begin(), row.addresses.end(), 6) != 0) continue;
        gDebugging = i % 2 == 1; // which changes nothing
        SCOPED_TRACE(row.what);
        answer.clear();
        for (int kind : row.addresses) {
            int family = kind == 1 ? AF_UNIX : kind == 6 ? AF_INET6 : AF_INET;
            answer.emplace_back(family, kind == 4 ? open.port : closed.port);
        }
        auto before = program::OpenDescriptors();
        Outcome outcome = Connect("name", -80, false, SOCK_STREAM, row.protocol, row.preference);
        EXPECT_EQ(serviceGiven, "-80");
        EXPECT_EQ(hintsGiven.ai_socktype, SOCK_STREAM);
        EXPECT_EQ(hintsGiven.ai_protocol, row.protocol);
        EXPECT_EQ(hintsGiven.ai_family + hintsGiven.ai_flags, 0);     // both families
        EXPECT_FALSE(answerIsOut);                                    // the list was given back
        if (outcome.connected) close(std::exchange(outcome.sock, 0)); // the count below tells whether it was one
        EXPECT_TRUE((outcome == Outcome{row.sock == 0, row.message, row.sock, false, row.family})) << outcome.message;
        EXPECT_EQ(program::OpenDescriptors(), before);
    }
}
