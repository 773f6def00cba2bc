// Sockets in states that a program seldom brings about.
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/OnHost.h"
#include "Tests/Unit/Scenario.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

using Object = host::Owned<REALobjectStruct>;
using String = host::Owned<REALstringStruct>;

class Socket : public OnHost {
  protected:
    void SetUp() override { StartHost(); }

    static void Bind(const Object &socket)
    {
        String text(host::NewString("127.0.0.1"));
        host::Host::Current().Call<void>(socket.Get(), "Bind(Port as Integer, IP as String)", 0, text.Get());
    }

    static void SendToItself(const Object &socket)
    {
        host::Host &host = host::Host::Current();
        String text(host::NewString("127.0.0.1"));
        host.Call<long>(socket.Get(), "SendMessage(Data as String, IP as String, Port as Integer) as Integer",
                        text.Get(), text.Get(), host.Get<long>(socket.Get(), "LocalPort"));
    }

    // What the exception says that comes instead of a raw socket.
    std::string WhyNot()
    {
        try {
            Object made(running->New("RAWSocketVYN", AF_INET, SOCK_STREAM, 0));
        } catch (const host::Exception &exception) {
            return exception.Text();
        }
        return "made";
    }

    // A socket with a datagram in its queue, and a count of its events.
    Object Ready(int &events)
    {
        Object socket(running->New("UDPSocketVYN"));
        Bind(socket);
        SendToItself(socket);
        running->events.SetHandler(socket.Get(), "DataAvailable", [&events](REALobjectStruct *) { events++; });
        return socket;
    }
};

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
        faults::FailCall(1, error);
        EXPECT_EQ(WhyNot(), std::string("UnsupportedOperationException: ") + message);
    }
}

// What socket(2) answers when standard input is closed must move, and there is no other number left.
TEST_F(Socket, TheLastNumberIsNoUseWhenItIsZero)
{
    EXPECT_EQ(scenario::InChild([this]() -> std::string {
                  close(STDIN_FILENO);
                  rlimit two = {2, 2}; // the other is standard output
                  setrlimit(RLIMIT_NOFILE, &two);
                  std::string reason = WhyNot();
                  return fcntl(STDIN_FILENO, F_GETFD) == -1 ? reason : "it is left open";
              }),
              "UnsupportedOperationException: The per-process descriptor table is full.");
}

// Whatever the process prints must not reach a peer.
TEST_F(Socket, NoSocketGetsTheNumberOfAStandardStream)
{
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        EXPECT_EQ(scenario::InChild([&]() -> std::string {
                      std::string handles;
                      close(stream);
                      Object listener(running->New("RAWSocketVYN", AF_INET, SOCK_STREAM, 0));
                      String address(host::NewString("127.0.0.1"));
                      running->Call<void>(listener.Get(), "Bind(Port as Integer, IP as String)", 0, address.Get());
                      running->Call<void>(listener.Get(), "Listen(BackLog as Integer)", 2);
                      REALstringStruct *text = nullptr;
                      long port = running->Get<long>(listener.Get(), "LocalPort");
                      Object peer(running->New("RAWSocketVYN", AF_INET, SOCK_STREAM, 0));
                      running->Call<bool>(
                          peer.Get(),
                          "Connect(Address as String, Port as Integer, byref ErrorMessage as String) as Boolean",
                          address.Get(), port, &text);
                      std::int64_t remotePort = 0;
                      Object accepted(running->Call<REALobjectStruct *>(
                          listener.Get(),
                          "Accept(byref RemoteAddress as String, byref RemotePort as Integer, NewSocket as "
                          "RAWSocketVYN) as RAWSocketVYN",
                          &text, &remotePort, nullptr));
                      String release(text);
                      Object udp(running->New("UDPSocketVYN"));
                      for (const Object *made : {&listener, &peer, &accepted, &udp}) {
                          long handle = running->Get<long>(made->Get(), "Handle");
                          if (handle <= STDERR_FILENO) handles += std::to_string(handle) + " ";
                      }
                      if (faults::inheritable != 0) handles += "inherited";
                      return handles;
                  }),
                  "")
            << stream;
    }
}

