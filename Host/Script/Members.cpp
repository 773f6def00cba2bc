#include "Host/Script/Members.h"

#include <cerrno>

namespace host {
namespace {

// The one field that programs may use on any object for what they like.
constexpr char freeField[] = "tag";

std::string KeyText(lua_State *state)
{
    return lua_type(state, 2) == LUA_TSTRING ? lua_tostring(state, 2) : NameOfValue(state, 2);
}

// The member that is read or assigned, with what it belongs to.
std::string MemberText(lua_State *state)
{
    return std::string(lua_tostring(state, lua_upvalueindex(2))) + "." + KeyText(state);
}

// There is no such member to read or assign. The prelude makes the message, with the name that may have been meant.
[[noreturn]] void Refuse(lua_State *state, bool assigns)
{
    PushPrelude(state, "explain");
    lua_pushvalue(state, lua_upvalueindex(2));
    PushBytes(state, KeyText(state));
    lua_pushboolean(state, assigns);
    Script::Call(state, 3, 1);
    throw Mistake(lua_tostring(state, -1));
}

// The object that a member function was given; null when it was given a class or a module.
REALobjectStruct *SelfOf(lua_State *state)
{
    const Proxy *proxy = ToProxy(state, 1);
    if (proxy == nullptr) return nullptr;
    if (proxy->object == nullptr) throw Mistake("this " + proxy->type->name + " is released");
    return proxy->object;
}

// Leaves a field of the proxy's own table: its handlers, and what the program keeps there.
void PushOwnField(lua_State *state, int proxy, const std::string &name)
{
    if (lua_getiuservalue(state, proxy, 1) == LUA_TTABLE) {
        PushField(state, name);
        lua_remove(state, -2);
    }
}

// Sets that field to the value at index 3.
void SetOwnField(lua_State *state, const std::string &name)
{
    if (lua_getiuservalue(state, 1, 1) != LUA_TTABLE) {
        lua_pop(state, 1);
        lua_newtable(state);
        lua_pushvalue(state, -1);
        lua_setiuservalue(state, 1, 1);
    }
    lua_pushvalue(state, 3);
    lua_setfield(state, -2, name.c_str());
}

// The handler runs in the thread of Lua that is running. An object whose proxy is gone no longer has handlers.
void FireInLua(Script &script, const REALobjectStruct *object, const Event &event)
{
    lua_State *state = script.current;
    if (!lua_checkstack(state, LUA_MINSTACK)) throw std::runtime_error("handlers are nested too deeply");
    script.ShowHandlerError(); // of another object
    if (!PushExistingProxy(state, object)) return;
    std::string name = NameOfValue(state, -1) + "." + event.name;
    PushOwnField(state, lua_gettop(state), event.name);
    lua_insert(state, -2);
    script.CallHandler(name, 1);
}

void AssignHandler(lua_State *state, REALobjectStruct *object, const Event &event)
{
    if (!lua_isfunction(state, 3) && !lua_isnil(state, 3))
        throw Mistake(MemberText(state) + " takes a function or nil");
    SetOwnField(state, event.name);
    Handler handler;
    if (lua_isfunction(state, 3)) {
        Script::Of(state).waitsForEvents = true;
        handler = [script = &Script::Of(state), &event](REALobjectStruct *fired) { FireInLua(*script, fired, event); };
    }
    Host::Current().events.SetHandler(object, event.name, std::move(handler));
}

void AssignProperty(lua_State *state, REALobjectStruct *object, const Property &property)
{
    Host &host = Host::Current();
    if (property.ReadOnly()) throw Mistake(MemberText(state) + " is read-only");
    if (!Accepts(state, 3, property.type)) {
        throw Mistake(MemberText(state) + " takes " + property.type.name + ", not " + NameOfValue(state, 3));
    }
    Owned<REALstringStruct> made;
    WriteProperty(object, property, ToWord(state, 3, property.type, made));
    host.exceptions.ThrowPending();
}

void PushProperty(lua_State *state, REALobjectStruct *object, const Property &property)
{
    Word word = ReadProperty(object, property);
    Host::Current().exceptions.ThrowPending();
    PushWord(state, property.type.kind, word);
}

template <typename Pointed>
const Pointed *Upvalue(lua_State *state, int number)
{
    return static_cast<const Pointed *>(lua_touserdata(state, lua_upvalueindex(number)));
}

} // namespace

int ReadMember(lua_State *state)
{
    lua_pushvalue(state, 2);
    int found = lua_rawget(state, lua_upvalueindex(1));
    if (found == LUA_TFUNCTION) return 1; // looks at its object itself
    REALobjectStruct *object = SelfOf(state);
    if (found != LUA_TLIGHTUSERDATA && found != LUA_TNIL) return 1; // a constant
    auto member = static_cast<const Member *>(lua_touserdata(state, -1));
    if (object == nullptr && member != nullptr && member->type != nullptr) Refuse(state, false);
    if (member != nullptr && member->property != nullptr) {
        PushProperty(state, object, *member->property);
    } else if (member != nullptr && member->event != nullptr) {
        PushOwnField(state, 1, member->event->name);
    } else if (object != nullptr && KeyText(state) == freeField) {
        PushOwnField(state, 1, freeField);
    } else {
        Refuse(state, false);
    }
    return 1;
}

int AssignMember(lua_State *state)
{
    REALobjectStruct *object = SelfOf(state);
    lua_pushvalue(state, 2);
    lua_rawget(state, lua_upvalueindex(1));
    auto member = static_cast<const Member *>(lua_touserdata(state, -1));
    if (member == nullptr) member = MethodOf(state, -1);
    lua_pop(state, 1);
    if (object == nullptr && member != nullptr && member->type != nullptr) Refuse(state, true);
    if (member != nullptr && member->property != nullptr) {
        AssignProperty(state, object, *member->property);
    } else if (member != nullptr && member->event != nullptr) {
        AssignHandler(state, object, *member->event);
    } else if (member != nullptr && !member->assignments.empty()) {
        CallFunction(state, *member, member->assignments, object, 3);
    } else if (object != nullptr && KeyText(state) == freeField) {
        SetOwnField(state, freeField);
    } else {
        Refuse(state, true);
    }
    return 0;
}

int CallOnObject(lua_State *state)
{
    const Member &member = *Upvalue<Member>(state, 1);
    if (member.name.ends_with(".Poll")) Script::Of(state).waitsForEvents = false;
    return CallFunction(state, member, member.methods, CheckObject(state, 1, *member.type, member.name), 2);
}

int CallWithoutObject(lua_State *state)
{
    const Member &member = *Upvalue<Member>(state, 1);
    return CallFunction(state, member, member.methods, nullptr, 1);
}

const Member *MethodOf(lua_State *state, int index)
{
    lua_CFunction function = lua_tocfunction(state, index);
    if (function != LuaFunction<CallOnObject> && function != LuaFunction<CallWithoutObject>) return nullptr;
    lua_getupvalue(state, index, 1);
    auto member = static_cast<const Member *>(lua_touserdata(state, -1));
    lua_pop(state, 1);
    return member;
}

int Construct(lua_State *state)
{
    const Class &type = *Upvalue<Class>(state, 1);
    auto constructor = Upvalue<Member>(state, 2);
    if (constructor == nullptr && lua_gettop(state) > 1) throw Mistake(type.name + " takes no arguments");
    Owned object(NewInstance(type));
    if (object.Get() == nullptr) throw Exception{"OutOfMemoryException", "There is no memory for a " + type.name + "."};
    errno = 0;
    try {
        if (constructor != nullptr) CallFunction(state, *constructor, constructor->methods, object.Get(), 2);
    } catch (Exception &failure) {
        // The library's messages don't have the system's number and text.
        if (int reason = errno; reason != 0)
            failure.message += " (" + ErrorText(reason) + (reason == EPERM ? "; root or CAP_NET_RAW is needed)" : ")");
        throw;
    }
    PushObject(state, std::move(object));
    return 1;
}

int BlockLength(lua_State *state)
{
    const Class &type = *Host::Current().classes.memoryBlock;
    lua_pushinteger(state, ViewOf(CheckObject(state, 1, type, "MemoryBlock.Size")).size);
    return 1;
}

} // namespace host
