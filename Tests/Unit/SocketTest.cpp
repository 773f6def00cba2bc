// Sockets in states that a program seldom brings about.
#include "Source/Plugins/Network/BaseSocket.h"
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/OnHost.h"

#include "Host/Script/Values.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

// The object that a global variable of the program holds.
REALobjectStruct *ObjectOf(const program::Program &program, const char *name)
{
    lua_State *state = program.script->current;
    lua_getglobal(state, name);
    REALobjectStruct *object = host::ToProxy(state, -1)->object;
    lua_pop(state, 1);
    return object;
}

class Socket : public OnHost {
  protected:
    // Starts a program that has "support", as the acceptance scripts, and a few functions more.
    void Begin(const host::Options &options = {})
    {
        StartHost(options);
        EXPECT_EQ(Does(R"(
            support, events = dofile(")" TESTS R"(/Acceptance/support.lua"), 0
            function count() events = events + 1 end
            function raw(kind) return RAWSocketVYN(2, kind, 0) end
            function send(socket, port) socket:SendMessage("x", "127.0.0.1", port or 9) end
            function loaded(socket) -- with a datagram queued that it sent to itself
              socket:Bind(0, "127.0.0.1")
              send(socket, socket.LocalPort)
              return socket
            end
            function setHandle(socket, handle)
              host.close(socket.Handle)
              socket.Handle = handle
            end)"),
                  "");
    }
    std::string Does(const char *piece)
    {
        if (!running) Begin();
        return running->Does(piece);
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
        faults::FailSystemCall(1, error);
        EXPECT_EQ(Does("return select(2, pcall(raw, 1)).message:match('(.+) %(E')"), message);
    }
    // An object that has a socket keeps it and what it is.
    Does("made = RAWSocketVYN(2, 1, 6)");
    REALobjectStruct *made = ObjectOf(*running, "made");
    SocketRecord &record = GetSocketRecord(made), before = record;
    const char *construct = "Constructor(AddressFamily as Integer, SocketType as Integer, Protocol as Integer)";
    EXPECT_THROW(running->Call<void>(made, construct, 9999, 7, 8), host::Exception);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
}

// What socket(2) answers when standard input is closed must move, and there is no other number left.
TEST_F(Socket, TheLastNumberIsNoUseWhenItIsZero)
{
    EXPECT_EQ(program::InChild([&]() -> std::string {
                  Does("made = raw(1) setHandle(made, 0) host.close(0)");
                  rlimit two = {2, 2}; // the other is standard output
                  setrlimit(RLIMIT_NOFILE, &two);
                  std::string reasons = Does("raw(1)") + "; " + Does("return select(2, made:Connect('127.0.0.1', 9))");
                  return fcntl(STDIN_FILENO, F_GETFD) == -1 ? reasons : "it is left open";
              }),
              "UnsupportedOperationException: The per-process descriptor table is full. (EMFILE: Too many open files); "
              "Socket creation failed with error 24: Too many open files");
}

// Whatever the process prints must not reach a peer. A handle of 0 is not closed.
TEST_F(Socket, NoSocketGetsTheNumberOfAStandardStream)
{
    for (const auto &row : {std::pair("0", "true"), {"1", "false"}, {"2", "false"}}) {
        EXPECT_EQ(program::InChild([&] {
                      Does((std::string("stream = ") + row.first).c_str());
                      return Does(R"(
                          local client, listener = support.connected()
                          local into = raw(2)
                          setHandle(into, stream)
                          listener:Accept(into)
                          local stays = host.isOpen(stream)
                          host.close(stream)
                          client, listener = support.connected()
                          for _, made in ipairs({ listener, client, listener:Accept(nil), UDPSocketVYN() }) do
                            local flags = io.open("/proc/self/fdinfo/" .. made.Handle):read("a"):match('flags:%s*(%d+)')
                            assert(made.Handle > 2 and tonumber(flags, 8) & 0x80000 ~= 0, made.Handle)
                          end
                          return stays)") +
                             std::to_string(faults::inheritable);
                  }),
                  row.second + std::string("0"))
            << row.first;
    }
}

