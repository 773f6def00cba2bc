// Sockets in states that a program seldom brings about.
#include "Source/Plugins/Network/BaseSocket.h"
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/OnHost.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace program;

namespace {

class Socket : public OnHost {
  protected:
    void SetUp() override { StartHost(); }
};

void SendToItself(const Object &socket)
{
    Send(socket, "127.0.0.1", "127.0.0.1", Port(socket));
}

// A socket that counts what it is told of data, with a datagram queued.
Object Due(int &events)
{
    Object socket = Bound(Udp());
    SendToItself(socket);
    On(socket, "DataAvailable", [&events](const Object &) { events++; });
    return socket;
}

std::string WhyNoStream()
{
    return Raised([] { Raw(AF_INET, SOCK_STREAM); });
}

void SetHandle(const Object &socket, long handle)
{
    close(static_cast<int>(Number(socket, "Handle")));
    Host().Set(socket.Get(), "Handle", handle);
}

} // namespace

TEST_F(Socket, ARawSocketThatCannotBeMadeSaysWhy)
{
    const std::pair<int, const char *> rows[] = {
        {EPROTOTYPE, "The socket type is not supported by the protocol."},
        {EOPNOTSUPP, "Operation not supported on socket."},
        {EAFNOSUPPORT, "The specified address family is not supported."},
        {ENOBUFS, "Insufficient buffer space is available.  The socket cannot be created until sufficient resources "
                  "are freed."},
        {EPROTONOSUPPORT, "The protocol type or the specified protocol is not supported within this domain."},
        {EACCES, "Permission to create a socket of the specified type and/or protocol is denied."},
        {ENFILE, "The system file table is full."},
        {EMFILE, "The per-process descriptor table is full."},
        {ENOMEM, "Insufficient memory was available to fulfill the request."},
        {EPERM, "Failed to create socket!"},
    };
    for (auto [error, message] : rows) {
        faults::FailSystemCall(1, error);
        EXPECT_EQ(WhyNoStream(), std::string("UnsupportedOperationException: ") + message);
    }
    // An object that has a socket keeps it and what it is.
    Object made = Raw(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    SocketRecord &record = GetSocketRecord(made.Get()), before = record;
    EXPECT_NE(Raised([&] { Call(made, kConstructor, 9999, 7, 8); }), "");
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
}

// What socket(2) answers when standard input is closed must move, and there is no other number left.
TEST_F(Socket, TheLastNumberIsNoUseWhenItIsZero)
{
    EXPECT_EQ(InChild([]() -> std::string {
                  Object made = Raw(AF_INET, SOCK_STREAM);
                  SetHandle(made, 0);
                  close(STDIN_FILENO);
                  rlimit two = {2, 2}; // the other is standard output
                  setrlimit(RLIMIT_NOFILE, &two);
                  std::string reasons = WhyNoStream() + "; " + Connect(made, "127.0.0.1", 9);
                  return fcntl(STDIN_FILENO, F_GETFD) == -1 ? reasons : "it is left open";
              }),
              "UnsupportedOperationException: The per-process descriptor table is full.; "
              "not connected: Socket creation failed with error 24: Too many open files");
}

TEST_F(Socket, WhatIsReplacedIsClosedUnlessItIsZero)
{
    for (auto [number, expected] :
         {std::pair(STDIN_FILENO, "open"), {STDOUT_FILENO, "closed"}, {STDERR_FILENO, "closed"}}) {
        EXPECT_EQ(InChild([number = number]() -> std::string {
                      Object listener = Listener(), peer = Raw(AF_INET, SOCK_STREAM), into = Raw();
                      SetHandle(into, number);
                      std::string wrong = Connect(peer, "127.0.0.1", Port(listener));
                      Object accepted = Accept(listener, nullptr, into);
                      return wrong + (fcntl(number, F_GETFD) == -1 ? "closed" : "open");
                  }),
                  expected);
    }
}

// Whatever the process prints must not reach a peer.
TEST_F(Socket, NoSocketGetsTheNumberOfAStandardStream)
{
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        EXPECT_EQ(InChild([&] {
                      close(stream);
                      Object listener = Listener(), peer = Raw(AF_INET, SOCK_STREAM), udp = Udp();
                      std::string wrong = Connect(peer, "127.0.0.1", Port(listener));
                      Object accepted = Accept(listener);
                      for (const Object *made : {&listener, &peer, &accepted, &udp}) {
                          long handle = Number(*made, "Handle");
                          if (handle <= STDERR_FILENO) wrong += std::to_string(handle) + " ";
                          if (fcntl(static_cast<int>(handle), F_GETFD) != FD_CLOEXEC) wrong += "inherited ";
                      }
                      return faults::inheritable == 0 ? wrong : wrong + "inherited";
                  }),
                  "")
            << stream;
    }
}

