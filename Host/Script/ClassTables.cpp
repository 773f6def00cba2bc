#include "Host/Script/ClassTables.h"

#include "Host/Script/Members.h"

#include <map>

namespace host {
namespace {

// Sets the field of the metatable on top of the stack to a function with these two as upvalues.
template <Body body>
void SetClosure(lua_State *state, const char *field, const void *first, const void *second)
{
    lua_pushlightuserdata(state, const_cast<void *>(first));
    lua_pushlightuserdata(state, const_cast<void *>(second));
    lua_pushcclosure(state, LuaFunction<body>, 2);
    lua_setfield(state, -2, field);
}

// Fills the two tables of a class, its objects or a module: what there is to read and what to assign to.
class TableMaker {
  public:
    TableMaker(lua_State *made, std::string ownerName) : state(made), owner(std::move(ownerName))
    {
        lua_newtable(state);
        lua_newtable(state);
        readers = lua_gettop(state) - 1;
    }

    // With a class the functions take an object of it. Forms of one name become one method.
    void AddFunction(const Function &function, const Class *type)
    {
        const Declaration &declaration = function.declaration;
        auto &named = (declaration.assigns ? assignments : methods)[declaration.name];
        if (named == nullptr) {
            auto &kept = Script::Of(state).methods;
            named = &kept.emplace_back(OverloadSet{owner + "." + declaration.name, type, {}});
            if (declaration.assigns) {
                SetMember(readers + 1, declaration.name, {.assignment = named});
            } else {
                SetMethod(declaration.name, *named);
            }
        }
        named->overloads.push_back(MakeOverload(Host::Current(), function, type != nullptr));
    }

    // A property or an event.
    void AddField(const std::string &name, const Member &member)
    {
        SetMember(readers, name, member);
        SetMember(readers + 1, name, member);
    }

    void AddProperties(const std::vector<Property> &properties)
    {
        for (const Property &property : properties)
            AddField(property.name, {.property = &property});
    }

    void AddConstants(const std::vector<Constant> &constants)
    {
        for (const Constant &constant : constants) {
            if (lua_stringtonumber(state, constant.text.c_str()) == 0) PushBytes(state, constant.text);
            lua_setfield(state, readers, constant.name.c_str());
        }
    }

    // The constructor, which no longer is a method to be called; null when there is none.
    const OverloadSet *TakeConstructor()
    {
        auto found = methods.find("Constructor");
        if (found == methods.end()) return nullptr;
        lua_pushnil(state);
        lua_setfield(state, readers, "Constructor");
        return found->second;
    }

    int Readers() const { return readers; }

    // Takes the two tables off the stack and leaves a metatable that uses them, of a class or else of a module.
    void Finish(const Class *type, const Module *module)
    {
        lua_newtable(state);
        SetAccess<ReadMember>("__index", readers);
        SetAccess<AssignMember>("__newindex", readers + 1);
        SetPointer(classField, type);
        SetPointer(moduleField, module);
        SetClosure<ListMembers>(state, "__pairs", type, module);
        lua_replace(state, readers);
        lua_settop(state, readers);
    }

  private:
    void SetMember(int table, const std::string &name, const Member &member)
    {
        lua_pushlightuserdata(state, &Script::Of(state).members.emplace_back(member));
        lua_setfield(state, table, name.c_str());
    }

    void SetMethod(const std::string &name, OverloadSet &method)
    {
        lua_pushlightuserdata(state, &method);
        lua_pushcclosure(state, method.type != nullptr ? LuaFunction<CallOnObject> : LuaFunction<CallWithoutObject>, 1);
        lua_setfield(state, readers, name.c_str());
    }

    template <Body body>
    void SetAccess(const char *event, int members)
    {
        lua_pushvalue(state, members);
        PushBytes(state, owner);
        lua_pushcclosure(state, LuaFunction<body>, 2);
        lua_setfield(state, -2, event);
    }

    void SetPointer(const char *field, const void *pointer)
    {
        lua_pushlightuserdata(state, const_cast<void *>(pointer));
        lua_setfield(state, -2, field);
    }

    lua_State *state;
    std::string owner;
    int readers; // the stack index of the one table; the other is above it
    std::map<std::string, OverloadSet *> methods, assignments;
};

// The members of a class, then those of its superclasses. Operators are no methods to be called.
void AddObjectMembers(TableMaker &maker, const Class &type)
{
    for (const Class *level = &type; level != nullptr; level = level->super) {
        for (const Function &method : level->methods) {
            if (!method.declaration.name.starts_with("Operator_")) maker.AddFunction(method, &type);
        }
        maker.AddProperties(level->properties);
        for (const Event &event : level->events)
            maker.AddField(event.name, {.event = &event});
        for (const Function *function : Host::Current().classes.AllFunctions()) {
            if (SameName(function->declaration.extends, level->name)) maker.AddFunction(*function, &type);
        }
    }
}

// Makes the metatable of the objects, kept in the registry under the class. Answers the constructor.
const OverloadSet *MakeObjectTable(lua_State *state, const Class &type)
{
    TableMaker maker(state, type.name);
    AddObjectMembers(maker, type);
    const OverloadSet *constructor = maker.TakeConstructor();
    maker.Finish(&type, nullptr);
    if (type.isMemoryBlock) SetFunction<BlockLength>(state, "__len");
    SetProxyFunctions(state, type.name);
    lua_rawsetp(state, LUA_REGISTRYINDEX, &type);
    return constructor;
}

// Gives the metatable on top of the stack to a new global table.
void SetGlobalTable(lua_State *state, const std::string &name)
{
    lua_newtable(state);
    lua_insert(state, -2);
    lua_setmetatable(state, -2);
    lua_setglobal(state, name.c_str());
}

void OpenClass(lua_State *state, const Class &type)
{
    const OverloadSet *constructor = MakeObjectTable(state, type);
    TableMaker maker(state, type.name);
    for (const Function &method : type.sharedMethods)
        maker.AddFunction(method, nullptr);
    maker.AddProperties(type.sharedProperties);
    maker.AddConstants(type.constants);
    maker.Finish(&type, nullptr);

    SetClosure<Construct>(state, "__call", &type, constructor);
    SetGlobalTable(state, type.name);
}

void OpenModule(lua_State *state, const Module &module)
{
    TableMaker maker(state, module.name);
    for (const Function &function : module.functions) {
        if (function.declaration.extends.empty()) maker.AddFunction(function, nullptr);
    }
    maker.AddProperties(module.properties);
    maker.AddConstants(module.constants);
    maker.Finish(nullptr, &module);
    SetGlobalTable(state, module.name);
}

// Functions of modules are global as well.
void OpenFunctions(lua_State *state)
{
    TableMaker maker(state, "global");
    for (const Function *function : Host::Current().classes.AllFunctions()) {
        if (function->declaration.extends.empty()) maker.AddFunction(*function, nullptr);
    }
    lua_pushglobaltable(state);
    for (lua_pushnil(state); lua_next(state, maker.Readers()) != 0;) {
        lua_pushvalue(state, -2);
        lua_insert(state, -2);
        lua_rawset(state, maker.Readers() + 2);
    }
    lua_settop(state, maker.Readers() - 1);
}

} // namespace

void OpenClasses(lua_State *state)
{
    OpenValues(state);
    const Classes &classes = Host::Current().classes;
    for (const Class &type : classes.All()) {
        if (type.name != "Array") OpenClass(state, type);
    }
    for (const Module &module : classes.Modules())
        OpenModule(state, module);
    OpenFunctions(state);
}

} // namespace host
