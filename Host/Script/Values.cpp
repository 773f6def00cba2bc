#include "Host/Script/Values.h"

namespace host {
namespace {

constexpr char proxyMark = 0;
constexpr char stringMetatableKey = 0;
constexpr char proxiesKey = 0; // of the proxies of objects, by handle

// The host's memory for a proxy's object is not seen by Lua, which is told of about this much.
constexpr int kilobytesBehindProxy = 1;

Proxy *NewProxy(lua_State *state, const void *metatableKey, const Class *type)
{
    lua_gc(state, LUA_GCSTEP, kilobytesBehindProxy);
    auto proxy = static_cast<Proxy *>(lua_newuserdatauv(state, sizeof(Proxy), 1));
    *proxy = {&proxyMark, nullptr, type};
    lua_rawgetp(state, LUA_REGISTRYINDEX, metatableKey);
    lua_setmetatable(state, -2);
    return proxy;
}

// True for a number without a fraction.
bool HasInteger(lua_State *state, int number)
{
    int isInteger = 0;
    lua_tointegerx(state, number, &isInteger);
    return isInteger != 0;
}

bool IsString(const Proxy *proxy)
{
    return proxy != nullptr && proxy->type == nullptr;
}

// The living object of that class; null for anything else.
REALobjectStruct *ToObject(lua_State *state, int index, const Class *type)
{
    const Proxy *proxy = ToProxy(state, index);
    if (proxy == nullptr || proxy->type == nullptr || type == nullptr) return nullptr;
    bool fits = proxy->type == type || proxy->type->IsA(*type);
    return fits ? static_cast<REALobjectStruct *>(proxy->handle) : nullptr;
}

bool IsLivingBlock(const Proxy *proxy)
{
    return proxy != nullptr && proxy->handle != nullptr && proxy->type != nullptr && proxy->type->isMemoryBlock;
}

Owned<REALstringStruct> StringOfLua(lua_State *state, int index)
{
    std::size_t length = 0;
    const char *bytes = lua_tolstring(state, index, &length);
    std::string_view text(bytes, length);
    return Owned(NewString(text, IsUTF8(text) ? kEncodingUTF8 : kEncodingNone));
}

Word IntegerInRange(lua_State *state, int index, const ValueType &type)
{
    Word value = lua_tointeger(state, index);
    Word limit = type.kind == TypeKind::UInt16 ? UINT16_MAX : UINT32_MAX;
    if (type.kind != TypeKind::Integer && (value < 0 || value > limit)) {
        throw Mistake(std::to_string(value) + " is out of range for " + type.name);
    }
    return value;
}

void *PointerOf(lua_State *state, int index)
{
    const Proxy *proxy = ToProxy(state, index);
    if (proxy == nullptr) return lua_touserdata(state, index);
    return ViewOf(static_cast<REALobjectStruct *>(proxy->handle)).data;
}

void PushPointer(lua_State *state, void *pointer)
{
    if (pointer != nullptr) {
        lua_pushlightuserdata(state, pointer);
    } else {
        lua_pushnil(state);
    }
}

int ReleaseProxy(lua_State *state)
{
    Proxy *proxy = ToProxy(state, 1);
    if (proxy == nullptr) throw Mistake("a proxy was expected");
    void *handle = std::exchange(proxy->handle, nullptr);
    if (handle == nullptr) return 0;
    if (proxy->type == nullptr) {
        Release(static_cast<REALstringStruct *>(handle));
        return 0;
    }
    Release(static_cast<REALobjectStruct *>(handle));
    Script::Of(state).host.exceptions.ThrowPending();
    return 0;
}

int ProxyToString(lua_State *state)
{
    Proxy *proxy = ToProxy(state, 1);
    if (proxy == nullptr) throw Mistake("a proxy was expected");
    if (proxy->type == nullptr) {
        PushString(state, static_cast<REALstringStruct *>(proxy->handle));
    } else {
        lua_pushfstring(state, "%s: %p", proxy->type->name.c_str(), proxy->handle);
    }
    return 1;
}

} // namespace

Proxy *ToProxy(lua_State *state, int index)
{
    if (lua_rawlen(state, index) != sizeof(Proxy)) return nullptr; // as any light userdata, which points anywhere
    auto proxy = static_cast<Proxy *>(lua_touserdata(state, index));
    return proxy != nullptr && proxy->mark == &proxyMark ? proxy : nullptr;
}

REALobjectStruct *CheckObject(lua_State *state, int index, const Class &type)
{
    REALobjectStruct *object = ToObject(state, index, &type);
    if (object == nullptr) {
        throw Mistake("a living " + type.name + " was expected, but found: " + NameOfValue(state, index));
    }
    return object;
}

// The table is weak. A proxy that was closed is in it still, without its object.
bool PushExistingProxy(lua_State *state, const REALobjectStruct *object)
{
    lua_rawgetp(state, LUA_REGISTRYINDEX, &proxiesKey);
    lua_rawgetp(state, -1, object);
    lua_remove(state, -2);
    auto proxy = static_cast<const Proxy *>(lua_touserdata(state, -1));
    bool exists = proxy != nullptr && proxy->handle == object;
    if (!exists) lua_pop(state, 1);
    return exists;
}

void PushObject(lua_State *state, Owned<REALobjectStruct> object)
{
    const Class *type = ClassOf(object.Get(), "an object for the program");
    if (type == nullptr) {
        lua_pushnil(state);
        return;
    }
    if (PushExistingProxy(state, object.Get())) return;
    Proxy *proxy = NewProxy(state, type, type);
    lua_rawgetp(state, LUA_REGISTRYINDEX, &proxiesKey);
    lua_pushvalue(state, -2);
    lua_rawsetp(state, -2, object.Get());
    lua_pop(state, 1);
    proxy->handle = object.Leave();
}

void PushString(lua_State *state, REALstringStruct *string)
{
    auto bytes = BytesOf(string);
    lua_pushlstring(state, bytes.data(), bytes.size());
}

void PushEncodedString(lua_State *state, Owned<REALstringStruct> string)
{
    NewProxy(state, &stringMetatableKey, nullptr)->handle = string.Leave();
}

ValueType ResolveType(const Host &host, const Type &type)
{
    return {type.kind, type.kind == TypeKind::Object ? host.classes.Find(type.name) : nullptr, type.name};
}

bool Accepts(lua_State *state, int index, const ValueType &type)
{
    int given = lua_type(state, index);
    switch (type.kind) {
    case TypeKind::Boolean:
        return given == LUA_TBOOLEAN;
    case TypeKind::Integer:
    case TypeKind::UInt16:
    case TypeKind::UInt32:
        return given == LUA_TNUMBER && HasInteger(state, index);
    case TypeKind::String:
        return given == LUA_TSTRING || given == LUA_TNIL || IsString(ToProxy(state, index));
    case TypeKind::Ptr:
        return given == LUA_TNIL || given == LUA_TLIGHTUSERDATA || IsLivingBlock(ToProxy(state, index));
    case TypeKind::Object:
        return given == LUA_TNIL || ToObject(state, index, type.type) != nullptr;
    case TypeKind::None:
        return false;
    }
    return false;
}

Word ToWord(lua_State *state, int index, const ValueType &type, Owned<REALstringStruct> &made)
{
    switch (type.kind) {
    case TypeKind::Boolean:
        return lua_toboolean(state, index);
    case TypeKind::Integer:
    case TypeKind::UInt16:
    case TypeKind::UInt32:
        return IntegerInRange(state, index, type);
    case TypeKind::String:
        if (lua_type(state, index) != LUA_TSTRING) break;
        made = StringOfLua(state, index);
        return reinterpret_cast<Word>(made.Get());
    case TypeKind::Ptr:
        return reinterpret_cast<Word>(PointerOf(state, index));
    case TypeKind::Object:
    case TypeKind::None:
        break;
    }
    const Proxy *proxy = ToProxy(state, index);
    return proxy != nullptr ? reinterpret_cast<Word>(proxy->handle) : 0;
}

void PushWord(lua_State *state, TypeKind kind, Word word)
{
    switch (kind) {
    case TypeKind::Boolean:
        lua_pushboolean(state, (word & 0xFF) != 0);
        break;
    case TypeKind::Integer:
        lua_pushinteger(state, word);
        break;
    case TypeKind::UInt16:
        lua_pushinteger(state, static_cast<std::uint16_t>(word));
        break;
    case TypeKind::UInt32:
        lua_pushinteger(state, static_cast<std::uint32_t>(word));
        break;
    case TypeKind::String:
        PushString(state, Owned(reinterpret_cast<REALstringStruct *>(word)).Get());
        break;
    case TypeKind::Ptr:
        PushPointer(state, reinterpret_cast<void *>(word));
        break;
    case TypeKind::Object:
        PushObject(state, Owned(reinterpret_cast<REALobjectStruct *>(word)));
        break;
    case TypeKind::None:
        lua_pushnil(state);
        break;
    }
}

std::string NameOfValue(lua_State *state, int index)
{
    if (const Proxy *proxy = ToProxy(state, index)) {
        std::string name = proxy->type != nullptr ? proxy->type->name : "string";
        return proxy->handle != nullptr || proxy->type == nullptr ? name : "released " + name;
    }
    if (lua_type(state, index) != LUA_TNUMBER) return luaL_typename(state, index);
    return HasInteger(state, index) ? "integer" : "number with a fraction";
}

void SetProxyFunctions(lua_State *state, const std::string &name)
{
    SetFunction<ReleaseProxy>(state, "__gc");
    SetFunction<ReleaseProxy>(state, "__close");
    SetFunction<ProxyToString>(state, "__tostring");
    for (const char *field : {"__name", "__metatable"}) {
        lua_pushstring(state, field);
        lua_pushlstring(state, name.data(), name.size());
        lua_rawset(state, -3);
    }
}

void OpenValues(lua_State *state)
{
    lua_newtable(state);
    lua_createtable(state, 0, 1);
    lua_pushstring(state, "__mode");
    lua_pushstring(state, "v");
    lua_rawset(state, -3);
    lua_setmetatable(state, -2);
    lua_rawsetp(state, LUA_REGISTRYINDEX, &proxiesKey);

    lua_newtable(state);
    SetProxyFunctions(state, "string with an encoding");
    lua_rawsetp(state, LUA_REGISTRYINDEX, &stringMetatableKey);
}

} // namespace host
