#include "Host/Script/HostModule.h"

#include "Host/Script/Values.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace host {
namespace {

// The module's table, by its address in the registry.
constexpr char moduleKey = 0;

// --- arguments ---------------------------------------------------------------------------------------------

[[noreturn]] void ThrowArgument(lua_State *state, int index, const char *wanted)
{
    throw Mistake("argument " + std::to_string(index) + " is to be " + wanted + ", not " + NameOfValue(state, index));
}

long IntegerArgument(lua_State *state, int index)
{
    if (!Accepts(state, index, {TypeKind::Integer})) ThrowArgument(state, index, "an integer");
    return lua_tointeger(state, index);
}

// A number that the system takes as an int.
int IntArgument(lua_State *state, int index)
{
    long value = IntegerArgument(state, index);
    if (value < INT32_MIN || value > INT32_MAX) ThrowArgument(state, index, "a 32-bit integer");
    return static_cast<int>(value);
}

double SecondsArgument(lua_State *state, int index)
{
    double seconds = lua_type(state, index) == LUA_TNUMBER ? lua_tonumber(state, index) : -1;
    if (!(seconds >= 0)) ThrowArgument(state, index, "a number of seconds");
    return std::min(seconds, 1e9); // math.huge is some thirty years
}

std::string TextArgument(lua_State *state, int index)
{
    if (lua_type(state, index) != LUA_TSTRING) ThrowArgument(state, index, "a string");
    std::size_t length = 0;
    const char *bytes = lua_tolstring(state, index, &length);
    return {bytes, length};
}

// The result of a system call that must not fail.
int Check(int result, const char *what)
{
    if (result < 0) throw Mistake(std::string(what) + ": " + std::strerror(errno));
    return result;
}

// --- the host ----------------------------------------------------------------------------------------------

int CountReferences(lua_State *state)
{
    const References &live = Host::Current().ledger.Live();
    lua_pushinteger(state, live.strings);
    lua_pushinteger(state, live.objects);
    lua_pushinteger(state, live.memoryBlocks);
    return 3;
}

int ListComplaints(lua_State *state)
{
    std::string complaints = Host::Current().Complaints();
    lua_pushlstring(state, complaints.data(), complaints.size());
    return 1;
}

// run(seconds) or run(condition, seconds); true when the condition held.
int Run(lua_State *state)
{
    bool hasCondition = lua_isfunction(state, 1);
    double seconds = SecondsArgument(state, hasCondition ? 2 : 1);
    Script &script = Script::Of(state);
    auto condition = [&] {
        script.ShowHandlerError();
        script.CheckStop();
        if (!hasCondition) return false;
        lua_pushvalue(state, 1);
        Script::Call(state, 0, 1);
        bool holds = lua_toboolean(state, -1) != 0;
        lua_pop(state, 1);
        return holds;
    };
    bool held = Host::Current().tasks.Run(seconds, condition);
    script.ShowHandlerError();
    lua_pushboolean(state, held);
    return 1;
}

int Step(lua_State *state)
{
    Host::Current().tasks.Step();
    Script::Of(state).ShowHandlerError();
    return 0;
}

int MakeString(lua_State *state)
{
    long encoding = IntegerArgument(state, 2);
    if (encoding < 0 || encoding > UINT32_MAX) ThrowArgument(state, 2, "an encoding code");
    PushEncodedString(state, Owned(NewString(TextArgument(state, 1), static_cast<unsigned int>(encoding))));
    return 1;
}

int RaiseException(lua_State *state)
{
    throw Exception{TextArgument(state, 1), TextArgument(state, 2),
                    lua_isnoneornil(state, 3) ? 0 : IntegerArgument(state, 3)};
}

int RaiseStandard(lua_State *state)
{
    throw std::runtime_error(TextArgument(state, 1));
}

int Collect(lua_State *state)
{
    lua_gc(state, LUA_GCCOLLECT);
    return 0;
}

int IgnoreBrokenPipes(lua_State *)
{
    std::signal(SIGPIPE, SIG_IGN);
    return 0;
}

int Sleep(lua_State *state)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(SecondsArgument(state, 1)));
    return 0;
}

int Time(lua_State *state)
{
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    lua_pushnumber(state, std::chrono::duration<double>(now).count());
    return 1;
}

// --- the host's sockets ------------------------------------------------------------------------------------

struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;

    sockaddr *Get() { return reinterpret_cast<sockaddr *>(&storage); }
};

SocketAddress AddressArgument(lua_State *state, int addressIndex, int portIndex)
{
    std::string text = addressIndex == 0 ? "127.0.0.1" : TextArgument(state, addressIndex);
    long port = lua_isnone(state, portIndex) ? 0 : IntegerArgument(state, portIndex);
    if (port < 0 || port > UINT16_MAX) ThrowArgument(state, portIndex, "a port");
    SocketAddress address;
    auto &four = reinterpret_cast<sockaddr_in &>(address.storage);
    auto &six = reinterpret_cast<sockaddr_in6 &>(address.storage);
    if (inet_pton(AF_INET, text.c_str(), &four.sin_addr) == 1) {
        four.sin_family = AF_INET;
        four.sin_port = htons(static_cast<std::uint16_t>(port));
        address.length = sizeof four;
    } else if (inet_pton(AF_INET6, text.c_str(), &six.sin6_addr) == 1) {
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(static_cast<std::uint16_t>(port));
        address.length = sizeof six;
    } else {
        ThrowArgument(state, addressIndex, "an address");
    }
    return address;
}

