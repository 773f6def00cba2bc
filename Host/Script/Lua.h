// The Lua state of a program and the border between Lua and C++.
//
// The rule of the border: no C++ exception passes a Lua frame and no Lua error jumps over a C++ frame. A function
// for Lua is a Body that throws; what it throws becomes a Lua error when all its frames are gone. Lua is called
// from C++ under protection only, and what it raises is thrown on. Bodies use raw access, which raises nothing but
// "out of memory"; while a Body runs, that ends the process.
#pragma once

#include "Host/Runtime/Host.h"
#include "Host/Script/Blocks.h"

#include <lua.hpp>

#include <deque>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace host {

struct Method;
struct Member;

// A program's mistake. In Lua it is a text that begins with the place in the program.
struct Mistake : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Small numbers for what lives: those given back are taken first.
class Numbers {
  public:
    std::uint32_t Take()
    {
        if (!returned.empty()) {
            auto number = returned.back();
            returned.pop_back();
            return number;
        }
        if (returned.capacity() <= last) returned.reserve(2 * (last + 1)); // to give back must need no memory
        return ++last;
    }

    void GiveBack(std::uint32_t number) { returned.push_back(number); }

  private:
    std::vector<std::uint32_t> returned;
    std::uint32_t last = 0;
};

class Script {
  public:
    // Makes everything that the host has registered known to Lua.
    Script(Host &host, const std::vector<std::string> &arguments);
    Script(const Script &) = delete;
    Script &operator=(const Script &) = delete;
    ~Script();

    // Run the program of a file, or a line of the prompt, whose values are printed. Throw Mistake with the text to
    // show.
    void RunFile(const std::string &path);
    void RunLine(const std::string &line);

    // True when the line is the beginning of something longer.
    bool IsIncomplete(const std::string &line);

    static Script &Of(lua_State *state) { return **static_cast<Script **>(lua_getextraspace(state)); }

    // Calls the function under its arguments on top of the stack. What Lua raises is thrown: Exception for an
    // exception of the host, std::runtime_error for a standard one, Exception of RuntimeException for the rest.
    static void Call(lua_State *state, int arguments, int results);

    Host &host;
    lua_State *current = nullptr;                // the thread of Lua that runs: the main one or a coroutine
    std::deque<std::unique_ptr<Method>> methods; // what the tables in Lua point to
    std::deque<Member> members;
    std::vector<std::string> arguments;
    int proxies = LUA_NOREF; // the table of the proxies of objects, in the registry
    Numbers numbers;         // of objects with proxies, in that table

  private:
    friend int RunBody(lua_State *state, int (*body)(lua_State *));

    static void *Allocate(void *data, void *block, std::size_t oldSize, std::size_t size);
    void Load(int status);
    void RunLoaded();

    Blocks blocks;
    bool inBody = true;
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

// Sets the field of the table on top of the stack.
template <Body body>
void SetFunction(lua_State *state, const char *name)
{
    lua_pushstring(state, name);
    lua_pushcfunction(state, LuaFunction<body>);
    lua_rawset(state, -3);
}

void OpenClasses(lua_State *state);
void OpenHostModule(lua_State *state);
void OpenErrors(lua_State *state);

// The value on top of the stack as it would be printed; it stays there.
std::string TextOfTop(lua_State *state);

} // namespace host
