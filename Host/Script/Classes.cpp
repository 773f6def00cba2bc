// What is registered, as a program sees it: a class is a table that makes objects when it is called, a module a
// table, a function a global. All of it comes from the records; the memory block alone has three members more.
//
// The tables in Lua hold, by the name of the member: a function for a method, the value of a constant, and a pointer
// to a Member for what is read or assigned through code.
#include "Host/Script/Calls.h"

#include <algorithm>
#include <map>

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

// The object that a member function was given; null when it was given a class or a module.
REALobjectStruct *SelfOf(lua_State *state)
{
    const Proxy *proxy = ToProxy(state, 1);
    if (proxy == nullptr) return nullptr;
    if (proxy->handle == nullptr) throw Mistake("this " + proxy->type->name + " is released");
    return static_cast<REALobjectStruct *>(proxy->handle);
}

// Leaves a field of the proxy's own table: its handlers, and what the program keeps there.
void PushOwnField(lua_State *state, int proxy, const std::string &name)
{
    if (lua_getiuservalue(state, proxy, 1) == LUA_TTABLE) {
        lua_pushlstring(state, name.data(), name.size());
        lua_rawget(state, -2);
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
    lua_pushlstring(state, name.data(), name.size());
    lua_pushvalue(state, 3);
    lua_rawset(state, -3);
}

// The handler runs in the thread of Lua that is running. An object whose proxy is gone has no handlers any more.
void FireInLua(Script &script, const void *object, const Event &event)
{
    lua_State *state = script.current;
    if (!lua_checkstack(state, LUA_MINSTACK)) throw std::runtime_error("there are too many events in each other");
    PushExistingProxy(state, object);
    if (lua_isnil(state, -1)) {
        lua_pop(state, 1);
        return;
    }
    PushOwnField(state, lua_gettop(state), event.name);
    lua_insert(state, -2);
    Script::Call(state, 1, 0);
}

void AssignHandler(lua_State *state, REALobjectStruct *object, const Event &event)
{
    if (!lua_isfunction(state, 3) && !lua_isnil(state, 3)) throw Mistake(MemberText(state) + " takes a function or nil");
    SetOwnField(state, event.name);
    Handler handler;
    if (lua_isfunction(state, 3)) {
        handler = [script = &Script::Of(state), &event](REALobjectStruct *fired) { FireInLua(*script, fired, event); };
    }
    Host::Current().events.SetHandler(object, event.name, std::move(handler));
}

void AssignProperty(lua_State *state, REALobjectStruct *object, const Property &property)
{
    Host &host = Host::Current();
    if (property.ReadOnly()) throw Mistake(MemberText(state) + " is read-only");
    ValueType type = ResolveType(host, property.type);
    if (!Accepts(state, 3, type)) {
        throw Mistake(MemberText(state) + " takes " + type.name + ", not " + NameOfValue(state, 3));
    }
    Argument value;
    ToArgument(state, 3, type, value);
    WriteProperty(object, property, value.word);
    host.exceptions.ThrowPending();
}

// __index; the upvalues are the members and the name of what has them.
int ReadMember(lua_State *state)
{
    REALobjectStruct *object = SelfOf(state);
    lua_pushvalue(state, 2);
    lua_rawget(state, lua_upvalueindex(1));
    if (lua_type(state, -1) == LUA_TLIGHTUSERDATA) {
        const Member &member = *static_cast<const Member *>(lua_touserdata(state, -1));
        if (member.event != nullptr) {
            PushOwnField(state, 1, member.event->name);
            return 1;
        }
        Word word = ReadProperty(object, *member.property);
        Host::Current().exceptions.ThrowPending();
        PushWord(state, member.property->type.kind, word);
        return 1;
    }
    if (!lua_isnil(state, -1)) return 1;
    if (object == nullptr || KeyText(state) != freeField) throw Mistake("there is no member " + MemberText(state));
    PushOwnField(state, 1, freeField);
    return 1;
}

// __newindex; the upvalues as above, with the members that can be assigned to.
int AssignMember(lua_State *state)
{
    REALobjectStruct *object = SelfOf(state);
    lua_pushvalue(state, 2);
    lua_rawget(state, lua_upvalueindex(1));
    auto member = static_cast<const Member *>(lua_touserdata(state, -1));
    lua_pop(state, 1);
    if (member == nullptr) {
        if (object == nullptr || KeyText(state) != freeField) {
            throw Mistake("there is no member " + MemberText(state) + " to assign to");
        }
        SetOwnField(state, freeField);
    } else if (member->property != nullptr) {
        AssignProperty(state, object, *member->property);
    } else if (member->event != nullptr) {
        AssignHandler(state, object, *member->event);
    } else {
        CallMethod(state, *member->assignment, object, 3);
    }
    return 0;
}

template <typename Pointed>
const Pointed *Upvalue(lua_State *state, int number)
{
    return static_cast<const Pointed *>(lua_touserdata(state, lua_upvalueindex(number)));
}

int CallOnObject(lua_State *state)
{
    return CallMethod(state, *Upvalue<Method>(state, 1), CheckObject(state, 1, *Upvalue<Class>(state, 2)), 2);
}

int CallWithoutObject(lua_State *state)
{
    return CallMethod(state, *Upvalue<Method>(state, 1), nullptr, 1);
}

// The upvalues are the class and its constructor, if it has one.
int Construct(lua_State *state)
{
    const Class &type = *Upvalue<Class>(state, 1);
    auto constructor = Upvalue<Method>(state, 2);
    if (constructor == nullptr && lua_gettop(state) > 1) throw Mistake(type.name + " takes no arguments");
    Owned object(NewInstance(type));
    if (object.Get() == nullptr) throw Exception{"OutOfMemoryException", "There is no memory for a " + type.name + "."};
    if (constructor != nullptr) CallMethod(state, *constructor, object.Get(), 2);
    PushObject(state, std::move(object));
    return 1;
}

// --- what memory blocks have besides ----------------------------------------------------------------------

MemoryBlockView CheckBlock(lua_State *state)
{
    auto view = ViewOf(CheckObject(state, 1, *Host::Current().classes.memoryBlock));
    if (view.size < 0) throw Mistake("the size of this memory block is not known");
    return view;
}

int BlockBytes(lua_State *state)
{
    auto view = CheckBlock(state);
    lua_pushlstring(state, reinterpret_cast<const char *>(view.data), static_cast<std::size_t>(view.size));
    return 1;
}

int BlockLength(lua_State *state)
{
    lua_pushinteger(state, CheckBlock(state).size);
    return 1;
}

int BlockByte(lua_State *state)
{
    auto view = CheckBlock(state);
    const ValueType integer{TypeKind::Integer};
    bool hasValue = lua_gettop(state) > 2;
    if (!Accepts(state, 2, integer) || (hasValue && !Accepts(state, 3, integer))) {
        throw Mistake("byte takes an offset and perhaps a value, as integers");
    }
    auto offset = lua_tointeger(state, 2), value = lua_tointeger(state, 3);
    if (offset < 0 || offset >= view.size) throw Mistake("there is no byte " + std::to_string(offset));
    if (hasValue && (value < 0 || value > UINT8_MAX)) throw Mistake(std::to_string(value) + " is no byte");
    if (hasValue) view.data[offset] = static_cast<unsigned char>(value);
    lua_pushinteger(state, view.data[offset]);
    return 1;
}

// --- making of the tables ----------------------------------------------------------------------------------

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
            named = kept.emplace_back(std::make_unique<Method>(owner + "." + declaration.name, Forms())).get();
            if (declaration.assigns) {
                SetMember(readers + 1, declaration.name, {nullptr, nullptr, named});
            } else {
                SetMethod(declaration.name, *named, type);
            }
        }
        named->forms.push_back(MakeForm(Host::Current(), function, type != nullptr));
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
    const Method *TakeConstructor()
    {
        auto found = methods.find("Constructor");
        if (found == methods.end()) return nullptr;
        SetKey(found->first);
        lua_pushnil(state);
        lua_rawset(state, readers);
        return found->second;
    }

    int Readers() const { return readers; }

    // Takes the two tables off the stack and leaves a metatable that uses them.
    void Finish()
    {
        lua_newtable(state);
        SetAccess<ReadMember>("__index", readers);
        SetAccess<AssignMember>("__newindex", readers + 1);
        lua_replace(state, readers);
        lua_settop(state, readers);
    }

  private:
    using Forms = std::vector<std::unique_ptr<Form>>;

    void SetKey(const std::string &name) { lua_pushlstring(state, name.data(), name.size()); }

    void SetMember(int table, const std::string &name, Member member)
    {
        SetKey(name);
        lua_pushlightuserdata(state, &Script::Of(state).members.emplace_back(member));
        lua_rawset(state, table);
    }

    void SetMethod(const std::string &name, Method &method, const Class *type)
    {
        SetKey(name);
        lua_pushlightuserdata(state, &method);
        lua_pushlightuserdata(state, const_cast<Class *>(type));
        lua_pushcclosure(state, type != nullptr ? LuaFunction<CallOnObject> : LuaFunction<CallWithoutObject>, 2);
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

    lua_State *state;
    std::string owner;
    int readers; // the stack index of the one table; the other stands above it
    std::map<std::string, Method *> methods, assignments;
};

