#include "Tests/Unit/Scenario.h"

#include "Libs/shared/Socket/SocketUtil.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "Tests/Unit/Faults.h"

#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <span>
#include <sstream>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace scenario {

// The step that runs, where the parent of a process that crashed finds it.
static auto &where = *static_cast<const char **>(
    mmap(nullptr, sizeof(char *), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

namespace {

using namespace program;

using Seen = std::ostringstream;

// What an operation left in Lasterror.
std::string Outcome(const Object &socket)
{
    return " (" + std::to_string(Number(socket, "Lasterror")) + ")";
}

// The next datagram in words.
std::string ReadWords(const Object &socket, bool peek = false)
{
    Object datagram = Read(socket, peek);
    if (datagram.Get() == nullptr) return "nil" + Outcome(socket);
    Object rawAddress(Host().Get<REALobjectStruct *>(datagram.Get(), "rawAddress"));
    return (Seen() << Words(datagram, "Data") << " from " << Words(datagram, "Address") << ", "
                   << host::ViewOf(rawAddress.Get()).size << " bytes of address" << Outcome(socket))
        .str();
}

std::string Bytes(REALobjectStruct *result)
{
    Object block(result);
    if (block.Get() == nullptr) return "nil";
    host::MemoryBlockView view = host::ViewOf(block.Get());
    return std::string(reinterpret_cast<char *>(view.data), static_cast<std::size_t>(view.size));
}

void WaitForData(const Object &socket, long bytes = 1)
{
    Host().tasks.Run(0.02, [&] { return Number(socket, "AvailableBytes") >= bytes; });
}

// --- the steps ------------------------------------------------------------------------------------------

std::string NewSocket()
{
    Object socket = Udp();
    return (Seen() << Number(socket, "AddressFamily") << " " << Number(socket, "SocketType") << " "
                   << Number(socket, "Protocol") << (Number(socket, "Handle") > 0 ? " open" : " closed"))
        .str();
}

std::string BindAndName()
{
    Object socket = Udp();
    Seen seen;
    Bind(socket, "localhost");
    seen << Words(socket, "BindAddress") << Outcome(socket) << " " << Words(socket, "LocalIP") << Outcome(socket);
    seen << (Number(socket, "LocalPort") > 0 ? " port" : " none") << Outcome(socket);
    Bind(socket, "not an address");
    seen << Outcome(socket);
    return seen.str();
}

std::string SendAndRead()
{
    Object receiver = Bound(Udp()), sender = Udp();
    Seen seen;
    seen << Send(sender, "hello", "127.0.0.1", Port(receiver)) << Outcome(sender);
    WaitForData(receiver);
    seen << " " << Number(receiver, "AvailableBytes") << Outcome(receiver);
    seen << " " << ReadWords(receiver, true) << " " << ReadWords(receiver) << " " << ReadWords(receiver);
    return seen.str();
}

std::string SendInOtherForms()
{
    Object receiver = Bound(Udp()), sender = Udp(), block = Some(host::NewMemoryBlock("block\xFF", 6));
    Object datagram = Some(Host().New("DatagramVYN"));
    long port = Port(receiver);
    String number = Text("127.0.0.1"), data = Text("record");
    Host().Set(datagram.Get(), "Address", number.Get());
    Host().Set(datagram.Get(), "Data", data.Get());
    Host().Set(datagram.Get(), "Port", port);
    Seen seen;
    seen << Call<long>(sender, kSendBlock, block, Text("localhost"), port) << Outcome(sender);
    seen << " " << Call<long>(sender, kSendDatagram, datagram) << Outcome(sender);
    seen << " " << Send(sender, "", "127.0.0.1", port) << Outcome(sender);
    for (int i = 0; i < 2; i++) {
        WaitForData(receiver);
        seen << " " << ReadWords(receiver);
    }
    seen << " " << ReadWords(receiver); // the empty one
    return seen.str();
}

std::string SendOnce(const char *name, long port)
{
    Object sender = Udp();
    return (Seen() << Send(sender, "x", name, port) << Outcome(sender)).str();
}

std::string EventsOf(bool raw)
{
    Object receiver = Bound(raw ? Raw() : Udp());
    Seen seen;
    On(receiver, "DataAvailable", [&](const Object &self) { seen << "DataAvailable " << ReadWords(self) << " "; });
    On(receiver, "SendComplete", [&](const Object &) { seen << "SendComplete "; });
    On(receiver, "Error", [&](const Object &) { seen << "Error "; });
    Send(receiver, "event", "127.0.0.1", Port(receiver));
    for (int i = 0; i < 3; i++)
        Host().tasks.Step();
    return seen.str();
}

std::string Options()
{
    Object socket = Udp();
    Seen seen;
    for (auto [name, value] : {std::pair("TypeOfService", 1L),
                               {"TimeToLive", 1},
                               {"MulticastTimeToLive", 1},
                               {"MulticastLoop", 1},
                               {"ReuseAddress", 1},
                               {"ReusePort", 1},
                               {"Broadcast", 1},
                               {"SendBufferSize", 8192},
                               {"ReceiveBufferSize", 8192}}) {
        Host().Set(socket.Get(), name, value);
        seen << name << Outcome(socket) << " " << Number(socket, name) << Outcome(socket) << " ";
    }
    for (const char *name : {"Type", "SocketError"})
        seen << name << " " << Number(socket, name) << Outcome(socket) << " ";
    return seen.str();
}

std::string Multicast()
{
    Object socket = Udp();
    String group = Text("239.1.2.3"), interface = Text("127.0.0.1");
    Seen seen;
    Host().Set(socket.Get(), "MulticastInterface", interface.Get());
    seen << Outcome(socket) << " " << Words(socket, "MulticastInterface") << Outcome(socket);
    for (const char *method : {"AddMembership(MultiAddress as String, InterfaceAddress as String)",
                               "DropMembership(MultiAddress as String, InterfaceAddress as String)"}) {
        Call(socket, method, group, interface);
        seen << Outcome(socket);
    }
    return seen.str();
}

std::string Stream()
{
    Object listener = Listener(), client = Raw(AF_INET, SOCK_STREAM);
    Seen seen;
    seen << Outcome(listener);
    std::string failure = Connect(client, "localhost", Port(listener)), from;
    seen << " " << (failure.empty() ? "connected" : failure) << Outcome(client);
    if (!failure.empty()) return seen.str();
    Object peer = Accept(listener, &from);
    seen << " " << from << Outcome(listener);
    if (peer.Get() == nullptr) return seen.str();

    const char *read = "Read(ByteSize as Integer, peek as Boolean) as MemoryBlock";
    const char *readAll = "ReadAll(peek as Boolean) as MemoryBlock";
    seen << " " << Call<long>(client, kSendBytes, "stream", 6, MSG_NOSIGNAL) << Outcome(client);
    WaitForData(peer, 6);
    seen << " " << Bytes(Call<REALobjectStruct *>(peer, read, 3, true)) << Outcome(peer);
    seen << " " << Bytes(Call<REALobjectStruct *>(peer, readAll, false)) << Outcome(peer);
    Call(client, "Close");
    return seen.str();
}

std::string RawAddresses()
{
    const char *bind = "Bind(DestAddr as Ptr, DestAddrByteSize as Integer) as Boolean";
    const char *connect = "Connect(DestAddr as Ptr, DestAddrByteSize as Integer) as Boolean";
    const char *sendTo = "SendTo(Data as Ptr, DataByteSize as Integer, Flags as Integer, DestAddr as Ptr, "
                         "DestAddrByteSize as Integer) as Integer";
    Object receiver = Bound(Raw()), sender = Raw();
    sockaddr_union any, to;
    SetLoopbackSocketAddress(AF_INET, any, 0);
    SetLoopbackSocketAddress(AF_INET, to, static_cast<int>(Port(receiver)));
    Seen seen;
    seen << int{Call<HostBoolean>(sender, bind, &any, sizeof any.v4)} << Outcome(sender);
    seen << " " << int{Call<HostBoolean>(sender, connect, &to, sizeof to.v4)} << Outcome(sender);
    seen << " " << Call<long>(sender, sendTo, "data", 4, 0, &to, sizeof to.v4) << Outcome(sender);
    WaitForData(receiver);
    seen << " " << ReadWords(receiver);
    return seen.str();
}

std::string Helpers()
{
    const char *toText = "inet_ntoa(IPv4 as UInt32) as String", *toNumber = "inet_addr(IPv4 as String) as UInt32";
    const char *checksum = "CalcChecksum(data as Ptr, ByteCount as Integer) as UInt16";
    String text(Host().CallShared<REALstringStruct *>(toText, 0x0100007FU)), number = Text("1.2.3.4");
    return (Seen() << host::BytesOf(text.Get()) << " " << Host().CallShared<std::uint32_t>(toNumber, number.Get())
                   << " " << Host().CallShared<std::uint16_t>(checksum, "\x01", 1))
        .str();
}

std::string Extensions()
{
    int descriptor = ::socket(AF_INET, SOCK_DGRAM, 0);
    Object socket(host::NewSocket("UDPSocket", descriptor));
    if (socket.Get() == nullptr) {
        close(descriptor);
        throw std::bad_alloc();
    }
    auto call = [&]<typename Result = void>(const char *function, auto... value)
    {
        return Host().CallShared<Result>(function, socket.Get(), value...);
    };
    call("OptionTTLVYN(extends s as SocketCore, assigns value as Integer)", 9);
    call("OptionReusePortVYN(extends s as SocketCore, assigns value as Boolean)", true);
    call("ClearOptionsVYN(extends s as SocketCore)");
    return (Seen() << call.operator()<long>("OptionTTLVYN(extends s as SocketCore) as Integer") << " "
                   << int{call.operator()<HostBoolean>("OptionReusePortVYN(extends s as SocketCore) as Boolean")})
        .str();
}

std::string Names()
{
    Seen seen;
    for (auto [function, argument] : {std::pair("DNSNameToAddressVYN(HostName as String) as String", "127.0.0.1"),
                                      {"DNSNameToAddressIPv6VYN(HostName as String) as String", "::1"},
                                      {"DNSAddressToNameVYN(HostAddress as String) as String", "nonsense"},
                                      {"DNSAddressToNameIPv6VYN(HostAddress as String) as String", "nonsense"}}) {
        String text = Text(argument), answer(Host().CallShared<REALstringStruct *>(function, text.Get()));
        seen << "'" << host::BytesOf(answer.Get()) << "' ";
    }
    return seen.str();
}

// clang-format off
constexpr Step steps[] = {
    {"new socket",              NewSocket,          "2 2 17 open"},
    {"bind and name",           BindAndName,        "localhost (0) 127.0.0.1 (-1) port (0) (-1)"},
    {"send and read",           SendAndRead,        "5 (0) 5 (0) hello from 127.0.0.1, 16 bytes of address (0) hello from 127.0.0.1, 16 bytes of address (0) nil (-1)"},
    {"send in other forms",     SendInOtherForms,   "6 (0) 6 (0) 0 (0) block\xFF from 127.0.0.1, 16 bytes of address (0) record from 127.0.0.1, 16 bytes of address (0) nil (-1)"},
    {"send to nobody",          [] { return SendOnce("no such host", 9); }, "0 (-1)"},
    {"send to a bad port",      [] { return SendOnce("127.0.0.1", 65536); }, "UnsupportedOperationException: Invalid port number."},
    {"send nothing",            [] { return std::to_string(Call<long>(Udp(), kSendDatagram, nullptr)); }, "NilObjectException: Datagram is nil"},
    {"events",                  [] { return EventsOf(false); }, "DataAvailable event from 127.0.0.1, 16 bytes of address (0) SendComplete "},
    {"events of a raw socket",  [] { return EventsOf(true); }, "DataAvailable event from 127.0.0.1, 16 bytes of address (0) SendComplete "},
    {"options",                 Options,            "TypeOfService (0) 1 (0) TimeToLive (0) 1 (0) MulticastTimeToLive (0) 1 (0) MulticastLoop (0) 1 (0) ReuseAddress (0) 1 (0) ReusePort (0) 1 (0) Broadcast (0) 1 (0) SendBufferSize (0) 16384 (0) ReceiveBufferSize (0) 16384 (0) Type 2 (0) SocketError 0 (0) "},
    {"stream",                  Stream,             " (0) connected (0) 127.0.0.1 (0) 6 (0) str (0) stream (0)"},
    {"raw addresses",           RawAddresses,       "1 (0) 1 (0) 4 (0) data from 127.0.0.1, 16 bytes of address (0)"},
    {"no such family",          [] { Raw(9999, 1, 0); return std::string("made"); }, "UnsupportedOperationException: The specified address family is not supported."},
    {"helpers",                 Helpers,            "127.0.0.1 67305985 65534"},
    {"extension of nothing",    [] { return std::to_string(Host().CallShared<long>("OptionTTLVYN(extends s as SocketCore) as Integer", nullptr)); }, "NilObjectException: Socket is nil"},
    {"names",                   Names,              "'127.0.0.1' '::1' '' '' "},
    {"multicast",               Multicast,          " (0) 127.0.0.1 (0) (0) (0)"},
    {"extensions",              Extensions,         "9 1"},
};
// clang-format on

} // namespace

static std::string RunOrSayWhy(const Step &step)
try {
    try {
        return step.run();
    } catch (const host::Exception &exception) {
        return exception.Text();
    } catch (const std::exception &error) {
        return error.what();
    }
} catch (const std::bad_alloc &) {
    return "no memory"; // not even for the reason, and short enough to need none
}

std::string Run(const host::Options &options, const std::function<void()> &before, const Look &look)
{
    std::vector<int> open = OpenDescriptors();
    std::string wrong;
    host::Host host(options);
    host.Start(REALPluginMain);
    before();
    for (const Step &step :
         std::span(steps).first(std::size(steps) - (Emulated() ? 2 : 0))) { // which the last two need
        where = step.name;
        wrong += look(step, RunOrSayWhy(step));
    }
    where = "after all steps";
    faults::FailAllocation(0);
    faults::FailSystemCall(0, 0);
    wrong += host.Complaints();
    return OpenDescriptors() == open ? wrong : wrong + "descriptors differ";
}

std::string RunAsExpected(const host::Options &options)
{
    return Run(
        options, [] {},
        [](const Step &step, const std::string &seen) {
            return seen == step.expected ? "" : std::string(step.name) + ": " + seen + "\n";
        });
}

long Sweep(const std::function<std::string(long nth)> &run)
{
    for (long nth = 1, failed = 0;; nth += Emulated() ? 7 : 1, failed++) {
        std::string said = InChild([&] { return run(nth); });
        if (said == kNoSuch) return failed;
        EXPECT_EQ(said, "") << "number " << nth << ", in step: " << where;
        if (testing::Test::HasFailure()) return failed;
    }
}

} // namespace scenario
