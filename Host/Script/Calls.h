// Calls of a plugin's functions from Lua.
//
// The declaration of a function says how the arguments of a call become words, and what comes back of them. Of the
// functions of one name the first in the order of registration that takes the arguments is called.
#pragma once

#include "Host/Script/Values.h"

namespace host {

using Overloads = std::vector<const Function *>;

// What is behind a name in the tables of a class, an object or a module: a property, an event, or functions, of which
// those that assign serve an assignment.
struct Member {
    std::string name;  // with its class, for messages
    const Class *type; // of the objects that it is a member of; null when it takes none
    const Property *property = nullptr;
    const Event *event = nullptr;
    Overloads methods{}, assignments{};
};

// Calls one of these functions of the member with the arguments from the index `first` up to the top; the object is
// null for functions that take none. Leaves the result and then the values that come back byref on the stack and
// answers how many.
int CallFunction(lua_State *state, const Member &member, const Overloads &functions, REALobjectStruct *object,
                 int first);

} // namespace host