// As the program's own destructor may, when the poll gives back the last reference.
TEST_F(OnHost, WhatADestructorRaisesInThePollIsTold)
{
    static bool raises = false;
    StartHost(); // the library has not asked for the entry yet
    running->entries.at("REALUnlockObject") = reinterpret_cast<void *>(+[](REALobjectStruct *object) {
        host::entry::REALUnlockObject(object);
        if (raises) throw host::Exception{"RuntimeException", "from a destructor", 0};
    });
    int events = 0;
    Object socket = Udp();
    On(socket, "SendComplete", [&](const Object &) { raises = ++events != 0; });
    Send(socket, "x", "127.0.0.1", 9);
    const char told[] = "RuntimeException: Sorry, but there was an unnamed C++ Exception.";
    EXPECT_EQ(Raised([&] { Call(socket, "Poll"); }), told);
    raises = false;
    Send(socket, "x", "127.0.0.1", 9);
    EXPECT_EQ(Raised([&] { running->tasks.Step(); }), told);
    EXPECT_EQ(events, 2);
    raises = false;
}

TEST_F(OnHost, ADestroyedSocketSilencesNoOtherWhereTasksCannotBeTakenBack)
{
    StartHost({.without = {"PluginUnregisterBackgroundTask"}});
    int events = 0;
    Object kept = Raw();
    Udp(); // is gone
    Object closed = Raw();
    Call(closed, "Close");
    On(kept, "SendComplete", [&](const Object &) { events++; });
    Send(kept, "x", "127.0.0.1", 9);
    running->tasks.Step();
    EXPECT_EQ(events, 1);

    // One that is closed and gets a connection is watched again.
    Object listener = Listener(), client = Raw(AF_INET, SOCK_STREAM);
    EXPECT_EQ(Connect(client, "127.0.0.1", Port(listener)), "");
    Accept(listener, nullptr, closed);
    On(closed, "SendComplete", [&](const Object &) { events++; });
    Call<long>(closed, kSendBytes, "x", 1, MSG_NOSIGNAL);
    running->tasks.Step();
    EXPECT_EQ(events, 2);
}

TEST_F(OnHost, ADatagramWhoseTextCannotBeMadeIsNilAndNoFailure)
{
    StartHost({.without = {"REALBuildStringWithEncoding"}});
    Object socket = Bound(Udp());
    SendToItself(socket);
    EXPECT_EQ(Read(socket).Get(), nullptr);
    EXPECT_EQ(Number(socket, "Lasterror"), 0);
}

TEST_F(OnHost, APollThatCannotHoldItsObjectFiresAllEvents)
{
    // Without "REALLockObject" the account of references can't balance, in a child it need not.
    EXPECT_EQ(InChild([this]() -> std::string {
                  StartHost({.without = {"REALLockObject"}});
                  int received = 0, completed = 0;
                  Object socket = Bound(Udp());
                  SendToItself(socket);
                  running->events.SetHandler(socket.Get(), "SendComplete", [&](REALobjectStruct *) { completed++; });
                  running->events.SetHandler(socket.Get(), "DataAvailable", [&](REALobjectStruct *) { received++; });
                  Call(socket, "Poll");
                  if (Number(socket, "Handle") <= 0) return "the socket is gone";
                  return std::to_string(received) + " and " + std::to_string(completed);
              }),
              "1 and 1");
}