// The members of a class, then those of its superclasses. Operators are no methods to be called.
void AddObjectMembers(TableMaker &maker, const Class &type)
{
    for (const Class *level = &type; level != nullptr; level = level->super) {
        for (const Function &method : level->methods) {
            if (!method.declaration.name.starts_with("Operator_")) maker.AddFunction(method, &type);
        }
        for (const Property &property : level->properties) maker.AddProperty(property);
        for (const auto &event : level->events) maker.AddEvent(*event);
        for (const Function *function : Host::Current().classes.AllFunctions()) {
            if (SameName(function->declaration.extends, level->name)) maker.AddFunction(*function, &type);
        }
    }
}

// Makes the metatable of the objects, kept in the registry under the class. Answers the constructor.
const Method *MakeObjectTable(lua_State *state, const Class &type)
{
    TableMaker maker(state, type.name);
    AddObjectMembers(maker, type);
    const Method *constructor = maker.TakeConstructor();
    if (type.isMemoryBlock) {
        lua_pushvalue(state, maker.Readers());
        SetFunction<BlockBytes>(state, "bytes");
        SetFunction<BlockByte>(state, "byte");
        lua_pop(state, 1);
    }
    maker.Finish();
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
    const Method *constructor = MakeObjectTable(state, type);
    TableMaker maker(state, type.name);
    for (const Function &method : type.sharedMethods) maker.AddFunction(method, nullptr);
    for (const Property &property : type.sharedProperties) maker.AddProperty(property);
    for (const Constant &constant : type.constants) maker.AddConstant(constant);
    maker.Finish();

    lua_pushstring(state, "__call");
    lua_pushlightuserdata(state, const_cast<Class *>(&type));
    lua_pushlightuserdata(state, const_cast<Method *>(constructor));
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
    for (const Property &property : module.properties) maker.AddProperty(property);
    for (const Constant &constant : module.constants) maker.AddConstant(constant);
    maker.Finish();
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
    for (const auto &module : classes.Modules()) OpenModule(state, *module);
    OpenFunctions(state);
}

} // namespace host
