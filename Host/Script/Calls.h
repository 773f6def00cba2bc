// Calls of a plugin's functions from Lua.
//
// The declaration of a function is turned into a plan once; a call then converts its arguments to words, makes the
// call and converts what comes back. Of the functions of one name the first in the order of registration
// that takes the arguments is called.
#pragma once

#include "Host/Script/Values.h"

namespace host {

// Calls the function with as many of the words as it was made for.
using CallThunk = Word (*)(void *function, const Word *words);

struct Overload {
    struct Slot {
        ValueType type;
        bool byref = false;     // takes no argument and gives one more result
        bool omittable = false; // by a declared default, or as an object after a byref parameter
        bool counts = false;    // the bytes of the pointer before it
        Word defaultWord = 0;
        std::string defaultText;
    };

    const Function *function = nullptr;
    bool takesObject = false; // as the first argument, before those of the slots
    bool hasByref = false;
    std::vector<Slot> slots;
    ValueType result;
    CallThunk thunk = nullptr;
};

struct OverloadSet {
    std::string name;  // with its class, for messages
    const Class *type; // of the object that it takes; null when it takes none
    std::vector<Overload> overloads;
};

// What an assignment to a member does, or a reading that is no plain value: exactly one of the three.
struct Member {
    const Property *property = nullptr;
    const Event *event = nullptr;
    const OverloadSet *assignment = nullptr;
};

Overload MakeOverload(const Host &host, const Function &function, bool takesObject);

// Calls the method with the arguments from the index `first` up to the top; the object is null for a function that
// takes none. Leaves the result and then the values that come back byref on the stack and answers how many.
int CallMethod(lua_State *state, const OverloadSet &method, REALobjectStruct *object, int first);

} // namespace host
