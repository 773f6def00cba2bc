#include "Host/Script/Values.h"

namespace host {
namespace {

constexpr char proxyMark = 0;
constexpr char proxiesKey = 0; // of the proxies of objects, by handle

// Lua doesn't see the host's memory for a proxy's object. It is told about this many bytes instead.
constexpr int kilobytesBehindProxy = 1;

// True for a number without a fraction.
bool HasInteger(lua_State *state, int number)
{
    int isInteger = 0;
    lua_tointegerx(state, number, &isInteger);
    return isInteger != 0;
}

// The living object of that class; null for anything else.
REALobjectStruct *ToObject(lua_State *state, int index, std::string_view className)
{
    const Proxy *proxy = ToProxy(state, index);
    return proxy != nullptr && proxy->type->IsA(className) ? proxy->object : nullptr;
}

bool IsLivingBlock(const Proxy *proxy)
{
    return proxy != nullptr && proxy->object != nullptr && proxy->type->isMemoryBlock;
}

Owned<REALstringStruct> StringOfLua(lua_State *state, int index)
{
    std::size_t length = 0;
    const char *bytes = lua_tolstring(state, index, &length);
    std::string_view text(bytes, length);
    return Owned(NewString(text, IsUTF8(text) ? kEncodingUTF8 : kEncodingNone));
}

Word IntegerInRange(lua_State *state, int index, const Type &type)
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
    return ViewOf(proxy->object).data;
}

Proxy &CheckProxy(lua_State *state)
{
    Proxy *proxy = ToProxy(state, 1);
    if (proxy == nullptr) throw Mistake("a proxy was expected");
    return *proxy;
}

int ReleaseProxy(lua_State *state)
{
    Owned object(std::exchange(CheckProxy(state).object, nullptr));
    if (object.Get() == nullptr) return 0; // closed before
    Release(object.Leave());
    Script::Of(state).host.exceptions.ThrowPending();
    return 0;
}

int ProxyToString(lua_State *state)
{
    const Proxy &proxy = CheckProxy(state);
    lua_pushfstring(state, "%s: %p", proxy.type->name.c_str(), static_cast<void *>(proxy.object));
    return 1;
}

} // namespace

Proxy *ToProxy(lua_State *state, int index)
{
    if (lua_rawlen(state, index) != sizeof(Proxy)) return nullptr; // as any light userdata, which points anywhere
    auto proxy = static_cast<Proxy *>(lua_touserdata(state, index));
    return proxy != nullptr && proxy->mark == &proxyMark ? proxy : nullptr;
}

REALobjectStruct *CheckObject(lua_State *state, int index, const Class &type, const std::string &method)
{
    REALobjectStruct *object = ToObject(state, index, type.name);
    if (object == nullptr) {
        throw Mistake(method + " wants a living " + type.name + ", as in object:" +
                      method.substr(method.find('.') + 1) + "(...), but found: " + NameOfValue(state, index));
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
    bool exists = proxy != nullptr && proxy->object == object;
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
    lua_gc(state, LUA_GCSTEP, kilobytesBehindProxy);
    auto proxy = static_cast<Proxy *>(lua_newuserdatauv(state, sizeof(Proxy), 1));
    *proxy = {&proxyMark, nullptr, type};
    lua_rawgetp(state, LUA_REGISTRYINDEX, type);
    lua_setmetatable(state, -2);
    lua_rawgetp(state, LUA_REGISTRYINDEX, &proxiesKey);
    lua_pushvalue(state, -2);
    lua_rawsetp(state, -2, object.Get());
    lua_pop(state, 1);
    proxy->object = object.Leave();
}

bool Accepts(lua_State *state, int index, const Type &type)
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
        return given == LUA_TSTRING || given == LUA_TNIL;
    case TypeKind::Ptr:
        return given == LUA_TNIL || given == LUA_TLIGHTUSERDATA || IsLivingBlock(ToProxy(state, index));
    case TypeKind::Object:
        return given == LUA_TNIL || ToObject(state, index, type.name) != nullptr;
    case TypeKind::None:
        break;
    }
    return false;
}

Word ToWord(lua_State *state, int index, const Type &type, Owned<REALstringStruct> &made)
{
    switch (type.kind) {
    case TypeKind::Boolean:
        return lua_toboolean(state, index);
    case TypeKind::Integer:
    case TypeKind::UInt16:
    case TypeKind::UInt32:
        return IntegerInRange(state, index, type);
    case TypeKind::String:
        if (lua_type(state, index) == LUA_TSTRING) made = StringOfLua(state, index);
        return AsWord(made.Get());
    case TypeKind::Ptr:
        return AsWord(PointerOf(state, index));
    case TypeKind::Object:
        return AsWord(ToObject(state, index, type.name));
    case TypeKind::None:
        break;
    }
    return 0;
}

void PushWord(lua_State *state, TypeKind kind, Word word)
{
    switch (kind) {
    case TypeKind::Boolean:
        return lua_pushboolean(state, (word & 0xFF) != 0);
    case TypeKind::Integer:
        return lua_pushinteger(state, word);
    case TypeKind::UInt16:
        return lua_pushinteger(state, static_cast<std::uint16_t>(word));
    case TypeKind::UInt32:
        return lua_pushinteger(state, static_cast<std::uint32_t>(word));
    case TypeKind::String:
        return PushBytes(state, BytesOf(Owned(FromWord<REALstringStruct *>(word)).Get()));
    case TypeKind::Ptr:
        return word != 0 ? lua_pushlightuserdata(state, FromWord<void *>(word)) : lua_pushnil(state);
    case TypeKind::Object:
        return PushObject(state, Owned(FromWord<REALobjectStruct *>(word)));
    case TypeKind::None:
        return lua_pushnil(state);
    }
}

std::string NameOfValue(lua_State *state, int index)
{
    if (const Proxy *proxy = ToProxy(state, index)) {
        return (proxy->object != nullptr ? "" : "released ") + proxy->type->name;
    }
    if (lua_type(state, index) != LUA_TNUMBER) return luaL_typename(state, index);
    return HasInteger(state, index) ? "integer" : "number with a fraction";
}

void SetProxyFunctions(lua_State *state, const std::string &name)
{
    SetFunction<ReleaseProxy>(state, "__gc");
    SetFunction<ReleaseProxy>(state, "__close");
    SetFunction<ProxyToString>(state, "__tostring");
    SetText(state, "__name", name);
    SetText(state, "__metatable", name);
}

void OpenValues(lua_State *state)
{
    lua_newtable(state);
    lua_newtable(state);
    SetText(state, "__mode", "v");
    lua_setmetatable(state, -2);
    lua_rawsetp(state, LUA_REGISTRYINDEX, &proxiesKey);
}

} // namespace host
