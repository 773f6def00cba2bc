// Any sequence of operations on a few sockets of both classes, with handlers that go on with the sequence.
//
// Nothing leaves the loopback interface, and Handle is never the number of a descriptor of the fuzzer's own.
#include "Fuzz.h"
#include "Tests/Shared/Program.h"

#include <fcntl.h>
#include <sys/socket.h>

using namespace program;

namespace {

constexpr std::size_t kSockets = 4;
constexpr const char *kOptions[] = {"TimeToLive", "TypeOfService",     "MulticastLoop", "Broadcast",  "ReuseAddress",
                                    "ReusePort",  "ReceiveBufferSize", "Lasterror",     "SocketError"};
constexpr const char *kRawOptions[] = {"Broadcast",         "ReuseAddress",     "ReusePort", "SendBufferSize",
                                       "ReceiveBufferSize", "IPHeaderIncluded", "Lasterror", "SocketError"};

struct Run {
    explicit Run(Input &cutInput) : input(cutInput) {}

    Object &Pick() { return sockets[input.ConsumeIntegralInRange<std::size_t>(0, kSockets - 1)]; }
    std::string AnyText() { return input.ConsumeRandomLengthString(300); }
    const char *Address()
    {
        static constexpr const char *kAddresses[] = {"127.0.0.1", "localhost",    "::1",
                                                     "",          "no such host", "127.0.0.1 x"};
        return input.PickValueInArray(kAddresses);
    }
    long AnyPort()
    {
        if (input.ConsumeBool()) return Number(Pick(), "LocalPort");
        static constexpr long kPorts[] = {0, -1, 65536, 1L << 32, 1};
        return input.PickValueInArray(kPorts);
    }
    long Handle()
    {
        static constexpr long kHandles[] = {0, -1, 1L << 20, 1L << 31, 1L << 40};
        if (input.ConsumeBool()) return input.PickValueInArray(kHandles);
        return open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    // Half of the sockets are raw ones, streams and others.
    Object New()
    {
        if (input.ConsumeBool()) return Udp();
        return Raw(AF_INET, input.ConsumeBool() ? SOCK_STREAM : SOCK_DGRAM);
    }
    const char *Option(bool isRaw)
    {
        return isRaw ? input.PickValueInArray(kRawOptions) : input.PickValueInArray(kOptions);
    }
    void Steps();
    void Step();
    void RawStep(const Object &socket);

    Input &input;
    Object sockets[kSockets];
    int depth = 0;
};

void Run::RawStep(const Object &socket)
{
    std::string bytes = AnyText();
    switch (input.ConsumeIntegralInRange(0, 5)) {
    case 0:
        Call(socket, "Listen(BackLog as Integer)", input.ConsumeIntegral<long>());
        break;
    case 1:
        Host().Set(socket.Get(), "SocketType", input.ConsumeIntegralInRange(0, 4));
        Connect(socket, "127.0.0.1", AnyPort());
        // Whatever waits must come back at once.
        fcntl(static_cast<int>(Number(socket, "Handle")), F_SETFL, O_NONBLOCK);
        break;
    case 2:
        if (IsRaw(sockets[0]) && input.ConsumeBool()) {
            Accept(socket, nullptr, sockets[0]);
        } else {
            Accept(socket);
        }
        break;
    case 3:
        Object(Call<REALobjectStruct *>(socket, "ReadAll(peek as Boolean) as MemoryBlock", input.ConsumeBool()));
        break;
    case 4:
        Call<long>(socket, "Send(Data as Ptr, DataByteSize as Integer, Flags as Integer) as Integer", bytes.data(),
                   bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        break;
    default:
        Call(socket, "Close");
    }
}

void Run::Step()
{
    const Object &socket = Pick();
    bool isRaw = IsRaw(socket);
    switch (input.ConsumeIntegralInRange(0, 10)) {
    case 0:
        Call(socket, "Bind(Port as Integer, IP as String)", AnyPort() % 2, Text(Address()));
        break;
    case 1:
        Call<long>(socket, kSend, Text(AnyText().c_str()), Text(Address()), AnyPort());
        break;
    case 2:
        Read(socket, input.ConsumeBool());
        break;
    case 3:
        Call(socket, "Poll");
        break;
    case 4:
        Number(socket, Option(isRaw));
        break;
    case 5:
        if (const char *option = Option(isRaw); option != kOptions[8] && option != kRawOptions[7])
            Host().Set(socket.Get(), option, input.ConsumeIntegral<long>());
        break;
    case 6:
        Host().Set(socket.Get(), "Handle", Handle());
        break;
    case 7:
        Words(socket, "LocalIP");
        break;
    case 8:
        Pick() = New();
        break;
    case 9:
        if (isRaw) RawStep(socket);
        break;
    default:
        On(socket, "DataAvailable", [this](const Object &) {
            if (depth < 3) Steps();
        });
    }
}

// A few steps; what they raise is a result like others.
void Run::Steps()
{
    depth++;
    for (int steps = input.ConsumeIntegralInRange(0, 40); steps > 0; steps--)
        Raised([this] { Step(); });
    depth--;
}

} // namespace

void Fuzz(Input &input)
{
    TheHost();
    {
        Run run(input);
        for (Object &socket : run.sockets)
            socket = run.New();
        run.Steps();
    }
    Expect(Host().Complaints().empty(), "every reference is given back");
}
