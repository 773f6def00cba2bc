// Errors on their way between Lua and C++.
//
// In Lua an exception of the host is a table with class, message, number and where (file:line); what a protected call
// caught has a traceback too. A program's mistake is a text that begins with the place in the program.
#pragma once

#include "Host/Runtime/Exceptions.h"

#include <lua.hpp>

#include <stdexcept>
#include <string>
#include <string_view>

namespace host {

// Leaves the bytes as a string of Lua.
inline void PushBytes(lua_State *state, std::string_view bytes)
{
    lua_pushlstring(state, bytes.data(), bytes.size());
}

// Sets the field of the table on top of the stack, which has no metatable: nothing of the program's runs.
inline void SetText(lua_State *state, const char *field, std::string_view text)
{
    PushBytes(state, text);
    lua_setfield(state, -2, field);
}

// Leaves a field of the table on top of the stack; whatever the table is, nothing of the program's runs.
inline int PushField(lua_State *state, std::string_view field)
{
    PushBytes(state, field);
    return lua_rawget(state, -2);
}

// The class of a standard exception of C++ in Lua.
inline constexpr char standardClass[] = "std::exception";

struct Mistake : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Leave the error on the stack, with the place where the program is.
void PushException(lua_State *state, const Exception &exception);
void PushMistake(lua_State *state, const char *text);

// The error on top of the stack, a text of Lua's own as a RuntimeException; it stays there.
Exception ErrorOnTop(lua_State *state);

// Takes the error off the stack and throws it: std::runtime_error for a standard exception, Exception for the rest.
[[noreturn]] void ThrowTop(lua_State *state);

// Place, class and message: what the program may print.
std::string TextOf(const Exception &exception);

// The same of the error on top of the stack with the way there, but for a text that the program raised without a place,
// which is meant for its user: error("usage: ...", 0).
std::string ReportOfTop(lua_State *state);

// "EADDRINUSE: Address already in use" for a number of the system's, and words for 0 and -1, which are none.
std::string ErrorText(int number);

// The message handler of protected calls.
void PushLocator(lua_State *state);

} // namespace host
