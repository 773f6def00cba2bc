// The prelude gets from here: the registered classes, the reference, and functions that Lua alone can't have.
#include "Host/Script/Members.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace host {

extern const char referencePage[], preludeText[]; // put in at build time

namespace {

constexpr char preludeKey = 0; // of what it returned, by its address in the registry

// Sets the flag in the table on top of the stack.
void SetFlag(lua_State *state, const char *field, bool value)
{
    lua_pushboolean(state, value);
    lua_setfield(state, -2, field);
}

// Takes the value off the stack and appends it to the table below.
void Append(lua_State *state)
{
    lua_rawseti(state, -2, luaL_len(state, -2) + 1);
}

template <typename Items>
void AppendMembers(lua_State *state, const char *section, const Items &items, bool areHosts = false)
{
    for (const auto &item : items) {
        lua_createtable(state, 0, 5);
        SetText(state, "section", section);
        SetText(state, "name", item.name);
        SetText(state, "text", item.text);
        if constexpr (requires { item.extends; }) SetText(state, "extends", item.extends);
        if constexpr (requires { item.record; })
            SetFlag(state, "isField", areHosts || item.record->getter.word == kStandardAccessor);
        Append(state);
    }
}

void AppendClass(lua_State *state, const Class &type)
{
    lua_createtable(state, 0, 5);
    SetText(state, "name", type.name);
    std::string super = type.super != nullptr ? type.super->name : "";
    SetText(state, "super", super);
    SetText(state, "heading",
            type.name.empty() ? "Functions outside of modules"
                              : (type.isModule ? "Module " : "Class ") + type.name +
                                    (super.empty() ? "" : ", a " + super) + (type.isOwn ? "" : type.remark));
    SetFlag(state, "isModule", type.isModule);
    SetFlag(state, "isOwn", type.isOwn);
    lua_newtable(state);
    AppendMembers(state, "Properties", type.properties, type.isOwn);
    AppendMembers(state, "Methods", type.methods);
    AppendMembers(state, "Events", type.events);
    AppendMembers(state, "Constants", type.constants);
    AppendMembers(state, type.isModule ? "Functions" : "Shared methods", type.sharedMethods);
    AppendMembers(state, type.isModule ? "Properties" : "Shared properties", type.sharedProperties);
    lua_setfield(state, -2, "members");
    Append(state);
}

// The name of a class, a module or an object's class; of a method "Class.Name", and whether it takes an object.
int NameOf(lua_State *state)
{
    if (const Proxy *proxy = ToProxy(state, 1)) {
        PushBytes(state, proxy->type->name);
    } else if (const Member *method = MethodOf(state, 1)) {
        PushBytes(state, method->name);
        lua_pushboolean(state, method->type != nullptr);
        return 2;
    } else if (lua_istable(state, 1) && lua_getmetatable(state, 1) != 0) {
        PushField(state, classField);
        auto type = static_cast<const Class *>(lua_touserdata(state, -1));
        if (type == nullptr) return 0;
        PushBytes(state, type->name);
    } else {
        return 0;
    }
    return 1;
}

constexpr luaL_Reg functions[] = {
    {"fail", LuaFunction<[](lua_State *state) -> int { throw Mistake(lua_tostring(state, 1)); }>},
    {"nameOf", LuaFunction<NameOf>},
    {"width", LuaFunction<[](lua_State *state) { return lua_pushinteger(state, TerminalWidth()), 1; }>},
    {"setTimer", LuaFunction<[](lua_State *s) { return Script::Of(s).SetTimer(lua_tonumber(s, 1)), 0; }>},
    {nullptr, nullptr},
};

} // namespace

int TerminalWidth()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void PushPrelude(lua_State *state, const char *function)
{
    lua_rawgetp(state, LUA_REGISTRYINDEX, &preludeKey);
    PushField(state, function);
    lua_remove(state, -2);
}

void OpenPrelude(lua_State *state)
{
    luaL_loadbuffer(state, preludeText, std::string_view(preludeText).size(), preludeName);
    luaL_newlib(state, functions);
    lua_newtable(state);
    for (bool areModules : {false, true}) {
        for (const Class &type : Host::Current().classes.All())
            if (type.isModule == areModules) AppendClass(state, type);
    }
    lua_setfield(state, -2, "classes");
    lua_pushstring(state, referencePage);
    Script::Call(state, 2, 1);
    lua_rawsetp(state, LUA_REGISTRYINDEX, &preludeKey);
}

} // namespace host
