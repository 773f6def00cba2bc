#include "Host/Script/ClassTables.h"

#include "Host/Script/Members.h"

#include <map>

namespace host {
namespace {

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
                SetMember(readers + 1, declaration.name, {nullptr, nullptr, named});
            } else {
                SetMethod(declaration.name, *named);
            }
        }
        named->overloads.push_back(MakeOverload(Host::Current(), function, type != nullptr));
    }

    void AddProperty(const Property &property)
    {
        SetMember(readers, property.name, {&property, nullptr, nullptr});
        SetMember(readers + 1, property.name, {&property, nullptr, nullptr});
    }

    void AddEvent(const Event &event)
    {
        SetMember(readers, event.name, {nullptr, &event, nullptr});
        SetMember(readers + 1, event.name, {nullptr, &event, nullptr});
    }

    void AddConstant(const Constant &constant)
    {
        SetKey(constant.name);
        if (lua_stringtonumber(state, constant.text.c_str()) == 0) {
            lua_pushlstring(state, constant.text.data(), constant.text.size());
        }
        lua_rawset(state, readers);
    }

    // The constructor, which no longer is a method to be called; null when there is none.
    const OverloadSet *TakeConstructor()
    {
        auto found = methods.find("Constructor");
        if (found == methods.end()) return nullptr;
        SetKey(found->first);
        lua_pushnil(state);
        lua_rawset(state, readers);
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
        lua_pushstring(state, "__pairs");
        lua_pushlightuserdata(state, const_cast<Class *>(type));
        lua_pushlightuserdata(state, const_cast<Module *>(module));
        lua_pushcclosure(state, LuaFunction<ListMembers>, 2);
        lua_rawset(state, -3);
        lua_replace(state, readers);
        lua_settop(state, readers);
    }

  private:
    void SetKey(const std::string &name) { lua_pushlstring(state, name.data(), name.size()); }

    void SetMember(int table, const std::string &name, Member member)
    {
        SetKey(name);
        lua_pushlightuserdata(state, &Script::Of(state).members.emplace_back(member));
        lua_rawset(state, table);
    }

    void SetMethod(const std::string &name, OverloadSet &method)
    {
        SetKey(name);
        lua_pushlightuserdata(state, &method);
        auto call = method.type != nullptr ? LuaFunction<CallOnObject> : LuaFunction<CallWithoutObject>;
        lua_pushcclosure(state, call, 1);
        lua_rawset(state, readers);
    }

    template <Body body>
    void SetAccess(const char *event, int members)
    {
        lua_pushstring(state, event);
        lua_pushvalue(state, members);
        SetKey(owner);
        lua_pushcclosure(state, LuaFunction<body>, 2);
        lua_rawset(state, -3);
    }

    void SetPointer(const char *field, const void *pointer)
    {
        lua_pushstring(state, field);
        lua_pushlightuserdata(state, const_cast<void *>(pointer));
        lua_rawset(state, -3);
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
        for (const Property &property : level->properties)
            maker.AddProperty(property);
        for (const auto &event : level->events)
            maker.AddEvent(*event);
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
    if (type.isMemoryBlock) {
        lua_pushvalue(state, maker.Readers());
        SetFunction<BlockBytes>(state, "bytes");
        SetFunction<BlockByte>(state, "byte");
        lua_pop(state, 1);
    }
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
    for (const Property &property : type.sharedProperties)
        maker.AddProperty(property);
    for (const Constant &constant : type.constants)
        maker.AddConstant(constant);
    maker.Finish(&type, nullptr);

    lua_pushstring(state, "__call");
    lua_pushlightuserdata(state, const_cast<Class *>(&type));
    lua_pushlightuserdata(state, const_cast<OverloadSet *>(constructor));
    lua_pushcclosure(state, LuaFunction<Construct>, 2);
    lua_rawset(state, -3);
    SetGlobalTable(state, type.name);
}

void OpenModule(lua_State *state, const Module &module)
{
    TableMaker maker(state, module.name);
    for (const Function &function : module.functions) {
        if (function.declaration.extends.empty()) maker.AddFunction(function, nullptr);
    }
    for (const Property &property : module.properties)
        maker.AddProperty(property);
    for (const Constant &constant : module.constants)
        maker.AddConstant(constant);
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
    for (const auto &type : classes.All()) {
        if (type->name != "Array") OpenClass(state, *type);
    }
    for (const auto &module : classes.Modules())
        OpenModule(state, *module);
    OpenFunctions(state);
}

} // namespace host
