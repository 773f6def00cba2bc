#include "Tests/Shared/Program.h"

#include "Source/SDK/GlueCode/PluginMain.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

// Present in a build that measures coverage: a process that ends at once has to write down what it reached.
extern "C" [[gnu::weak]] void __gcov_dump();

namespace program {

// Lua has memory whatever fails: it ends the process where it has none.
#if !defined(SANITIZED)
extern "C" void *__libc_realloc(void *block, std::size_t size);

static void *Reallocate(void *, void *block, std::size_t, std::size_t size)
{
    if (size != 0) return __libc_realloc(block, size);
    std::free(block);
    return nullptr;
}
#endif

Program::Program(const host::Options &options) : Host(options)
{
    Start(REALPluginMain);
    script = std::make_unique<host::Script>(*this, std::vector<std::string>{});
#if !defined(SANITIZED)
    lua_setallocf(script->current, Reallocate, nullptr);
#endif
}

std::string Program::Does(const char *piece)
{
    lua_State *state = script->current;
    int top = lua_gettop(state);
    std::string seen;
    try {
        // A name so short that no place in it needs memory.
        if (luaL_loadbuffer(state, piece, std::strlen(piece), "=lua") != LUA_OK) host::ThrowTop(state);
        host::Script::Call(state, 0, 1);
        if (!lua_isnil(state, -1)) seen = luaL_tolstring(state, -1, nullptr);
    } catch (const host::Exception &exception) {
        seen = exception.Text();
    } catch (const std::exception &error) {
        seen = error.what();
    }
    lua_settop(state, top);
    return seen;
}

std::string Program::End()
{
    script.reset();
    return Complaints();
}

std::vector<int> OpenDescriptors()
{
    std::vector<int> open; // and the one that is read here
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        open.push_back(std::stoi(entry.path().filename()));
    return open;
}

std::string InChild(const std::function<std::string()> &body)
{
    int channel[2];
    if (pipe(channel) != 0) return "no pipe";
    pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        alarm(60);
        std::freopen("/dev/full", "w", stderr); // no line of the log can be written
        std::string said = body();
        [[maybe_unused]] ssize_t written = write(channel[1], said.data(), said.size());
        if (__gcov_dump != nullptr) __gcov_dump();
        _exit(0);
    }
    close(channel[1]);
    std::string said;
    char buffer[4096];
    for (ssize_t count; (count = read(channel[0], buffer, sizeof buffer)) > 0;)
        said.append(buffer, static_cast<std::size_t>(count));
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) said += std::string(" killed: ") + strsignal(WTERMSIG(status));
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0) said += " ended with " + std::to_string(WEXITSTATUS(status));
    return said;
}

} // namespace program