// As the program's own destructor may, when the poll gives back the last reference.
TEST_F(Socket, WhatADestructorRaisesInThePollIsTold)
{
    static long quiet = 0; // after so many events
    Begin();               // the library has not asked for the entry yet
    running->entries.at("REALUnlockObject") = reinterpret_cast<void *>(+[](REALobjectStruct *object) {
        host::entry::REALUnlockObject(object);
        if (host::Host::Current().events.Fired() > quiet)
            throw host::Exception{"RuntimeException", "from a destructor", 0};
    });
    Does("socket = UDPSocketVYN() socket.SendComplete = count");
    for (const char *poll : {"socket:Poll()", "host.step()"}) {
        EXPECT_EQ(Does("send(socket)"), "");
        EXPECT_EQ(Does(poll), "RuntimeException: Sorry, but there was an unnamed C++ Exception.");
        quiet++;
    }
    EXPECT_EQ(Does("return events"), "2");
}

TEST_F(Socket, AHostThatLacksAnEntryLosesOnlyWhatTheEntryDoes)
{
    const struct {
        host::Options options;
        const char *program, *wanted;
    } rows[] = {
        // A datagram whose text can't be made is nil, and no failure.
        {{.without = {"REALBuildStringWithEncoding"}},
         "local socket = loaded(UDPSocketVYN()) return socket:Read() or socket.Lasterror",
         "0"},
        // A poll that can't hold its object fires all events.
        {{.without = {"REALLockObject"}},
         R"(local socket, told = loaded(UDPSocketVYN()), {}
            for _, event in ipairs({ "DataAvailable", "SendComplete" }) do
              socket[event] = function() told[#told + 1] = event end
            end
            socket:Poll()
            return socket.Handle > 0 and table.concat(told, " "))",
         "DataAvailable SendComplete"},
        // A raw socket has its own events where classes can't be told, and its calls alone find its data.
        {{.without = {"RuntimeObjectIsa"}},
         "local socket = raw(2) send(socket) socket.SendComplete = count socket:Poll() return events",
         "1"},
        {{.offsets = {{"UDPSocketVYN", 64}, {"RAWSocketVYN", 144}}, .without = {"RuntimeObjectIsa"}},
         R"(local socket = raw(1)
            assert(socket.Handle > 0)
            socket:Listen(2)
            setHandle(socket, 0)
            return socket.Lasterror)",
         "0"},
        // A destroyed socket silences no other where tasks can't be taken back. One that is closed and gets a
        // connection is watched again.
        {{.without = {"PluginUnregisterBackgroundTask"}},
         R"(local kept, gone = raw(2), UDPSocketVYN()
            gone = nil
            host.collect()
            local closed = raw(2)
            closed:Close()
            kept.SendComplete, closed.SendComplete = count, count
            send(kept)
            host.step()
            assert(events == 1)
            local client, listener = support.connected()
            listener:Accept(closed)
            closed:Send(MemoryBlock("x"), 1, 0x4000)
            host.step()
            return events)",
         "2"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(program::InChild([&] {
                      Begin(row.options);
                      std::string seen = Does(row.program), left = running->End();
                      return row.options.without[0] == "REALLockObject" ? seen : seen + left; // which counts nothing
                  }),
                  row.wanted)
            << row.options.without[0];
    }
}

// The old socket is readable and has a send to complete. The new one gets its number where the old one is closed first.
TEST_F(Socket, APollEndsWhenAHandlerReplacesTheDescriptor)
{
    EXPECT_EQ(Does(R"(
                  local client, listener = support.connected()
                  for i, replace in ipairs({
                    function(socket) socket.Handle = host.socket(2, 2, 0) end,
                    function(socket) assert(socket:Connect("127.0.0.1", listener.LocalPort)) end,
                    function(socket) listener:Accept(socket) end,
                  }) do
                    local socket, keepsNumber = loaded(raw(2)), i > 1
                    local number = socket.Handle
                    function socket:DataAvailable()
                      if keepsNumber then self:Close() end
                      replace(self)
                    end
                    socket.SendComplete = count
                    socket.SocketType = 1 -- for Connect
                    socket:Poll()
                    assert((socket.Handle == number) == keepsNumber and events == 0, i)
                    if not keepsNumber then host.close(number) end
                  end)"),
              "");
}

// The host looks the handler up in the program's own code, which may do anything.
TEST_F(Socket, APollEndsWhenTheLookUpOfAHandlerDestroysTheObject)
{
    static program::Program *looking;
    static int events = 0;
    Begin();
    looking = &*running;
    running->entries.at("GetEventInstance") = reinterpret_cast<void *>(+[](REALobjectStruct *, void *) {
        looking->Does("socket = nil host.collect()");
        return +[](REALobjectStruct *) { events++; };
    });
    Does("socket = loaded(UDPSocketVYN())");
    running->tasks.Step();
    EXPECT_EQ(Does("return socket"), "");
    EXPECT_EQ(events, 0);
}

