#include "Host/Script/Lua.h"

#include "Host/Script/Members.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace host {

constexpr int stopInterval = 10000; // instructions of Lua between two looks at the flag

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
    if (results < 0) script.handlerError.reset(); // it comes to the program now
    script.current = outer;
    script.inBody = outerInBody;
    return results;
}

// False with the error on top of the stack.
bool Script::Try(lua_State *state, int arguments, int results)
{
    Script &script = Of(state);
    int function = lua_gettop(state) - arguments;
    PushLocator(state);
    lua_insert(state, function);
    bool outerInBody = std::exchange(script.inBody, false);
    int status = lua_pcall(state, arguments, results, function);
    script.inBody = outerInBody;
    lua_remove(state, function);
    return status == LUA_OK;
}

void Script::Call(lua_State *state, int arguments, int results)
{
    if (!Try(state, arguments, results)) ThrowTop(state);
}

// False with the error on top of the stack, which is kept to be shown.
bool Script::TryHandler(const std::string &event, int argumentCount)
{
    waitsForEvents = false;
    if (beforeHandler) beforeHandler();
    if (Try(current, argumentCount, 0)) return true;
    handlerError = {event, ErrorOnTop(current)};
    return false;
}

void Script::CallHandler(const std::string &event, int argumentCount)
{
    if (!TryHandler(event, argumentCount)) ThrowTop(current);
}

void Script::StopBy(volatile std::sig_atomic_t &flag)
{
    stop = &flag;
    lua_sethook(current, StopHook, LUA_MASKCOUNT, stopInterval);
}

bool Script::TakeStop()
{
    bool isSet = stop != nullptr && *stop != 0;
    if (isSet) *stop = 0;
    return isSet;
}

// Called by Lua alone, so that its error passes no frame of C++.
void Script::StopHook(lua_State *state, lua_Debug *)
{
    if (Of(state).TakeStop()) luaL_error(state, "interrupted");
}

void Script::ShowHandlerError()
{
    if (!handlerError) return;
    auto [event, error] = *std::exchange(handlerError, {});
    PushPrelude(current, "handlerFailed");
    PushBytes(current, event);
    PushException(current, error);
    lua_pushboolean(current, IsWatched());
    Call(current, 3, 1);
    isHopeless |= lua_toboolean(current, -1) != 0;
    lua_pop(current, 1);
}

void Script::EndTurn()
{
    waitsForEvents = false;
    if (SecondsOf<std::chrono::steady_clock>() >= nextTimer) {
        nextTimer = HUGE_VAL;
        PushPrelude(current, "runTimer");
        if (!TryHandler("a timer", 0)) lua_pop(current, 1);
    }
    ShowHandlerError();
    if (TakeStop()) throw Mistake("interrupted");
    if (isHopeless) throw Mistake("stopped: a handler fails again and again; host.onError can take its errors");
}

bool Script::Finish()
{
    PushPrelude(current, "finish");
    lua_pushboolean(current, waitsForEvents);
    Call(current, 1, 1);
    return lua_toboolean(current, -1) != 0;
}

// As realloc; a size of 0 releases.
void *Script::Allocate(void *data, void *block, std::size_t, std::size_t size)
{
    if (size == 0) {
        std::free(block);
        return nullptr;
    }
    void *resized = std::realloc(block, size);
    if (resized == nullptr && static_cast<Script *>(data)->inBody) {
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
    OpenValues(current);
    OpenClasses(current);
    OpenHostModule(current);
    OpenPrelude(current);
}

Script::~Script()
{
    lua_close(current);
}

int Script::PushArguments()
{
    lua_checkstack(current, static_cast<int>(arguments.size()) + LUA_MINSTACK);
    for (const std::string &argument : arguments)
        PushBytes(current, argument);
    return static_cast<int>(arguments.size());
}

// Runs the function on top of the stack, if it could be loaded, with the arguments of the program; its values are left
// there.
void Script::RunLoaded(int status)
{
    bool endedWell = status == LUA_OK && Try(current, PushArguments(), LUA_MULTRET);
    ShowHandlerError();
    if (endedWell) return;
    std::string report = ReportOfTop(current);
    lua_pop(current, 1);
    throw Mistake(report);
}

void Script::RunFile(const std::string &path)
{
    PushPrelude(current, "start");
    PushBytes(current, path);
    PushBytes(current, path != "-" ? std::filesystem::absolute(path).parent_path().string() : "");
    Call(current, 2 + PushArguments(), 0);
    RunLoaded(luaL_loadfilex(current, path != "-" ? path.c_str() : nullptr, "t"));
    lua_settop(current, 0);
}

// Leaves the function, or the text of what is wrong. A line is an expression if it can be one.
int Script::LoadLine(const std::string &line, const char *name)
{
    std::string asExpression = "return " + line;
    if (luaL_loadbuffer(current, asExpression.data(), asExpression.size(), name) == LUA_OK) return LUA_OK;
    lua_pop(current, 1);
    return luaL_loadbuffer(current, line.data(), line.size(), name);
}

void Script::RunLine(const std::string &line, const char *name)
{
    RunLoaded(LoadLine(line, name));
    int values = lua_gettop(current);
    if (values == 0) return;
    if (IsWatched()) {
        PushPrelude(current, "show");
    } else {
        lua_getglobal(current, "print");
    }
    lua_insert(current, 1);
    Call(current, values, 0);
}

bool Script::IsIncomplete(const std::string &line)
{
    bool isWrong = LoadLine(line, "=prompt") != LUA_OK;
    bool isIncomplete = isWrong && std::string_view(lua_tostring(current, -1)).ends_with("<eof>");
    lua_pop(current, 1);
    return isIncomplete;
}

} // namespace host
