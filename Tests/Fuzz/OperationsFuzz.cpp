// Any sequence of operations on a few sockets, with handlers that go on with the sequence.
//
// Nothing leaves the loopback interface, and Handle is never the number of a descriptor of the fuzzer's own.
#include "Fuzz.h"

#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Object = host::Owned<REALobjectStruct>;
using String = host::Owned<REALstringStruct>;

constexpr std::size_t kSockets = 3;

struct Program {
    explicit Program(Input &cutInput) : input(cutInput) {}

    REALobjectStruct *Pick() { return sockets[input.ConsumeIntegralInRange<std::size_t>(0, kSockets - 1)].Get(); }
    String Text() { return String(host::NewString(input.ConsumeRandomLengthString(300))); }
    String Address()
    {
        static constexpr const char *kAddresses[] = {"127.0.0.1", "localhost",    "::1",
                                                     "",          "no such host", "127.0.0.1 x"};
        return String(host::NewString(input.PickValueInArray(kAddresses)));
    }
    long Port()
    {
        if (input.ConsumeBool()) return host::Host::Current().Get<long>(Pick(), "LocalPort");
        static constexpr long kPorts[] = {0, -1, 65536, 1L << 32, 1};
        return input.PickValueInArray(kPorts);
    }
    long Handle()
    {
        static constexpr long kHandles[] = {0, -1, 1L << 20, 1L << 31, 1L << 40};
        if (input.ConsumeBool()) return input.PickValueInArray(kHandles);
        return open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    void Run();
    void Step();

    Input &input;
    Object sockets[kSockets];
    int depth = 0;
};

void Program::Step()
{
    host::Host &host = host::Host::Current();
    REALobjectStruct *socket = Pick();
    static constexpr const char *kOptions[] = {"TimeToLive",        "TypeOfService", "MulticastLoop",
                                               "Broadcast",         "ReuseAddress",  "ReusePort",
                                               "ReceiveBufferSize", "Lasterror",     "SocketError"};
    switch (input.ConsumeIntegralInRange(0, 9)) {
    case 0:
        host.Call<void>(socket, "Bind(Port as Integer, IP as String)", Port() % 2, Address().Get());
        break;
    case 1:
        host.Call<long>(socket, "SendMessage(Data as String, IP as String, Port as Integer) as Integer", Text().Get(),
                        Address().Get(), Port());
        break;
    case 2:
        Object(host.Call<REALobjectStruct *>(socket, "Read(peek as Boolean) as DatagramVYN", input.ConsumeBool()));
        break;
    case 3:
        host.Call<void>(socket, "Poll");
        break;
    case 4:
        host.Get<long>(socket, input.PickValueInArray(kOptions));
        break;
    case 5:
        host.Set(socket, kOptions[input.ConsumeIntegralInRange(0, 6)], input.ConsumeIntegral<long>());
        break;
    case 6:
        host.Set(socket, "Handle", Handle());
        break;
    case 7:
        String(host.Get<REALstringStruct *>(socket, "LocalIP"));
        break;
    case 8:
        sockets[input.ConsumeIntegralInRange<std::size_t>(0, kSockets - 1)] = Object(host.New("UDPSocketVYN"));
        break;
    default:
        host.events.SetHandler(socket, "DataAvailable", [this](REALobjectStruct *) {
            if (depth < 3) Run();
        });
    }
}

// A few steps; what they raise is a result like others.
void Program::Run()
{
    depth++;
    for (int steps = input.ConsumeIntegralInRange(0, 40); steps > 0; steps--) {
        try {
            Step();
        } catch (const host::Exception &) {
        }
    }
    depth--;
}

} // namespace

void Fuzz(Input &input)
{
    host::Host &host = TheHost();
    {
        Program program(input);
        for (Object &socket : program.sockets)
            socket = Object(host.New("UDPSocketVYN"));
        program.Run();
    }
    Expect(host.Complaints().empty(), "every reference is given back");
}
