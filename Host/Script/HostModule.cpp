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

double SecondsArgument(lua_State *state, int index)
{
    double seconds = lua_tonumber(state, index);
    if (lua_type(state, index) != LUA_TNUMBER || !(seconds >= 0)) Refuse(state, index, "a number of seconds");
    return std::min(seconds, mostSeconds);
}

std::string TextArgument(lua_State *state, int index)
{
    if (lua_type(state, index) != LUA_TSTRING) Refuse(state, index, "a string");
    return lua_tostring(state, index);
}

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
    double time = SecondsArgument(state, hasCondition ? 2 : 1);
    Script &script = Script::Of(state);
    auto condition = [&] {
        script.EndTurn();
        if (!hasCondition) return false;
        lua_pushvalue(state, 1);
        Script::Call(state, 0, 1);
        bool holds = lua_toboolean(state, -1) != 0;
        lua_pop(state, 1);
        return holds;
    };
    lua_pushboolean(state, Host::Current().tasks.Run(time, condition));
    script.ShowHandlerError();
    return 1;
}

int RaiseException(lua_State *state)
{
    throw Exception{TextArgument(state, 1), TextArgument(state, 2),
                    lua_isnoneornil(state, 3) ? 0 : IntegerArgument(state, 3)};
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

// The interrupt key ends it. In slices, for the key may be pressed just before one begins.
int Sleep(lua_State *state)
{
    constexpr double kSlice = 0.02;
    const double end = SecondsOf<std::chrono::steady_clock>() + SecondsArgument(state, 1);
    for (double rest; (rest = end - SecondsOf<std::chrono::steady_clock>()) > 0;) {
        std::this_thread::sleep_for(std::chrono::duration<double>(std::min(rest, kSlice)));
        if (Script::Of(state).TakeStop()) throw Mistake("interrupted");
    }
    return 0;
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

int Pipe(lua_State *state)
{
    int ends[2];
    if (pipe(ends) != 0) return GiveDescriptor(state, -1, "pipe");
    return GiveDescriptor(state, ends[0], "pipe") + GiveDescriptor(state, ends[1], "pipe");
}

// Seconds of that clock.
template <typename Clock>
int Now(lua_State *state)
{
    lua_pushnumber(state, SecondsOf<Clock>());
    return 1;
}

constexpr auto *number = IntegerArgument<int>;

// Functions of one statement are written in their row.
using S = lua_State;
constexpr luaL_Reg functions[] = {
    {"references", LuaFunction<CountReferences>},
    {"run", LuaFunction<Run>},
    {"step", LuaFunction<[](S *s) { return Host::Current().tasks.Step(), Script::Of(s).EndTurn(), 0; }>},
    {"exception", LuaFunction<RaiseException>},
    {"raiseStandard", LuaFunction<[](S *s) -> int { throw std::runtime_error(TextArgument(s, 1)); }>},
    {tcp.name, LuaFunction<OpenSocket<tcp>>},
    {tcpListener.name, LuaFunction<OpenSocket<tcpListener>>},
    {udp.name, LuaFunction<OpenSocket<udp>>},
    {"ignoreBrokenPipes", LuaFunction<[](S *) { return std::signal(SIGPIPE, SIG_IGN), 0; }>},
    {"sleep", LuaFunction<Sleep>},
    {"time", LuaFunction<Now<std::chrono::steady_clock>>},
    {"now", LuaFunction<Now<std::chrono::system_clock>>},
    {"errorText", LuaFunction<[](S *s) { return PushBytes(s, ErrorText(number(s, 1))), 1; }>},
    {"descriptors", LuaFunction<ListDescriptors>},
    {"open", LuaFunction<Open>},
    {"close", LuaFunction<[](S *s) { return lua_pushboolean(s, close(number(s, 1)) == 0), 1; }>},
    {"dup", LuaFunction<[](S *s) { return GiveDescriptor(s, dup2(number(s, 1), number(s, 2)), "dup"); }>},
    {"socket",
     LuaFunction<[](S *s) { return GiveDescriptor(s, socket(number(s, 1), number(s, 2), number(s, 3)), "socket"); }>},
    {"pipe", LuaFunction<Pipe>},
    {"isOpen", LuaFunction<[](S *s) { return lua_pushboolean(s, fcntl(number(s, 1), F_GETFD) != -1), 1; }>},
    {nullptr, nullptr},
};

} // namespace

void OpenHostModule(lua_State *state)
{
    luaL_newlib(state, functions);
    lua_pushnumber(state, Script::Of(state).host.version);
    lua_setfield(state, -2, "version");
    lua_setglobal(state, "host");
}

} // namespace host
