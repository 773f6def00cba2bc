// The Lua state of a program and the border between Lua and C++.
//
// The rule of the border: no C++ exception passes a Lua frame and no Lua error jumps over a C++ frame. A function
// for Lua is a Body that throws; what it throws becomes a Lua error when all its frames are gone. Lua is called
// from C++ under protection only, and what it raises is thrown on. Bodies use raw access, or fields of tables without
// a metatable, which raise nothing but "out of memory"; while a Body runs, that ends the process.
#pragma once

#include "Host/Runtime/Host.h"
#include "Host/Script/Errors.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace host {

struct Member;

class Script {
  public:
    // Makes everything that the host has registered known to Lua.
    Script(Host &host, const std::vector<std::string> &arguments);
    Script(const Script &) = delete;
    Script &operator=(const Script &) = delete;
    ~Script();

    // Run the program of a file ("-" is the standard input), or a line, whose values are printed, under a name for
    // messages. Throw Mistake with the text to show.
    void RunFile(const std::string &path);
    void RunLine(const std::string &line, const char *name = "=prompt");

    // True when the line is the beginning of something longer.
    bool IsIncomplete(const std::string &line);

    static Script &Of(lua_State *state) { return **static_cast<Script **>(lua_getextraspace(state)); }

    // Calls the function under its arguments on top of the stack. What Lua raises is thrown, see ThrowTop.
    static void Call(lua_State *state, int arguments, int results);

    // The same for a handler of the event. The plugin may keep what is thrown to itself: ShowHandlerError tells of it.
    void CallHandler(const std::string &event, int argumentCount);

    // Passes an error of a handler that nobody has been told of to the program's host.onError, or shows it. To be
    // called wherever the plugin has returned.
    void ShowHandlerError();

    // After each turn of the host's loop: runs a timer that is due, and shows errors. Throws Mistake when the program
    // is to stop: by the flag, or for errors without end that nobody watches.
    void EndTurn();
    void SetTimer(double when) { nextTimer = std::min(nextTimer, when); }

    // A signal handler stops what runs by setting the flag. TakeStop tells whether it is set, and clears it.
    void StopBy(volatile std::sig_atomic_t &flag);
    bool TakeStop();

    // Says what a program should know in the end of errors and handlers. True when no handler failed.
    bool Finish();

    std::function<void()> beforeHandler; // runs before each one that the program has set

    // At a terminal: somebody sees what is printed, and can stop what runs.
    bool IsWatched() const { return stop != nullptr; }

    Host &host;
    lua_State *current = nullptr; // the thread of Lua that runs: the main one or a coroutine
    std::deque<Member> members;   // what the tables in Lua point to
    bool waitsForEvents = false;  // the program has set a handler or a timer, and nothing has run that calls it
    std::vector<std::string> arguments;

  private:
    friend int RunBody(lua_State *state, int (*body)(lua_State *));

    static bool Try(lua_State *state, int arguments, int results);
    static void StopHook(lua_State *state, lua_Debug *);
    static void *Allocate(void *data, void *block, std::size_t oldSize, std::size_t size);
    int LoadLine(const std::string &line, const char *name);
    void RunLoaded(int status);
    int PushArguments();
    bool TryHandler(const std::string &event, int argumentCount);

    bool inBody = true;
    std::optional<std::pair<std::string, Exception>> handlerError; // that nobody has seen yet
    bool isHopeless = false;                                       // one comes without end
    double nextTimer = HUGE_VAL;                                   // on the steady clock
    volatile std::sig_atomic_t *stop = nullptr;
};

using Body = int (*)(lua_State *state);

// The number of results, or -1 with the error on top of the stack.
int RunBody(lua_State *state, Body body);

template <Body body>
int LuaFunction(lua_State *state)
{
    int results = RunBody(state, body);
    return results >= 0 ? results : lua_error(state);
}

// Sets the field of the table on top of the stack, which has no metatable.
template <Body body>
void SetFunction(lua_State *state, const char *name)
{
    lua_pushcfunction(state, LuaFunction<body>);
    lua_setfield(state, -2, name);
}

// What a new state is given: the metatable of exceptions, the table of proxies, what is registered, the module "host",
// and the prelude.
void OpenErrors(lua_State *state);
void OpenValues(lua_State *state);
void OpenClasses(lua_State *state);
void OpenHostModule(lua_State *state);
void OpenPrelude(lua_State *state);

int TerminalWidth(); // in columns; 80 where the output is no terminal

// Leaves a function of the prelude, the part of the host that is written in Lua.
void PushPrelude(lua_State *state, const char *function);
inline constexpr char preludeName[] = "=host"; // in tracebacks

template <typename Clock>
double SecondsOf()
{
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

} // namespace host
