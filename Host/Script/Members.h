// What reads, assigns and calls the members of classes, objects and modules. Upvalues tell each what it works on.
#pragma once

#include "Host/Script/Calls.h"

namespace host {

// __index and __newindex. Upvalues: the table of members, and the name of what has them.
int ReadMember(lua_State *state);
int AssignMember(lua_State *state);

// Upvalue: the method.
int CallOnObject(lua_State *state);
int CallWithoutObject(lua_State *state);

// The member of which a value is the method or function that is called through this file; null for any other value.
const Member *MethodOf(lua_State *state, int index);

// The class that a table in Lua belongs to, in a field of its metatable.
inline constexpr char classField[] = "class";

// Upvalues: the class, and its constructor if it has one.
int Construct(lua_State *state);

// __len of memory blocks.
int BlockLength(lua_State *state);

} // namespace host