// As the program's own destructor may, when the poll gives back the last reference.
TEST_F(OnHost, WhatADestructorRaisesLeavesThePollAndStopsAtTheTask)
{
    static void (*unlock)(REALobjectStruct *) = nullptr;
    static bool raises = false;
    host::Entry *entry = host::FindEntry("REALUnlockObject");
    unlock = reinterpret_cast<decltype(unlock)>(entry->function);
    entry->function = reinterpret_cast<void *>(+[](REALobjectStruct *object) {
        unlock(object);
        if (raises) throw host::Exception{"RuntimeException", "from a destructor", 0};
    });
    StartHost();
    int events = 0;
    Object socket(running->New("UDPSocketVYN"));
    String text(host::NewString("127.0.0.1"));
    running->Call<long>(socket.Get(), "SendMessage(Data as String, IP as String, Port as Integer) as Integer",
                        text.Get(), text.Get(), 9);
    running->events.SetHandler(socket.Get(), "SendComplete", [&](REALobjectStruct *) { raises = ++events != 0; });
    EXPECT_THROW(running->Call<void>(socket.Get(), "Poll"), host::Exception);
    raises = false;
    running->Call<long>(socket.Get(), "SendMessage(Data as String, IP as String, Port as Integer) as Integer",
                        text.Get(), text.Get(), 9);
    running->tasks.Step();
    EXPECT_EQ(events, 2);
    raises = false;
}

TEST_F(OnHost, ADestroyedSocketSilencesNoOtherWhereTasksCannotBeTakenBack)
{
    StartHost({.without = {"PluginUnregisterBackgroundTask"}});
    int events = 0;
    Object kept(running->New("RAWSocketVYN", AF_INET, SOCK_DGRAM, 0));
    Object(running->New("UDPSocketVYN")); // is gone
    Object closed(running->New("RAWSocketVYN", AF_INET, SOCK_DGRAM, 0));
    running->Call<void>(closed.Get(), "Close");
    String text(host::NewString("127.0.0.1"));
    running->events.SetHandler(kept.Get(), "SendComplete", [&](REALobjectStruct *) { events++; });
    running->Call<long>(kept.Get(), "SendMessage(Data as String, IP as String, Port as Integer) as Integer", text.Get(),
                        text.Get(), 9);
    running->tasks.Step();
    EXPECT_EQ(events, 1);
}

TEST_F(Socket, APollOnAnotherThreadDoesNothing)
{
    int events = 0;
    Object socket = Ready(events);
    std::thread([&] { running->Call<void>(socket.Get(), "Poll"); }).join();
    EXPECT_EQ(events, 0);
    running->Call<void>(socket.Get(), "Poll");
    EXPECT_EQ(events, 1);
}

TEST_F(OnHost, ARawSocketHasItsOwnEventsWhereClassesCannotBeTold)
{
    StartHost({.without = {"RuntimeObjectIsa"}});
    int events = 0, pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, pair), 0);
    Object socket(running->New("RAWSocketVYN", AF_INET, SOCK_DGRAM, 0));
    running->events.SetHandler(socket.Get(), "DataAvailable", [&events](REALobjectStruct *) { events++; });
    close(static_cast<int>(running->Get<long>(socket.Get(), "Handle")));
    running->Set(socket.Get(), "Handle", pair[0]);
    EXPECT_EQ(write(pair[1], "x", 1), 1);
    running->Call<void>(socket.Get(), "Poll");
    EXPECT_EQ(events, 1);
    close(pair[1]);
}

// Empty for the query, and there for the receive: the datagram waits for the next Read, whole.
TEST_F(Socket, ADatagramBetweenQueryAndReceiveIsNeitherLostNorCut)
{
    static Object socket; // where the moment between the two can reach it
    socket = Object(running->New("UDPSocketVYN"));
    Bind(socket);
    faults::afterQuery = [] { SendToItself(socket); };
    for (const char *wanted : {"", "127.0.0.1", ""}) {
        Object datagram(running->Call<REALobjectStruct *>(socket.Get(), "Read(peek as Boolean) as DatagramVYN", false));
        String data(datagram.Get() == nullptr ? nullptr : running->Get<REALstringStruct *>(datagram.Get(), "Data"));
        EXPECT_EQ(host::BytesOf(data.Get()), wanted);
    }
    socket = Object();
}