// The old socket is readable and has a send to complete. The new one gets its number where the old one is closed first.
TEST_F(Socket, APollEndsWhenAHandlerReplacesTheDescriptor)
{
    Object listener = Listener();
    const std::function<void(const Object &)> rows[] = {
        [](const Object &self) { Host().Set(self.Get(), "Handle", long{::socket(AF_INET, SOCK_DGRAM, 0)}); },
        [](const Object &self) { Call(self, kConstructor, 2, 2, 0); },
        [&](const Object &self) { EXPECT_EQ(Connect(self, "127.0.0.1", Port(listener)), ""); },
        [&](const Object &self) { Accept(listener, nullptr, self); },
    };
    for (const auto &replace : rows) {
        Object socket = Bound(Raw());
        const bool keepsNumber = &replace != rows;
        long number = Number(socket, "Handle"), completed = 0;
        Send(socket, "x", "127.0.0.1", Port(socket));
        On(socket, "DataAvailable", [&](const Object &self) {
            if (keepsNumber) Call(self, "Close");
            replace(self);
        });
        On(socket, "SendComplete", [&](const Object &) { completed++; });
        Host().Set(socket.Get(), "SocketType", long{SOCK_STREAM}); // for Connect
        Call(socket, "Poll");
        EXPECT_EQ(Number(socket, "Handle") == number, keepsNumber);
        EXPECT_EQ(completed, 0);
        if (!keepsNumber) close(static_cast<int>(number));
    }
}

// The host looks the handler up in the program's own code, which may do anything.
TEST_F(OnHost, APollEndsWhenTheLookUpOfAHandlerDestroysTheObject)
{
    static Object socket;
    static int events = 0;
    StartHost();
    running->entries.at("GetEventInstance") = reinterpret_cast<void *>(+[](REALobjectStruct *, void *) {
        socket = Object();
        return +[](REALobjectStruct *) { events++; };
    });
    socket = Bound(Udp());
    SendToItself(socket);
    running->tasks.Step();
    EXPECT_EQ(socket.Get(), nullptr);
    EXPECT_EQ(events, 0);
}

TEST_F(Socket, APollOnAnotherThreadDoesNothing)
{
    int events = 0;
    Object socket = Due(events);
    std::thread([&] { Call(socket, "Poll"); }).join();
    EXPECT_EQ(events, 0);
    Call(socket, "Poll");
    EXPECT_EQ(events, 1);
}

TEST_F(Socket, EachObjectIsWatchedOnceWhateverIsAcceptedIntoIt)
{
    Object listener = Listener(), client = Raw(AF_INET, SOCK_STREAM), given = Raw(AF_INET, SOCK_STREAM);
    EXPECT_EQ(Connect(client, "127.0.0.1", Port(listener)), "");
    Accept(listener, nullptr, given);
    EXPECT_EQ(running->tasks.Live().size(), 3U);
    for (const auto &[identifier, task] : running->tasks.Live())
        EXPECT_EQ(task.period, 10U);
}

// select(2) is asked with sets as long as the number needs: the last bit of the kept ones, and the first beyond.
TEST_F(Socket, DescriptorsAtTheEndOfTheKeptSetsArePolled)
{
    if (Emulated()) GTEST_SKIP() << "an emulator's select knows no such numbers";
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    for (int number : {16383, 16384, 16447}) {
        int events = 0;
        Object socket = Due(events);
        int moved = fcntl(static_cast<int>(Number(socket, "Handle")), F_DUPFD_CLOEXEC, number);
        if (moved != number) GTEST_SKIP() << "the limit of open files is below " << number;
        SetHandle(socket, moved);
        Call(socket, "Poll");
        EXPECT_EQ(events, 1) << number;
    }
}

TEST_F(OnHost, ARawSocketHasItsOwnEventsWhereClassesCannotBeTold)
{
    StartHost({.without = {"RuntimeObjectIsa"}});
    int events = 0;
    Object socket = Raw();
    Send(socket, "x", "127.0.0.1", 9);
    On(socket, "SendComplete", [&events](const Object &) { events++; });
    Call(socket, "Poll");
    EXPECT_EQ(events, 1);
}

