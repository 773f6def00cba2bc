// Any sequence of operations on a few sockets of both classes, with handlers that go on with the sequence.
//
// Nothing leaves the loopback interface, and Handle is never the number of a descriptor of the fuzzer's own.
#include "Fuzz.h"
#include "Tests/Shared/Program.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

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
        return input.PickValueInArray<const char *>(
            {"127.0.0.1", "localhost", "::1", "", "no such host", "127.0.0.1 x"});
    }
    long OtherPort() { return input.PickValueInArray({0L, -1L, 65536L, 1L << 32, 1L}); }
    long AnyPort() { return input.ConsumeBool() ? Number(Pick(), "LocalPort") : OtherPort(); }
    long Handle()
    {
        if (input.ConsumeBool()) return input.PickValueInArray({0L, -1L, 1L << 20, 1L << 31, 1L << 40});
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

    Input &input;
    Object sockets[kSockets];
    int depth = 0;
};

using Action = void (*)(Run &run, const Object &socket);

constexpr Action rawActions[] = {
    [](Run &run, auto &socket) { Call(socket, "Listen(BackLog as Integer)", run.input.ConsumeIntegral<long>()); },
    [](Run &run, auto &socket) {
        Host().Set(socket.Get(), "SocketType", run.input.ConsumeIntegralInRange(0, 4));
        Connect(socket, "127.0.0.1", run.OtherPort()); // by name it would wait for a listener whose queue is full
    },
    [](Run &run, auto &socket) {
        bool intoGiven = IsRaw(run.sockets[0]) && run.input.ConsumeBool();
        intoGiven ? Accept(socket, nullptr, run.sockets[0]) : Accept(socket);
    },
    [](Run &run, auto &socket) {
        Object(Call<REALobjectStruct *>(socket, "ReadAll(peek as Boolean) as MemoryBlock", run.input.ConsumeBool()));
    },
    [](Run &run, auto &socket) {
        std::string bytes = run.AnyText();
        Call<long>(socket, "Send(Data as Ptr, DataByteSize as Integer, Flags as Integer) as Integer", bytes.data(),
                   bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    },
    [](Run &run, auto &socket) {
        sockaddr_in to = {AF_INET, htons(static_cast<std::uint16_t>(run.AnyPort())), {htonl(INADDR_LOOPBACK)}, {}};
        const char *connect = "Connect(DestAddr as Ptr, DestAddrByteSize as Integer) as Boolean";
        Call<HostBoolean>(socket, connect, &to, sizeof to);
    },
    [](Run &, auto &socket) { Call(socket, "Close"); },
};

constexpr Action actions[] = {
    [](Run &run, auto &socket) {
        Call(socket, "Bind(Port as Integer, IP as String)", run.AnyPort() % 2, Text(run.Address()));
    },
    [](Run &run, auto &socket) {
        Call<long>(socket, kSend, Text(run.AnyText().c_str()), Text(run.Address()), run.AnyPort());
    },
    [](Run &run, auto &socket) { Read(socket, run.input.ConsumeBool()); },
    [](Run &, auto &socket) { Call(socket, "Poll"); },
    [](Run &run, auto &socket) { Number(socket, run.Option(IsRaw(socket))); },
    [](Run &run, auto &socket) {
        if (std::string_view option = run.Option(IsRaw(socket)); option != "SocketError") // which is read-only
            Host().Set(socket.Get(), std::string(option), run.input.ConsumeIntegral<long>());
    },
    [](Run &run, auto &socket) {
        long left = Number(socket, "Handle"); // which the object no longer closes
        Host().Set(socket.Get(), "Handle", run.Handle());
        if (left > STDERR_FILENO && left < 1L << 20) close(static_cast<int>(left));
    },
    [](Run &, auto &socket) { Words(socket, "LocalIP"); },
    [](Run &run, auto &) { run.Pick() = run.New(); },
    [](Run &run, auto &socket) {
        if (IsRaw(socket)) run.input.PickValueInArray(rawActions)(run, socket);
    },
    [](Run &run, auto &socket) {
        On(socket, "DataAvailable", [&run](const Object &) {
            if (run.depth < 3) run.Steps();
        });
    },
};

// A few steps; what they raise is a result like others.
void Run::Steps()
{
    depth++;
    for (int steps = input.ConsumeIntegralInRange(0, 40); steps > 0; steps--)
        Raised([this] {
            const Object &socket = Pick();
            input.PickValueInArray(actions)(*this, socket);
        });
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
