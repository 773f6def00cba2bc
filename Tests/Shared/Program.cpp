#include "Tests/Shared/Program.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// Present in a build that measures coverage: a process that ends at once has to write down what it reached.
extern "C" [[gnu::weak]] void __gcov_dump();

namespace program {

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

long Port(const Object &socket)
{
    long port = Number(socket, "LocalPort");
    long error = Number(socket, "Lasterror");
    if (error != 0) throw std::runtime_error("no port (" + std::to_string(error) + ")");
    return port;
}

void Bind(const Object &socket, const char *address)
{
    Call(socket, kBind, 0, Text(address));
}

Object Bound(Object socket)
{
    Bind(socket, "127.0.0.1");
    long error = Number(socket, "Lasterror");
    if (error != 0) throw std::runtime_error("not bound (" + std::to_string(error) + ")");
    return socket;
}

long Send(const Object &socket, const char *text, const char *address, long port)
{
    return Call<long>(socket, kSend, Text(text), Text(address), port);
}

Object Read(const Object &socket, bool peek)
{
    bool isRaw = host::ClassOf(socket.Get(), "Read")->name == std::string_view("RAWSocketVYN");
    const char *method =
        isRaw ? "ReadDatagram(peek as Boolean) as DatagramVYN" : "Read(peek as Boolean) as DatagramVYN";
    return Object(Call<REALobjectStruct *>(socket, method, peek));
}

void On(const Object &socket, const char *event, std::function<void(const Object &)> handler)
{
    Host().events.SetHandler(socket.Get(), event, [handler](REALobjectStruct *object) {
        host::entry::REALLockObject(object);
        handler(Object(object));
    });
}

Object Listener()
{
    Object listener = Bound(Raw(AF_INET, SOCK_STREAM));
    Call(listener, "Listen(BackLog as Integer)", 2);
    return listener;
}

Object Accept(const Object &listener, std::string *from, const Object &into)
{
    String address = Text("old");
    long port = 0;
    Object peer(Call<REALobjectStruct *>(listener, kAccept, address.Variable(), &port, into));
    if (from != nullptr) *from = host::BytesOf(address.Get());
    return peer;
}

std::string Connect(const Object &client, const char *address, long port)
{
    String message = Text("old");
    bool connected = Call<HostBoolean>(client, kConnect, Text(address), port, message.Variable()) != 0;
    return (connected ? "" : "not connected: ") + std::string(host::BytesOf(message.Get()));
}

std::string Raised(const std::function<void()> &body)
{
    try {
        body();
    } catch (const host::Exception &exception) {
        return exception.Text();
    }
    return "";
}

bool Emulated()
{
    static const bool emulated = std::getenv("VYN_EMULATED") != nullptr;
    return emulated;
}

std::vector<int> OpenDescriptors()
{
    std::vector<int> open; // and the one that is read here
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        open.push_back(std::stoi(entry.path().filename()));
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
    if (WIFSIGNALED(status)) said += std::string(" killed: ") + strsignal(WTERMSIG(status));
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0) said += " ended with " + std::to_string(WEXITSTATUS(status));
    return said;
}

} // namespace program
