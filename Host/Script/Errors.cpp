#include "Host/Script/Errors.h"

#include "Host/Script/Lua.h"

#include <cstring>

namespace host {
namespace {

// The metatable of host exceptions, by its address in the registry.
constexpr char exceptionKey = 0;

constexpr char rootClass[] = "RuntimeException"; // its name is not shown

bool IsException(lua_State *state, int index)
{
    if (!lua_getmetatable(state, index)) return false;
    lua_rawgetp(state, LUA_REGISTRYINDEX, &exceptionKey);
    bool is = lua_rawequal(state, -1, -2) != 0;
    lua_pop(state, 2);
    return is;
}

// A text field of the table on top of the stack; anything else is read as the empty text.
std::string TextField(lua_State *state, const char *field)
{
    std::string text = PushField(state, field) == LUA_TSTRING ? lua_tostring(state, -1) : "";
    lua_pop(state, 1);
    return text;
}

Exception ExceptionOnTop(lua_State *state)
{
    PushField(state, "number");
    auto number = lua_tointeger(state, -1);
    lua_pop(state, 1);
    return {TextField(state, "class"), TextField(state, "message"), static_cast<long>(number),
            TextField(state, "where"), TextField(state, "traceback")};
}

// The place of the call at this level or above; empty when none of them is one of Lua. The level becomes that one's.
std::string PlaceFrom(lua_State *state, int &level)
{
    lua_Debug frame;
    for (; lua_getstack(state, level, &frame) != 0; ++level) {
        lua_getinfo(state, "Sl", &frame);
        if (frame.currentline > 0 && std::string_view(frame.source) != preludeName)
            return std::string(frame.short_src) + ":" + std::to_string(frame.currentline);
    }
    return "";
}

std::string PlaceOf(lua_State *state)
{
    int level = 0;
    return PlaceFrom(state, level);
}

// Splits the place off a text that begins with one of those that led here; false when it has none.
bool TakePlace(lua_State *state, Exception &error)
{
    int level = 1;
    for (std::string place = PlaceFrom(state, level); !place.empty(); place = PlaceFrom(state, ++level)) {
        if (!error.message.starts_with(place + ": ")) continue;
        error.where = place;
        error.message.erase(0, place.size() + 2);
        return true;
    }
    return false;
}

// Runs where the error was raised: makes an exception of it that tells the place and the way there.
int Locate(lua_State *state)
{
    lua_settop(state, 1);
    bool isSpoken = false;
    if (!IsException(state, 1)) {
        Exception error = ErrorOnTop(state);
        isSpoken = !TakePlace(state, error);
        PushPrelude(state, "hint");
        PushBytes(state, error.message);
        Script::Call(state, 1, 1);
        error.message += lua_tostring(state, -1);
        PushException(state, error);
    }
    if (!TextField(state, "traceback").empty()) return 1;
    luaL_traceback(state, state, nullptr, 1);
    lua_pushstring(state, "traceback");
    lua_insert(state, -2);
    lua_rawset(state, -3); // raw: the program may have changed the table
    if (isSpoken) SetText(state, "spoken", "yes");
    return 1;
}

int ExceptionToString(lua_State *state)
{
    lua_settop(state, 1);
    if (!lua_istable(state, 1)) throw Mistake("an exception was expected");
    PushBytes(state, TextOf(ExceptionOnTop(state)));
    return 1;
}

} // namespace

void PushException(lua_State *state, const Exception &exception)
{
    lua_createtable(state, 0, 5);
    SetText(state, "class", exception.className);
    SetText(state, "message", exception.message);
    SetText(state, "where", exception.where.empty() ? PlaceOf(state) : exception.where);
    SetText(state, "traceback", exception.traceback);
    lua_pushinteger(state, exception.number);
    lua_setfield(state, -2, "number");
    lua_rawgetp(state, LUA_REGISTRYINDEX, &exceptionKey);
    lua_setmetatable(state, -2);
}

void PushMistake(lua_State *state, const char *text)
{
    std::string located = PlaceOf(state);
    PushBytes(state, located + (located.empty() ? "" : ": ") + text);
}

Exception ErrorOnTop(lua_State *state)
{
    if (IsException(state, -1)) return ExceptionOnTop(state);
    if (lua_type(state, -1) == LUA_TSTRING) return {rootClass, lua_tostring(state, -1)};
    return {rootClass, std::string("an error that is of the type ") + luaL_typename(state, -1)};
}

void ThrowTop(lua_State *state)
{
    Exception exception = ErrorOnTop(state);
    lua_pop(state, 1);
    if (exception.className == standardClass) throw std::runtime_error(exception.message);
    throw exception;
}

std::string TextOf(const Exception &exception)
{
    std::string text = exception.where.empty() ? "" : exception.where + ": ";
    return text + (exception.className == rootClass ? exception.message : exception.Text());
}

std::string ReportOfTop(lua_State *state)
{
    Exception error = ErrorOnTop(state);
    if (IsException(state, -1) && !TextField(state, "spoken").empty()) return error.message;
    return TextOf(error) + (error.traceback.empty() ? "" : "\n") + error.traceback;
}

std::string ErrorText(int number)
{
    if (number <= 0)
        return number == 0
                   ? "success"
                   : "no system call failed: there is no socket, or an argument was refused; VYNDEBUG=1 shows which";
    const char *name = strerrorname_np(number);
    return (name != nullptr ? name : std::to_string(number)) + std::string(": ") + std::strerror(number);
}

void PushLocator(lua_State *state)
{
    lua_pushcfunction(state, LuaFunction<Locate>);
}

void OpenErrors(lua_State *state)
{
    lua_newtable(state);
    SetText(state, "__name", "exception");
    SetFunction<ExceptionToString>(state, "__tostring");
    lua_rawsetp(state, LUA_REGISTRYINDEX, &exceptionKey);
}

} // namespace host
