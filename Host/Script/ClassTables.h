// What is registered, as a program sees it: a class is a table that makes objects when it is called, a module a
// table, a function a global. All of it comes from the records.
//
// The tables in Lua hold, by the name of the member: a function for a method, the value of a constant, and a pointer
// to a Member for what is read or assigned through code.
#pragma once

#include "Host/Script/Lua.h"

namespace host {

void OpenClasses(lua_State *state);

} // namespace host
