#include "Tests/Unit/Scenario.h"

#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbDebugHost.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <netinet/in.h>
#include <new>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// Present in a build that measures coverage: a process that ends at once has to write down what it reached.
extern "C" [[gnu::weak]] void __gcov_dump();

namespace scenario {
namespace {

using Object = host::Owned<REALobjectStruct>;
using String = host::Owned<REALstringStruct>;

host::Host &Host()
{
    return host::Host::Current();
}

// A class, a method or an object that a faulty host does not give is an end of the step, not of the run.
Object Some(REALobjectStruct *object)
{
    if (object == nullptr) throw std::runtime_error("nil");
    return Object(object);
}

Object Udp()
{
    return Some(Host().New("UDPSocketVYN"));
}
Object Raw(long family, long type, long protocol)
{
    return Some(Host().New("RAWSocketVYN", family, type, protocol));
}
String Text(const char *text)
{
    return String(host::NewString(text));
}

long Number(const Object &object, const char *property)
{
    return Host().Get<long>(object.Get(), property);
}
std::string Words(const Object &object, const char *property)
{
    String value(Host().Get<REALstringStruct *>(object.Get(), property));
    return std::string(host::BytesOf(value.Get()));
}

// What an operation left in Lasterror.
std::string Outcome(const Object &socket)
{
    return " (" + std::to_string(Number(socket, "Lasterror")) + ")";
}

// Text that is put together in the order in which it is written.
class Seen {
  public:
    template <typename Value>
    Seen &operator<<(const Value &value)
    {
        text << value;
        return *this;
    }
    operator std::string() const { return text.str(); }