// The calls of RAWSocketVYN alone know where its data is, though this host can't tell an object's class.
TEST_F(OnHost, RawCallsFindTheirDataWhereClassesCannotBeTold)
{
    StartHost({.offsets = {{"UDPSocketVYN", 64}, {"RAWSocketVYN", 144}}, .without = {"RuntimeObjectIsa"}});
    Object socket = Raw(AF_INET, SOCK_STREAM);
    EXPECT_GT(Number(socket, "Handle"), 0);
    Call(socket, "Listen(BackLog as Integer)", 2);
    EXPECT_EQ(Number(socket, "Lasterror"), 0);
    SetHandle(socket, 0);
}

// Empty for the query, and there for the receive: the datagram waits for the next Read, whole.
TEST_F(Socket, ADatagramBetweenQueryAndReceiveIsNeitherLostNorCut)
{
    static Object socket; // where the moment between the two can reach it
    socket = Bound(Udp());
    faults::afterQuery = [] { SendToItself(socket); };
    for (const char *wanted : {"", "127.0.0.1", ""}) {
        Object datagram = Read(socket);
        EXPECT_EQ(datagram.Get() == nullptr ? "" : Words(datagram, "Data"), wanted);
    }
    socket = Object();
}

TEST_F(Socket, ASendByTheHandlerOfSendCompleteIsToldToo)
{
    int completed = 0;
    Object socket = Udp();
    Send(socket, "x", "127.0.0.1", 9);
    On(socket, "SendComplete", [&](const Object &self) {
        if (completed++ == 0) Send(self, "again", "127.0.0.1", 9);
    });
    for (int i = 0; i < 3; i++)
        Call(socket, "Poll");
    EXPECT_EQ(completed, 2);
}

TEST_F(Socket, WhatTheProgramSharesWithAnOperationIsKept)
{
    Object into = Raw(), listener = Listener(), client = Raw(AF_INET, SOCK_STREAM);
    REALstringStruct *both = host::NewString("127.0.0.1");
    EXPECT_TRUE(Call<HostBoolean>(client, kConnect, both, Port(listener), &both));
    long number = Number(into, "Handle");
    close(static_cast<int>(number)); // which the next socket gets
    EXPECT_EQ(Number(Accept(listener, nullptr, into), "Handle"), number);
    EXPECT_NE(fcntl(static_cast<int>(number), F_GETFD), -1);
    // With nobody to accept, and without a socket, the variables lose what they had.
    Call(into, "Close");
    for (const Object *socket : {&listener, &into}) {
        String address = Text("old");
        long port = 7;
        EXPECT_EQ(Call<REALobjectStruct *>(*socket, kAccept, address.Variable(), &port, nullptr), nullptr);
        EXPECT_EQ(address.Get(), nullptr);
        EXPECT_EQ(port, 0);
    }

    Object bound = Bound(Udp());
    SetHandle(bound, ::socket(AF_INET, SOCK_DGRAM, 0));
    Call(bound, kBind, 0, GetSocketRecord(bound.Get()).BindAddress); // the only reference
    EXPECT_EQ(Words(bound, "BindAddress"), "127.0.0.1");
}

// Only -1 is no handle; what else can't be a descriptor is for the system to refuse.
TEST_F(Socket, AHandleOfAHostSocketThatIsNoDescriptorIsRefusedByTheSystem)
{
    static int descriptor = ::socket(AF_INET, SOCK_DGRAM, 0);
    static long handle;
    Object socket(host::NewSocket("UDPSocket", descriptor));
    FakeHost::Replace(host::Resolve);
    FakeHost::Provide("REALGetPropValueInteger", [](REALobjectStruct *, const char *, long *value) {
        *value = handle;
        return 1UL;
    });
    for (long number : {(1L << 32) + descriptor, -2L}) {
        handle = number;
        auto query = [&] { Host().CallShared<long>("OptionTTLVYN(extends s as SocketCore) as Integer", socket.Get()); };
        EXPECT_TRUE(Raised(query).ends_with("with error 9: Bad file descriptor")) << number;
    }
}
