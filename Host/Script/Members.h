// The functions that read, assign and call the members of classes, objects and modules. Upvalues name their subjects.
#pragma once

#include "Host/Script/Values.h"

namespace host {

using Overloads = std::vector<const Function *>;

// The entry of a name in the tables of a class, an object or a module: a property, an event, or functions, some of
// which serve an assignment.
struct Member {
    std::string name;  // with its class, for messages
    const Class *type; // of the objects that it is a member of; null when it takes none
    const Property *property = nullptr;
    const Event *event = nullptr;
    Overloads methods{}, assignments{};
};

// Calls one of these functions of the member with the arguments from the index `first` up to the top; the object is
// null for functions that take none. The first in the order of registration that takes the arguments is called. Leaves
// the result and then the values that come back byref on the stack and answers how many.
int CallFunction(lua_State *state, const Member &member, const Overloads &functions, REALobjectStruct *object,
                 int first);

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
