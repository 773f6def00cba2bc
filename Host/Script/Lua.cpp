#include "Host/Script/Lua.h"

#include "Host/Script/Calls.h"

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

void Script::CallHandler(const std::string &event, int argumentCount)
{
    if (beforeHandler) beforeHandler();
    if (Try(current, argumentCount, 0)) return;
    handlerError = {event, ErrorOnTop(current)};
    ThrowTop(current);
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
    PushErrorHandler(current);
    if (lua_isfunction(current, -1)) {
        PushException(current, error);
        Call(current, 1, 0);
        return;
    }
    lua_pop(current, 1);
    std::fflush(stdout);
    std::fprintf(stderr, "vynhost: error in %s: %s\n%s\n", event.c_str(), TextOf(error).c_str(),
                 error.traceback.c_str());
    handlersFailed = true;
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
    OpenHelp(current);
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
    lua_checkstack(current, static_cast<int>(arguments.size()) + LUA_MINSTACK);
    for (const std::string &argument : arguments)
        PushBytes(current, argument);
    bool endedWell = Try(current, static_cast<int>(arguments.size()), LUA_MULTRET);
    ShowHandlerError();
    if (endedWell) return;
    std::string report = ReportOfTop(current);
    lua_pop(current, 1);
    throw Mistake(report);
}

// The global "arg", as Lua's own program sets it: the program's name, then its arguments.
void Script::SetArguments(const std::string &name)
{
    lua_createtable(current, static_cast<int>(arguments.size()), 1);
    PushBytes(current, name);
    lua_rawseti(current, -2, 0);
    for (std::size_t i = 0; i < arguments.size(); i++) {
        PushBytes(current, arguments[i]);
        lua_rawseti(current, -2, static_cast<lua_Integer>(i) + 1);
    }
    lua_setglobal(current, "arg");
}

void Script::RunFile(const std::string &path)
{
    SetArguments(path);
    if (path != "-") RequireFrom(std::filesystem::absolute(path).parent_path());
    Load(luaL_loadfilex(current, path != "-" ? path.c_str() : nullptr, "t"));
    RunLoaded();
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
    Load(LoadLine(line, name));
    RunLoaded();
    int values = lua_gettop(current);
    if (values == 0) return;
    lua_getglobal(current, "print");
    lua_insert(current, 1);
    Call(current, values, 0);
}

// "require" looks into this folder first.
void Script::RequireFrom(const std::string &folder)
{
    lua_getglobal(current, LUA_LOADLIBNAME);
    PushField(current, "path");
    std::string path = folder + "/?.lua;" + folder + "/?/init.lua;" + lua_tostring(current, -1);
    lua_pop(current, 1);
    SetText(current, "path", path);
    lua_pop(current, 1);
}

bool Script::IsIncomplete(const std::string &line)
{
    bool isWrong = LoadLine(line, "=prompt") != LUA_OK;
    bool isIncomplete = isWrong && std::string_view(lua_tostring(current, -1)).ends_with("<eof>");
    lua_pop(current, 1);
    return isIncomplete;
}

} // namespace host
