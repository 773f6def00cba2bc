// Values on their way between Lua and the host.
//
// An object is a userdata in Lua: a proxy that owns one reference. While an object has a proxy it has only this one.
#pragma once

#include "Host/Script/Lua.h"

namespace host {

struct Proxy {
    const void *mark;         // tells proxies from the userdata of others
    REALobjectStruct *object; // null once it is released
    const Class *type;
};

// Null for anything but a proxy.
Proxy *ToProxy(lua_State *state, int index);

// The living object that a method needs. Throws Mistake for anything else, naming what was wanted.
REALobjectStruct *CheckObject(lua_State *state, int index, const Class &type, const std::string &method);

// Leaves the proxy on the stack, nil for a null handle. The reference goes to the proxy.
void PushObject(lua_State *state, Owned<REALobjectStruct> object);

// Leaves the proxy of the object, which must live, on the stack if it has one; false, and nothing on the stack, if it
// has none.
bool PushExistingProxy(lua_State *state, const REALobjectStruct *object);

// Completes the metatable on top of the stack to one of proxies.
void SetProxyFunctions(lua_State *state, const std::string &name);

// True when the Lua value is of a kind that the type takes; a number may still be out of range.
bool Accepts(lua_State *state, int index, const Type &type);

// The value as an argument or a property's new value: it must be one that the type accepts. A string that is made for
// it is given to `made`, to live as long as the word is used. Throws Mistake for a number out of range.
Word ToWord(lua_State *state, int index, const Type &type, Owned<REALstringStruct> &made);

// Leaves the value on the stack; the reference of a string or an object is taken over.
void PushWord(lua_State *state, TypeKind kind, Word word);

// What a value is called in messages: "integer", "string", "UDPSocketVYN".
std::string NameOfValue(lua_State *state, int index);

} // namespace host
