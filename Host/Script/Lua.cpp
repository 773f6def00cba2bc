#include "Host/Script/Lua.h"

#include "Host/Script/Calls.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace host {
namespace {

// The metatable of host exceptions, by its address in the registry.
constexpr char exceptionKey = 0;

constexpr char standardClass[] = "std::exception";

void SetText(lua_State *state, const char *field, const std::string &text)
{
    lua_pushstring(state, field);
    lua_pushlstring(state, text.data(), text.size());
    lua_rawset(state, -3);
}

void PushException(lua_State *state, const Exception &exception)
{
    lua_createtable(state, 0, 3);
    SetText(state, "class", exception.className);
    SetText(state, "message", exception.message);
    lua_pushstring(state, "number");
    lua_pushinteger(state, exception.number);
    lua_rawset(state, -3);
    lua_rawgetp(state, LUA_REGISTRYINDEX, &exceptionKey);
    lua_setmetatable(state, -2);
}

void PushMistake(lua_State *state, const char *text)
{
    luaL_where(state, 1);
    lua_pushstring(state, text);
    std::string located = std::string(lua_tostring(state, -2)) + lua_tostring(state, -1);
    lua_pop(state, 2);
    lua_pushlstring(state, located.data(), located.size());
}

bool IsException(lua_State *state, int index)
{
    if (!lua_getmetatable(state, index)) return false;
    lua_rawgetp(state, LUA_REGISTRYINDEX, &exceptionKey);
    bool is = lua_rawequal(state, -1, -2) != 0;
    lua_pop(state, 2);
    return is;
}

// A text field of the table on top of the stack; what is no text is read as none.
std::string TextField(lua_State *state, const char *field)
{
    lua_pushstring(state, field);
    lua_rawget(state, -2);
    std::string text = lua_type(state, -1) == LUA_TSTRING ? lua_tostring(state, -1) : "";
    lua_pop(state, 1);
    return text;
}

Exception ExceptionOnTop(lua_State *state)
{
    lua_pushstring(state, "number");
    lua_rawget(state, -2);
    auto number = lua_tointeger(state, -1);
    lua_pop(state, 1);
    return {TextField(state, "class"), TextField(state, "message"), static_cast<long>(number)};
}

// Takes the error off the stack and throws it.
[[noreturn]] void ThrowTop(lua_State *state)
{
    Exception exception{"RuntimeException", TextOfTop(state)};
    if (IsException(state, -1)) exception = ExceptionOnTop(state);
    lua_pop(state, 1);
    if (exception.className == standardClass) throw std::runtime_error(exception.message);
    throw exception;
}

int ExceptionToString(lua_State *state)
{
    lua_settop(state, 1);
    if (!lua_istable(state, 1)) throw Mistake("an exception was expected");
    auto text = ExceptionOnTop(state).Text();
    lua_pushlstring(state, text.data(), text.size());
    return 1;
}

// What reaches the end of a program is shown as text, with the way there.
int AddTraceback(lua_State *state)
{
    std::string text = TextOfTop(state);
    luaL_traceback(state, state, text.c_str(), 1);
    return 1;
}

} // namespace

std::string TextOfTop(lua_State *state)
{
    if (IsException(state, -1)) return ExceptionOnTop(state).Text();
    if (lua_type(state, -1) == LUA_TSTRING) return lua_tostring(state, -1);
    return std::string("an error that is a ") + luaL_typename(state, -1);
}

int RunBody(lua_State *state, Body body)
{
    Script &script = Script::Of(state);
    lua_State *outer = std::exchange(script.current, state);
    bool outerInBody = std::exchange(script.inBody, true);
    int results = -1;
    try {
        results = body(state);
    } catch (const Exception &exception) {
        PushException(state, exception);
    } catch (const Mistake &mistake) {
        PushMistake(state, mistake.what());
    } catch (const std::exception &exception) {
        PushException(state, {standardClass, exception.what()});
    } catch (...) {
        PushException(state, {standardClass, "an exception of an unknown type"});
    }
    script.current = outer;
    script.inBody = outerInBody;
    return results;
}

void Script::Call(lua_State *state, int arguments, int results)
{
    Script &script = Of(state);
    bool outerInBody = std::exchange(script.inBody, false);
    int status = lua_pcall(state, arguments, results, 0);
    script.inBody = outerInBody;
    if (status != LUA_OK) ThrowTop(state);
}

void *Script::Allocate(void *data, void *block, std::size_t oldSize, std::size_t size)
{
    auto script = static_cast<Script *>(data);
    void *resized = script->blocks.Resize(block, oldSize, size);
    if (resized == nullptr && size != 0 && script->inBody) {
        std::fputs("out of memory\n", stderr);
        std::_Exit(1);
    }
    return resized;
}

Script::Script(Host &runtime, const std::vector<std::string> &words) : host(runtime), arguments(words)
{
    current = lua_newstate(Allocate, this);
    *static_cast<Script **>(lua_getextraspace(current)) = this;
    luaL_openlibs(current);
    lua_gc(current, LUA_GCGEN, 0, 0); // as Lua's own program: what a program receives mostly dies young
    lua_warning(current, "@on", 0);   // an exception in a destructor that the collector runs
    OpenErrors(current);
    OpenClasses(current);
    OpenHostModule(current);
}

Script::~Script()
{
    lua_close(current);
}

void Script::Load(int status)
{
    if (status == LUA_OK) return;
    std::string text = lua_tostring(current, -1);
    lua_pop(current, 1);
    throw Mistake(text);
}

// Runs the function on top of the stack with the arguments of the program; its values are left there.
void Script::RunLoaded()
{
    int function = lua_gettop(current);
    lua_pushcfunction(current, LuaFunction<AddTraceback>);
    lua_insert(current, function);
    for (const std::string &argument : arguments)
        lua_pushlstring(current, argument.data(), argument.size());
    inBody = false;
    int status = lua_pcall(current, static_cast<int>(arguments.size()), LUA_MULTRET, function);
    inBody = true;
    lua_remove(current, function);
    Load(status);
}

void Script::RunFile(const std::string &path)
{
    Load(luaL_loadfilex(current, path.c_str(), "t"));
    RunLoaded();
    lua_settop(current, 0);
}

void Script::RunLine(const std::string &line)
{
    std::string asExpression = "return " + line;
    if (luaL_loadbuffer(current, asExpression.data(), asExpression.size(), "=prompt") != LUA_OK) {
        lua_pop(current, 1);
        Load(luaL_loadbuffer(current, line.data(), line.size(), "=prompt"));
    }
    RunLoaded();
    int values = lua_gettop(current);
    if (values == 0) return;
    lua_getglobal(current, "print");
    lua_insert(current, 1);
    inBody = false;
    int status = lua_pcall(current, values, 0, 0);
    inBody = true;
    Load(status);
}

bool Script::IsIncomplete(const std::string &line)
{
    if (luaL_loadbuffer(current, line.data(), line.size(), "=prompt") == LUA_OK) {
        lua_pop(current, 1);
        return false;
    }
    std::string text = lua_tostring(current, -1);
    lua_pop(current, 1);
    return text.ends_with("<eof>");
}

void OpenErrors(lua_State *state)
{
    lua_newtable(state);
    SetText(state, "__name", "exception");
    SetFunction<ExceptionToString>(state, "__tostring");
    lua_rawsetp(state, LUA_REGISTRYINDEX, &exceptionKey);
}

} // namespace host
