// The function help() of programs, which prints the words of the reference, and what the prompt completes.
#pragma once

#include "Host/Script/Lua.h"

namespace host {

// The text of Docs/reference.md, put in at build time.
extern const char referencePage[];

// How the last word of a line may go on: the whole words, in the order of the alphabet. After "name." and "name:" they
// are the members of that value; a colon asks for methods alone.
std::vector<std::string> Completions(lua_State *state, std::string_view line);

} // namespace host
