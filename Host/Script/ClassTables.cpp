// What a program sees of the registered records: a class is a table that makes objects when it is called, a module is a
// table, a function is a global.
//
// The tables in Lua hold, by the name of the member: a function for a method, the value of a constant, and a pointer to
// a Member for a property or an event.
#include "Host/Script/Members.h"

#include <map>

namespace host {
namespace {

// Sets the field of the metatable on top of the stack to a function with these upvalues.
template <Body body>
void SetClosure(lua_State *state, const char *field, std::initializer_list<const void *> upvalues)
{
    for (const void *upvalue : upvalues)
        lua_pushlightuserdata(state, const_cast<void *>(upvalue));
    lua_pushcclosure(state, LuaFunction<body>, static_cast<int>(upvalues.size()));
    lua_setfield(state, -2, field);
}

// The members of a class, of its objects or of a module, by their names. With a type the functions take an object of
// it.
struct MemberTable {
    lua_State *state;
    std::string owner;
    const Class *type = nullptr;
    std::map<std::string, Member *> members{};

    Member &Named(const std::string &name)
    {
        Member *&member = members[name];
        if (member == nullptr) member = &Script::Of(state).members.emplace_back(Member{owner + "." + name, type});
        return *member;
    }

    // Methods of one name become one function.
    void AddFunction(const Function &function)
    {
        Member &member = Named(function.name);
        (function.assigns ? member.assignments : member.methods).push_back(&function);
    }

    // The properties or the events of a list.
    template <typename List>
    void Add(const List &list, const typename List::value_type *Member::*place)
    {
        for (const auto &item : list)
            Named(item.name).*place = &item;
    }

    // Sets them as fields of the table on top of the stack.
    void SetFields() const
    {
        for (const auto &[name, member] : members) {
            lua_pushlightuserdata(state, member);
            auto call = type != nullptr ? LuaFunction<CallOnObject> : LuaFunction<CallWithoutObject>;
            if (!member->methods.empty()) lua_pushcclosure(state, call, 1);
            lua_setfield(state, -2, name.c_str());
        }
    }
};

// Takes the table of members off the stack and leaves a metatable through which they are reached.
void PushMetatable(lua_State *state, const Class &type)
{
    lua_newtable(state);
    for (auto [event, function] :
         {luaL_Reg{"__index", LuaFunction<ReadMember>}, {"__newindex", LuaFunction<AssignMember>}}) {
        lua_pushvalue(state, -2);
        PushBytes(state, type.name);
        lua_pushcclosure(state, function, 2);
        lua_setfield(state, -2, event);
    }
    lua_pushlightuserdata(state, const_cast<Class *>(&type));
    lua_setfield(state, -2, classField);
    lua_remove(state, -2);
}

// Makes the metatable of the objects, kept in the registry under the class, of the members of the class and of its
// superclasses, which the table collects. Operators are no methods to be called. Answers the constructor.
const Member *MakeObjectTable(lua_State *state, const Class &type, MemberTable &table)
{
    for (const Class *level = &type; level != nullptr; level = level->super) {
        for (const Function &method : level->methods) {
            if (!method.name.starts_with("Operator_")) table.AddFunction(method);
        }
        table.Add(level->properties, &Member::property);
        table.Add(level->events, &Member::event);
        for (const Function *function : Host::Current().classes.AllFunctions()) {
            if (SameName(function->extends, level->name)) table.AddFunction(*function);
        }
    }
    auto constructor = table.members.extract("Constructor"); // no method to be called
    lua_newtable(state);
    table.SetFields();
    PushMetatable(state, type);
    if (type.isMemoryBlock) SetFunction<BlockLength>(state, "__len");
    SetProxyFunctions(state, type.name);
    lua_rawsetp(state, LUA_REGISTRYINDEX, &type);
    return constructor ? constructor.mapped() : nullptr;
}

// Makes the global table of a class or a module.
void OpenClass(lua_State *state, const Class &type)
{
    MemberTable table{state, type.name}, ofObjects{state, type.name, &type};
    const Member *constructor = type.isModule ? nullptr : MakeObjectTable(state, type, ofObjects);
    for (const Function &function : type.sharedMethods) {
        if (function.extends.empty()) table.AddFunction(function);
    }
    table.Add(type.sharedProperties, &Member::property);
    lua_newtable(state);
    lua_newtable(state);
    ofObjects.SetFields(); // for help, and for messages on their use
    table.SetFields();
    for (const Constant &constant : type.constants) {
        if (lua_stringtonumber(state, constant.value.c_str()) == 0) PushBytes(state, constant.value);
        lua_setfield(state, -2, constant.name.c_str());
    }
    PushMetatable(state, type);
    if (!type.isModule) SetClosure<Construct>(state, "__call", {&type, constructor});
    lua_setmetatable(state, -2);
    lua_setglobal(state, type.name.c_str());
}

// Functions of modules are global as well.
void OpenFunctions(lua_State *state)
{
    MemberTable table{state, "global"};
    for (const Function *function : Host::Current().classes.AllFunctions()) {
        if (function->extends.empty()) table.AddFunction(*function);
    }
    lua_pushglobaltable(state);
    table.SetFields();
    lua_pop(state, 1);
}

} // namespace

void OpenClasses(lua_State *state)
{
    for (const Class &type : Host::Current().classes.All()) {
        if (type.name != "Array" && !type.name.empty()) OpenClass(state, type);
    }
    OpenFunctions(state);
}

} // namespace host