// An open socket of this kind; the thunk tells what is to be done with it, under its name.
int OpenSocket(lua_State *state, const char *className, int type, SocketAddress address, const char *what,
               int (*use)(int, const sockaddr *, socklen_t))
{
    Owned socket(NewSocket(className, Check(::socket(address.storage.ss_family, type | SOCK_CLOEXEC, 0), what)));
    long descriptor = Host::Current().Get<long>(socket.Get(), "Handle");
    Check(use(static_cast<int>(descriptor), address.Get(), address.length), what);
    PushObject(state, std::move(socket));
    return 1;
}

int BindAndListen(int descriptor, const sockaddr *address, socklen_t length)
{
    return bind(descriptor, address, length) == 0 ? listen(descriptor, 16) : -1;
}

// tcp(address, port): connected.
int OpenTCP(lua_State *state)
{
    return OpenSocket(state, "TCPSocket", SOCK_STREAM, AddressArgument(state, 1, 2), "tcp", connect);
}

// tcpListener([address,] port)
int OpenListener(lua_State *state)
{
    bool hasAddress = lua_type(state, 1) == LUA_TSTRING;
    auto address = AddressArgument(state, hasAddress ? 1 : 0, hasAddress ? 2 : 1);
    return OpenSocket(state, "TCPSocket", SOCK_STREAM, address, "tcpListener", BindAndListen);
}

// udp([port]): bound to the loopback address.
int OpenUDP(lua_State *state)
{
    return OpenSocket(state, "UDPSocket", SOCK_DGRAM, AddressArgument(state, 0, 1), "udp", bind);
}

// --- descriptors -------------------------------------------------------------------------------------------

int ListDescriptors(lua_State *state)
{
    std::vector<int> open;
    DIR *directory = opendir("/proc/self/fd");
    if (directory == nullptr) throw Mistake("the descriptors can't be listed");
    while (const dirent *entry = readdir(directory)) {
        int descriptor = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && descriptor != dirfd(directory)) open.push_back(descriptor);
    }
    closedir(directory);
    std::sort(open.begin(), open.end());
    lua_newtable(state);
    for (std::size_t i = 0; i < open.size(); ++i) {
        lua_pushinteger(state, open[i]);
        lua_rawseti(state, -2, static_cast<lua_Integer>(i + 1));
    }
    return 1;
}

int GiveDescriptor(lua_State *state, int descriptor, const char *what)
{
    lua_pushinteger(state, Check(descriptor, what));
    return 1;
}

// Read and write; the file is made when it is not there.
int Open(lua_State *state)
{
    std::string path = TextArgument(state, 1);
    int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return GiveDescriptor(state, descriptor, path.c_str());
}

int Close(lua_State *state)
{
    lua_pushboolean(state, close(IntArgument(state, 1)) == 0);
    return 1;
}

int Duplicate(lua_State *state)
{
    return GiveDescriptor(state, dup2(IntArgument(state, 1), IntArgument(state, 2)), "dup");
}

int Socket(lua_State *state)
{
    int descriptor = socket(IntArgument(state, 1), IntArgument(state, 2), IntArgument(state, 3));
    return GiveDescriptor(state, descriptor, "socket");
}

int Pipe(lua_State *state)
{
    int ends[2];
    Check(pipe(ends), "pipe");
    lua_pushinteger(state, ends[0]);
    lua_pushinteger(state, ends[1]);
    return 2;
}

int IsOpen(lua_State *state)
{
    lua_pushboolean(state, fcntl(IntArgument(state, 1), F_GETFD) != -1);
    return 1;
}

} // namespace

void PushErrorHandler(lua_State *state)
{
    lua_rawgetp(state, LUA_REGISTRYINDEX, &moduleKey);
    lua_pushstring(state, "onError");
    lua_rawget(state, -2);
    lua_remove(state, -2);
}

void OpenHostModule(lua_State *state)
{
    lua_newtable(state);
    SetFunction<CountReferences>(state, "references");
    SetFunction<ListComplaints>(state, "complaints");
    SetFunction<Run>(state, "run");
    SetFunction<Step>(state, "step");
    SetFunction<MakeString>(state, "string");
    SetFunction<RaiseException>(state, "exception");
    SetFunction<RaiseStandard>(state, "raiseStandard");
    SetFunction<Collect>(state, "collect");
    SetFunction<IgnoreBrokenPipes>(state, "ignoreBrokenPipes");
    SetFunction<Sleep>(state, "sleep");
    SetFunction<Time>(state, "time");
    SetFunction<OpenTCP>(state, "tcp");
    SetFunction<OpenListener>(state, "tcpListener");
    SetFunction<OpenUDP>(state, "udp");
    SetFunction<ListDescriptors>(state, "descriptors");
    SetFunction<Open>(state, "open");
    SetFunction<Close>(state, "close");
    SetFunction<Duplicate>(state, "dup");
    SetFunction<Socket>(state, "socket");
    SetFunction<Pipe>(state, "pipe");
    SetFunction<IsOpen>(state, "isOpen");

    const Script &script = Script::Of(state);
    lua_pushstring(state, "version");
    lua_pushnumber(state, script.host.version);
    lua_rawset(state, -3);

    lua_pushstring(state, "arguments");
    lua_newtable(state);
    for (std::size_t i = 0; i < script.arguments.size(); ++i) {
        lua_pushlstring(state, script.arguments[i].data(), script.arguments[i].size());
        lua_rawseti(state, -2, static_cast<lua_Integer>(i + 1));
    }
    lua_rawset(state, -3);
    lua_pushvalue(state, -1);
    lua_rawsetp(state, LUA_REGISTRYINDEX, &moduleKey);
    lua_setglobal(state, "host");
}

} // namespace host
