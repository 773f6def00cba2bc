// The module "host": the host's loop, its sockets, and what tests need of the system.
#include "Host/Script/Values.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <netdb.h>
#include <set>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace host {
namespace {

// The module's table, by its address in the registry.
constexpr char moduleKey = 0;

constexpr double mostSeconds = 1e9; // some thirty years, for math.huge

[[noreturn]] void Refuse(lua_State *state, int index, const char *wanted)
{
    throw Mistake("argument " + std::to_string(index) + " must be " + wanted + ", not " + NameOfValue(state, index));
}

template <typename Integer = long>
Integer IntegerArgument(lua_State *state, int index)
{
    if (!Accepts(state, index, {TypeKind::Integer})) Refuse(state, index, "an integer");
    auto value = lua_tointeger(state, index);
    if (!std::in_range<Integer>(value)) throw Mistake("the argument is out of range: " + std::to_string(value));
    return static_cast<Integer>(value);
}

std::chrono::duration<double> SecondsArgument(lua_State *state, int index)
{
    double seconds = lua_tonumber(state, index);
    if (lua_type(state, index) != LUA_TNUMBER || !(seconds >= 0)) Refuse(state, index, "a number of seconds");
    return std::chrono::duration<double>(std::min(seconds, mostSeconds));
}

std::string TextArgument(lua_State *state, int index)
{
    if (lua_type(state, index) != LUA_TSTRING) Refuse(state, index, "a string");
    return lua_tostring(state, index);
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

// run(seconds) or run(condition, seconds); true when the condition held.
int Run(lua_State *state)
{
    bool hasCondition = lua_isfunction(state, 1);
    auto time = SecondsArgument(state, hasCondition ? 2 : 1);
    Script &script = Script::Of(state);
    auto condition = [&] {
        script.ShowHandlerError();
        if (script.TakeStop()) throw Mistake("interrupted");
        if (!hasCondition) return false;
        lua_pushvalue(state, 1);
        Script::Call(state, 0, 1);
        bool holds = lua_toboolean(state, -1) != 0;
        lua_pop(state, 1);
        return holds;
    };
    bool held = Host::Current().tasks.Run(time.count(), condition);
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

int RaiseException(lua_State *state)
{
    throw Exception{TextArgument(state, 1), TextArgument(state, 2),
                    lua_isnoneornil(state, 3) ? 0 : IntegerArgument(state, 3)};
}

int RaiseStandard(lua_State *state)
{
    throw std::runtime_error(TextArgument(state, 1));
}

// The numbers of the open descriptors, in order.
int ListDescriptors(lua_State *state)
{
    std::set<int> seen; // with the one that shows them
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        seen.insert(std::stoi(entry.path().filename()));
    lua_newtable(state);
    for (int descriptor : seen) {
        if (fcntl(descriptor, F_GETFD) == -1) continue;
        lua_pushinteger(state, descriptor);
        lua_rawseti(state, -2, luaL_len(state, -2) + 1);
    }
    return 1;
}

// --- the host's sockets ------------------------------------------------------------------------------------

int BindAndListen(int descriptor, const sockaddr *address, socklen_t length)
{
    return bind(descriptor, address, length) == 0 ? listen(descriptor, 16) : -1;
}

struct SocketKind {
    const char *name, *className;
    int type;
    int (*use)(int descriptor, const sockaddr *address, socklen_t length);
};
constexpr SocketKind tcp = {"tcp", "TCPSocket", SOCK_STREAM, connect};
constexpr SocketKind tcpListener = {"tcpListener", "TCPSocket", SOCK_STREAM, BindAndListen};
constexpr SocketKind udp = {"udp", "UDPSocket", SOCK_DGRAM, bind};

// ([address,] [port]): a socket of this kind, used with its address; by itself a free port of the loopback address.
template <const SocketKind &kind>
int OpenSocket(lua_State *state)
{
    bool hasAddress = lua_type(state, 1) == LUA_TSTRING;
    int portIndex = hasAddress ? 2 : 1;
    auto port = lua_isnone(state, portIndex) ? 0 : IntegerArgument<std::uint16_t>(state, portIndex);
    addrinfo hints{}, *made = nullptr;
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = kind.type;
    std::string address = hasAddress ? lua_tostring(state, 1) : "127.0.0.1";
    if (int fault = getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &made); fault != 0) {
        throw Mistake(address + ": " + gai_strerror(fault));
    }
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> found(made, freeaddrinfo);
    int descriptor = socket(found->ai_family, kind.type | SOCK_CLOEXEC, 0);
    Owned socket(NewSocket(kind.className, descriptor));
    if (descriptor < 0 || kind.use(descriptor, found->ai_addr, found->ai_addrlen) != 0) {
        throw Mistake(std::string(kind.name) + ": " + std::strerror(errno));
    }
    PushObject(state, std::move(socket));
    return 1;
}

// --- what the system offers -----------------------------------------------------------------------------------

int IgnoreBrokenPipes(lua_State *)
{
    std::signal(SIGPIPE, SIG_IGN);
    return 0;
}

int Sleep(lua_State *state)
{
    std::this_thread::sleep_for(SecondsArgument(state, 1));
    return 0;
}

int Time(lua_State *state)
{
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    lua_pushnumber(state, std::chrono::duration<double>(now).count());
    return 1;
}

int GiveDescriptor(lua_State *state, int descriptor, const std::string &what)
{
    if (descriptor < 0) throw Mistake(what + ": " + std::strerror(errno));
    lua_pushinteger(state, descriptor);
    return 1;
}

// Read and write; the file is made when it is not there.
int Open(lua_State *state)
{
    std::string path = TextArgument(state, 1);
    int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return GiveDescriptor(state, descriptor, path);
}

int Close(lua_State *state)
{
    lua_pushboolean(state, close(IntegerArgument<int>(state, 1)) == 0);
    return 1;
}

int Duplicate(lua_State *state)
{
    return GiveDescriptor(state, dup2(IntegerArgument<int>(state, 1), IntegerArgument<int>(state, 2)), "dup");
}

int Socket(lua_State *state)
{
    auto argument = IntegerArgument<int>;
    return GiveDescriptor(state, socket(argument(state, 1), argument(state, 2), argument(state, 3)), "socket");
}

int Pipe(lua_State *state)
{
    int ends[2];
    if (pipe(ends) != 0) return GiveDescriptor(state, -1, "pipe");
    return GiveDescriptor(state, ends[0], "pipe") + GiveDescriptor(state, ends[1], "pipe");
}

int IsOpen(lua_State *state)
{
    lua_pushboolean(state, fcntl(IntegerArgument<int>(state, 1), F_GETFD) != -1);
    return 1;
}

constexpr luaL_Reg functions[] = {
    {"references", LuaFunction<CountReferences>},
    {"run", LuaFunction<Run>},
    {"step", LuaFunction<Step>},
    {"exception", LuaFunction<RaiseException>},
    {"raiseStandard", LuaFunction<RaiseStandard>},
    {tcp.name, LuaFunction<OpenSocket<tcp>>},
    {tcpListener.name, LuaFunction<OpenSocket<tcpListener>>},
    {udp.name, LuaFunction<OpenSocket<udp>>},
    {"ignoreBrokenPipes", LuaFunction<IgnoreBrokenPipes>},
    {"sleep", LuaFunction<Sleep>},
    {"time", LuaFunction<Time>},
    {"descriptors", LuaFunction<ListDescriptors>},
    {"open", LuaFunction<Open>},
    {"close", LuaFunction<Close>},
    {"dup", LuaFunction<Duplicate>},
    {"socket", LuaFunction<Socket>},
    {"pipe", LuaFunction<Pipe>},
    {"isOpen", LuaFunction<IsOpen>},
    {nullptr, nullptr},
};

} // namespace

void PushErrorHandler(lua_State *state)
{
    lua_rawgetp(state, LUA_REGISTRYINDEX, &moduleKey);
    PushField(state, "onError");
    lua_remove(state, -2);
}

void OpenHostModule(lua_State *state)
{
    luaL_newlib(state, functions);
    lua_pushnumber(state, Script::Of(state).host.version);
    lua_setfield(state, -2, "version");
    lua_getglobal(state, "collectgarbage");
    lua_setfield(state, -2, "collect");
    lua_pushvalue(state, -1);
    lua_rawsetp(state, LUA_REGISTRYINDEX, &moduleKey);
    lua_setglobal(state, "host");
}

} // namespace host