  private:
    std::ostringstream text;
};

long Port(const Object &socket)
{
    long port = Number(socket, "LocalPort");
    if (Number(socket, "Lasterror") != 0) throw std::runtime_error("no port" + Outcome(socket));
    return port;
}

void Bind(const Object &socket, const char *address)
{
    String text = Text(address);
    Host().Call<void>(socket.Get(), "Bind(Port as Integer, IP as String)", 0, text.Get());
}

// A loopback socket that is ready to receive.
Object Receiver(bool raw = false)
{
    Object socket = raw ? Raw(AF_INET, SOCK_DGRAM, 0) : Udp();
    Bind(socket, "127.0.0.1");
    if (Number(socket, "Lasterror") != 0) throw std::runtime_error("not bound" + Outcome(socket));
    return socket;
}

long Send(const Object &socket, const char *text, const char *address, long port)
{
    String data = Text(text), name = Text(address);
    return Host().Call<long>(socket.Get(), "SendMessage(Data as String, IP as String, Port as Integer) as Integer",
                             data.Get(), name.Get(), port);
}

std::string Read(const Object &socket, bool peek)
{
    const char *method = Number(socket, "Protocol") == 17 ? "Read(peek as Boolean) as DatagramVYN"
                                                          : "ReadDatagram(peek as Boolean) as DatagramVYN";
    Object datagram(Host().Call<REALobjectStruct *>(socket.Get(), method, peek));
    if (datagram.Get() == nullptr) return "nil" + Outcome(socket);
    Object rawAddress(Host().Get<REALobjectStruct *>(datagram.Get(), "rawAddress"));
    return Seen() << Words(datagram, "Data") << " from " << Words(datagram, "Address") << ", "
                  << host::ViewOf(rawAddress.Get()).size << " bytes of address" << Outcome(socket);
}

std::string Bytes(REALobjectStruct *result)
{
    Object block(result);
    if (block.Get() == nullptr) return "nil";
    host::MemoryBlockView view = host::ViewOf(block.Get());
    return std::string(reinterpret_cast<char *>(view.data), static_cast<std::size_t>(view.size));
}

Object Block(const void *bytes, std::size_t count)
{
    return Some(host::NewMemoryBlock(bytes, count));
}

sockaddr_in Loopback(long port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// Lets the host run until the condition holds. On loopback nothing takes longer, unless it failed.
template <typename Condition>
void Wait(Condition condition)
{
    Host().tasks.Run(0.02, condition);
}

// --- the steps ------------------------------------------------------------------------------------------

std::string NewSocket()
{
    Object socket = Udp();
    return Seen() << Number(socket, "AddressFamily") << " " << Number(socket, "SocketType") << " "
                  << Number(socket, "Protocol") << (Number(socket, "Handle") > 0 ? " open" : " closed");
}

std::string BindAndName()
{
    Object socket = Udp();
    Seen seen;
    Bind(socket, "localhost");
    seen << Words(socket, "BindAddress") << Outcome(socket) << " " << Words(socket, "LocalIP") << Outcome(socket);
    seen << (Number(socket, "LocalPort") > 0 ? " port" : " none") << Outcome(socket);
    Bind(socket, "not an address");
    return seen << Outcome(socket);
}

std::string SendAndRead()
{
    Object receiver = Receiver(), sender = Udp();
    Seen seen;
    seen << Send(sender, "hello", "127.0.0.1", Port(receiver)) << Outcome(sender);
    Wait([&] { return Number(receiver, "AvailableBytes") > 0; });
    seen << " " << Number(receiver, "AvailableBytes") << Outcome(receiver);
    return seen << " " << Read(receiver, true) << " " << Read(receiver, false) << " " << Read(receiver, false);
}

std::string SendInOtherForms()
{
    Object receiver = Receiver(), sender = Udp(), block = Block("block\xFF", 6);
    Object datagram = Some(Host().New("DatagramVYN"));
    long port = Port(receiver);
    String name = Text("localhost"), number = Text("127.0.0.1"), data = Text("record");
    Host().Set(datagram.Get(), "Address", number.Get());
    Host().Set(datagram.Get(), "Data", data.Get());
    Host().Set(datagram.Get(), "Port", port);
    const char *sendBlock = "SendMessage(Data as MemoryBlock, IP as String, Port as Integer) as Integer";
    const char *sendDatagram = "SendMessage(Data as DatagramVYN) as Integer";
    Seen seen;
    seen << Host().Call<long>(sender.Get(), sendBlock, block.Get(), name.Get(), port) << Outcome(sender);
    seen << " " << Host().Call<long>(sender.Get(), sendDatagram, datagram.Get()) << Outcome(sender);
    seen << " " << Send(sender, "", "127.0.0.1", port) << Outcome(sender);
    for (int i = 0; i < 2; i++) {
        Wait([&] { return Number(receiver, "AvailableBytes") > 0; });
        seen << " " << Read(receiver, false);
    }
    return seen << " " << Read(receiver, false); // the empty one
}

std::string SendOnce(const char *name, long port)
{
    Object sender = Udp();
    return Seen() << Send(sender, "x", name, port) << Outcome(sender);
}

std::string EventsOf(bool raw)
{
    Object receiver = Receiver(raw);
    Seen seen;
    Host().events.SetHandler(receiver.Get(), "DataAvailable", [&](REALobjectStruct *object) {
        host::Lock(object);
        Object self(object);
        seen << "DataAvailable " << Read(self, false) << " ";
    });
    Host().events.SetHandler(receiver.Get(), "SendComplete", [&](REALobjectStruct *) { seen << "SendComplete "; });
    Host().events.SetHandler(receiver.Get(), "Error", [&](REALobjectStruct *) { seen << "Error "; });
    Send(receiver, "event", "127.0.0.1", Port(receiver));
    for (int i = 0; i < 3; i++)
        Host().Call<void>(receiver.Get(), "Poll");
    return seen;
}
std::string EventsByTask()
{
    Object receiver = Receiver();
    int fired = 0;
    Host().events.SetHandler(receiver.Get(), "DataAvailable", [&](REALobjectStruct *) {
        fired++;
        throw std::runtime_error("from the handler");
    });
    Send(receiver, "event", "127.0.0.1", Port(receiver));
    Wait([&] { return fired > 0; });
    return fired > 0 ? "fired" : "silent";
}

std::string Options()
{
    Object socket = Udp();
    Seen seen;
    for (const char *name : {"TypeOfService", "TimeToLive", "MulticastTimeToLive", "MulticastLoop", "ReuseAddress",
                             "ReusePort", "Broadcast", "SendBufferSize", "ReceiveBufferSize"}) {
        long value = std::strstr(name, "Size") != nullptr ? 8192 : 1;
        Host().Set(socket.Get(), name, value);
        seen << Outcome(socket) << " " << Host().Get<long>(socket.Get(), name) << Outcome(socket);
    }
    return seen << " " << Number(socket, "Type") << Outcome(socket) << " " << Number(socket, "SocketError")
                << Outcome(socket);
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
        Host().Call<void>(socket.Get(), method, group.Get(), interface.Get());
        seen << Outcome(socket);
    }
    return seen;
}

// A variable of the program, handed over by reference.
struct Variable {
    REALstringStruct *value = nullptr;