TEST_F(Socket, APollOnAnotherThreadDoesNothing)
{
    Does("socket = loaded(UDPSocketVYN()) socket.DataAvailable = count");
    std::thread([&] { Does("socket:Poll()"); }).join();
    EXPECT_EQ(Does("return events"), "0");
    EXPECT_EQ(Does("socket:Poll() return events"), "1");
}

TEST_F(Socket, EachObjectIsWatchedOnceWhateverIsAcceptedIntoIt)
{
    EXPECT_EQ(Does("client, listener = support.connected() given = raw(1) listener:Accept(given)"), "");
    EXPECT_EQ(running->tasks.Live().size(), 3U);
    for (const auto &[identifier, task] : running->tasks.Live())
        EXPECT_EQ(task.period, 10U);
}

// select(2) is asked with sets as long as the number needs: the last bit of the kept ones, and the first beyond.
TEST_F(Socket, DescriptorsAtTheEndOfTheKeptSetsArePolled)
{
    if (program::emulated) GTEST_SKIP() << "an emulator's select knows no such numbers";
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max <= 16447) GTEST_SKIP() << "the limit of open files is " << limit.rlim_max;
    EXPECT_EQ(Does(R"(
                  for _, number in ipairs({ 16383, 16384, 16447 }) do
                    local socket = loaded(UDPSocketVYN())
                    socket.DataAvailable = count
                    setHandle(socket, host.dup(socket.Handle, number))
                    socket:Poll()
                  end
                  return events)"),
              "3");
}

// Empty for the query, and there for the receive: the datagram waits for the next Read, whole.
TEST_F(Socket, ADatagramBetweenQueryAndReceiveIsNeitherLostNorCut)
{
    static program::Program *sending;
    Does("socket = UDPSocketVYN() socket:Bind(0, '127.0.0.1')");
    sending = &*running;
    faults::afterQuery = [] { sending->Does("socket:SendMessage('whole', '127.0.0.1', socket.LocalPort)"); };
    for (const char *wanted : {"", "whole", ""})
        EXPECT_EQ(Does("local datagram = socket:Read() return datagram and datagram.Data"), wanted);
}

TEST_F(Socket, WhatTheProgramSharesWithAnOperationIsKept)
{
    Does("listener, client, bound = support.listening(), raw(1), loaded(UDPSocketVYN())");
    REALstringStruct *both = host::NewString("127.0.0.1");
    const char *connect = "Connect(Address as String, Port as Integer, byref ErrorMessage as String) as Boolean";
    EXPECT_TRUE(running->Call<HostBoolean>(ObjectOf(*running, "client"), connect, both,
                                           std::stol(Does("return listener.LocalPort")), &both));
    REALobjectStruct *bound = ObjectOf(*running, "bound");
    Does("setHandle(bound, host.socket(2, 2, 0))");
    running->Call<void>(bound, "Bind(Port as Integer, IP as String)", 0,
                        GetSocketRecord(bound).BindAddress); // the only reference
    EXPECT_EQ(Does("return bound.BindAddress"), "127.0.0.1");
}

// Only -1 is no handle; what else can't be a descriptor is for the system to refuse.
TEST_F(Socket, AHandleOfAHostSocketThatIsNoDescriptorIsRefusedByTheSystem)
{
    static long handle;
    Does("socket = host.udp()");
    EXPECT_THROW(running->CallShared<long>("OptionTTLVYN(extends s as SocketCore) as Integer", nullptr),
                 host::Exception);
    EXPECT_EQ(running->exceptions.Raised().back().Text(), "NilObjectException: Socket is nil");
    FakeHost::Replace(host::Resolve);
    FakeHost::Provide("REALGetPropValueInteger", [](REALobjectStruct *, const char *, long *value) {
        *value = handle;
        return 1UL;
    });
    for (long number : {(1L << 32) + std::stol(Does("return socket.Handle")), -2L}) {
        handle = number;
        EXPECT_TRUE(Does("socket:OptionTTLVYN()").ends_with("with error 9: Bad file descriptor")) << number;
    }
}