    ~Variable()
    {
        if (value != nullptr) host::Release(value);
    }
};

// Whether the client is connected, and what it is told.
bool Connect(const Object &client, long port, Seen &seen)
{
    const char *connect = "Connect(Address as String, Port as Integer, byref ErrorMessage as String) as Boolean";
    String address = Text("localhost");
    Variable message = {host::NewString("old")};
    bool connected = Host().Call<HostBoolean>(client.Get(), connect, address.Get(), port, &message.value) != 0;
    seen << (connected ? " connected" : " not connected: ") << host::BytesOf(message.value) << Outcome(client);
    return connected;
}

Object Accept(const Object &listener, Seen &seen)
{
    const char *accept = "Accept(byref RemoteAddress as String, byref RemotePort as Integer, "
                         "NewSocket as RAWSocketVYN) as RAWSocketVYN";
    Variable address = {host::NewString("old")};
    long port = 0;
    Object peer(Host().Call<REALobjectStruct *>(listener.Get(), accept, &address.value, &port, nullptr));
    seen << " " << host::BytesOf(address.value) << Outcome(listener);
    return peer;
}

std::string Stream()
{
    Object listener = Raw(AF_INET, SOCK_STREAM, 0), client = Raw(AF_INET, SOCK_STREAM, 0);
    Seen seen;
    Bind(listener, "127.0.0.1");
    seen << Outcome(listener);
    Host().Call<void>(listener.Get(), "Listen(BackLog as Integer)", 2);
    seen << Outcome(listener);
    if (!Connect(client, Port(listener), seen)) return seen;
    Object peer = Accept(listener, seen);
    if (peer.Get() == nullptr) return seen;

    const char *send = "Send(Data as Ptr, DataByteSize as Integer, Flags as Integer) as Integer";
    const char *read = "Read(ByteSize as Integer, peek as Boolean) as MemoryBlock";
    const char *readAll = "ReadAll(peek as Boolean) as MemoryBlock";
    seen << " " << Host().Call<long>(client.Get(), send, "stream", 6, MSG_NOSIGNAL) << Outcome(client);
    Wait([&] { return Number(peer, "AvailableBytes") == 6; });
    seen << " " << Bytes(Host().Call<REALobjectStruct *>(peer.Get(), read, 3, true)) << Outcome(peer);
    seen << " " << Bytes(Host().Call<REALobjectStruct *>(peer.Get(), readAll, false)) << Outcome(peer);
    Host().Call<void>(client.Get(), "Close");
    return seen;
}

std::string RawAddresses()
{
    const char *bind = "Bind(DestAddr as Ptr, DestAddrByteSize as Integer) as Boolean";
    const char *connect = "Connect(DestAddr as Ptr, DestAddrByteSize as Integer) as Boolean";
    const char *sendTo = "SendTo(Data as Ptr, DataByteSize as Integer, Flags as Integer, DestAddr as Ptr, "
                         "DestAddrByteSize as Integer) as Integer";
    Object receiver = Receiver(true), sender = Raw(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in any = Loopback(0), to = Loopback(Port(receiver));
    Seen seen;
    seen << int{Host().Call<HostBoolean>(sender.Get(), bind, &any, sizeof any)} << Outcome(sender);
    seen << " " << int{Host().Call<HostBoolean>(sender.Get(), connect, &to, sizeof to)} << Outcome(sender);
    seen << " " << Host().Call<long>(sender.Get(), sendTo, "data", 4, 0, &to, sizeof to) << Outcome(sender);
    Wait([&] { return Number(receiver, "AvailableBytes") > 0; });
    return seen << " " << Read(receiver, false);
}

std::string HeaderOption()
{
    Object socket = Raw(AF_INET, SOCK_DGRAM, 0);
    Seen seen;
    Host().Set(socket.Get(), "IPHeaderIncluded", 1L);
    seen << Outcome(socket);
    return seen << " " << Host().Get<long>(socket.Get(), "IPHeaderIncluded") << Outcome(socket);
}

std::string Helpers()
{
    const char *toText = "inet_ntoa(IPv4 as UInt32) as String", *toNumber = "inet_addr(IPv4 as String) as UInt32";
    const char *checksum = "CalcChecksum(data as Ptr, ByteCount as Integer) as UInt16";
    String text(Host().CallShared<REALstringStruct *>("RAWSocketVYN", toText, 0x0100007FU)), number = Text("1.2.3.4");
    return Seen() << host::BytesOf(text.Get()) << " "
                  << Host().CallShared<std::uint32_t>("RAWSocketVYN", toNumber, number.Get()) << " "
                  << Host().CallShared<std::uint16_t>("RAWSocketVYN", checksum, "\x01", 1);
}

std::string Extensions()
{
    int descriptor = ::socket(AF_INET, SOCK_DGRAM, 0);
    Object socket(host::NewSocket("UDPSocket", descriptor));
    if (socket.Get() == nullptr) {
        close(descriptor);
        throw std::bad_alloc();
    }
    Host().CallGlobal<void>("OptionTTLVYN(extends s as SocketCore, assigns value as Integer)", socket.Get(), 9);
    Host().CallGlobal<void>("OptionReusePortVYN(extends s as SocketCore, assigns value as Boolean)", socket.Get(),
                            true);
    Host().CallGlobal<void>("ClearOptionsVYN(extends s as SocketCore)", socket.Get());
    const char *ttl = "OptionTTLVYN(extends s as SocketCore) as Integer";
    const char *reusePort = "OptionReusePortVYN(extends s as SocketCore) as Boolean";
    return Seen() << Host().CallGlobal<long>(ttl, socket.Get()) << " "
                  << int{Host().CallGlobal<HostBoolean>(reusePort, socket.Get())};
}

std::string Names()
{
    struct Row {
        const char *function, *argument;
    };
    Seen seen;
    for (Row row : {Row{"DNSNameToAddressVYN(HostName as String) as String", "127.0.0.1"},
                    {"DNSNameToAddressIPv6VYN(HostName as String) as String", "::1"},
                    {"DNSAddressToNameVYN(HostAddress as String) as String", "nonsense"},
                    {"DNSAddressToNameIPv6VYN(HostAddress as String) as String", "nonsense"}}) {
        String text = Text(row.argument);
        String answer(Host().CallGlobal<REALstringStruct *>(row.function, text.Get()));
        seen << "'" << host::BytesOf(answer.Get()) << "' ";
    }
    return seen;
}

std::string Switch()
{
    bool before = getDebugging();
    setDebugging(!before);
    bool switched = getDebugging() != before;
    setDebugging(before);
    return switched ? "switched" : "stuck";
}

// clang-format off
constexpr Step steps[] = {
    {"new socket",              NewSocket,          "2 2 17 open"},
    {"bind and name",           BindAndName,        "localhost (0) 127.0.0.1 (-1) port (0) (-1)"},
    {"send and read",           SendAndRead,        "5 (0) 5 (0) hello from 127.0.0.1, 16 bytes of address (0) hello from 127.0.0.1, 16 bytes of address (0) nil (-1)"},
    {"send in other forms",     SendInOtherForms,   "6 (0) 6 (0) 0 (0) block\xFF from 127.0.0.1, 16 bytes of address (0) record from 127.0.0.1, 16 bytes of address (0) nil (-1)"},
    {"send to nobody",          [] { return SendOnce("no such host", 9); }, "0 (-1)"},
    {"send to a bad port",      [] { return SendOnce("127.0.0.1", 65536); }, "UnsupportedOperationException: Invalid port number."},
    {"send nothing",            [] { return std::to_string(Host().Call<long>(Udp().Get(), "SendMessage(Data as DatagramVYN) as Integer", nullptr)); }, "NilObjectException: Datagram is nil"},
    {"events",                  [] { return EventsOf(false); }, "DataAvailable event from 127.0.0.1, 16 bytes of address (0) SendComplete "},
    {"events of a raw socket",  [] { return EventsOf(true); }, "DataAvailable event from 127.0.0.1, 16 bytes of address (0) SendComplete "},
    {"events by task",          EventsByTask,       "fired"},
    {"options",                 Options,            " (0) 1 (0) (0) 1 (0) (0) 1 (0) (0) 1 (0) (0) 1 (0) (0) 1 (0) (0) 1 (0) (0) 16384 (0) (0) 16384 (0) 2 (0) 0 (0)"},
    {"stream",                  Stream,             " (0) (0) connected (0) 127.0.0.1 (0) 6 (0) str (0) stream (0)"},
    {"raw addresses",           RawAddresses,       "1 (0) 1 (0) 4 (0) data from 127.0.0.1, 16 bytes of address (0)"},
    {"header option",           HeaderOption,       " (92) 0 (0)"},
    {"no such family",          [] { Raw(9999, 1, 0); return std::string("made"); }, "UnsupportedOperationException: The specified address family is not supported."},
    {"helpers",                 Helpers,            "127.0.0.1 67305985 65534"},
    {"extension of nothing",    [] { return std::to_string(Host().CallGlobal<long>("OptionTTLVYN(extends s as SocketCore) as Integer", nullptr)); }, "NilObjectException: Socket is nil"},
    {"names",                   Names,              "'127.0.0.1' '::1' '' '' "},
    {"switch",                  Switch,             "switched"},
    {"multicast",               Multicast,          " (0) 127.0.0.1 (0) (0) (0)"},
    {"extensions",              Extensions,         "9 1"},
};
// clang-format on

} // namespace

std::span<const Step> Steps()
{
    // An emulator of another machine lacks options that the last two need.
    static const bool emulated = std::getenv("VYN_EMULATED") != nullptr;
    return std::span(steps).first(std::size(steps) - (emulated ? 2 : 0));
}

static std::string RunOrSayWhy(const Step &step)
{
    try {
        return step.run();
    } catch (const host::Exception &exception) {
        return exception.Text();
    } catch (const std::runtime_error &error) {
        return error.what();
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
}

std::string Run(const Step &step)
{
    try {
        return RunOrSayWhy(step);
    } catch (const std::bad_alloc &) {
        return "no memory"; // short enough to need none
    }
}

std::vector<int> OpenDescriptors()
{
    std::vector<int> open;
    DIR *folder = opendir("/proc/self/fd");
    while (dirent *entry = readdir(folder)) {
        int number = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && number != dirfd(folder)) open.push_back(number);
    }
    closedir(folder);
    return open;
}

std::string InChild(const std::function<std::string()> &body)
{
    int channel[2];
    if (pipe(channel) != 0) return "no pipe";
    pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        alarm(60);
        std::freopen("/dev/full", "w", stderr); // no line of the log can be written
        std::string said = body();
        [[maybe_unused]] ssize_t written = write(channel[1], said.data(), said.size());
        if (__gcov_dump != nullptr) __gcov_dump();
        _exit(0);
    }
    close(channel[1]);
    std::string said;
    char buffer[4096];
    for (ssize_t count; (count = read(channel[0], buffer, sizeof buffer)) > 0;)
        said.append(buffer, static_cast<std::size_t>(count));
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) said += " killed by signal " + std::to_string(WTERMSIG(status));
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0) said += " ended with " + std::to_string(WEXITSTATUS(status));
    return said;
}

} // namespace scenario
