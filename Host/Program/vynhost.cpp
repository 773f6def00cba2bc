// vynhost: loads a plugin and runs a Lua program over what it registers, or describes that.
#include "Host/Program/CommandLine.h"
#include "Host/Program/Prompt.h"
#include "Host/Script/Describe.h"
#include "Host/Script/Lua.h"

#include <csignal>
#include <dlfcn.h>
#include <filesystem>
#include <iostream>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr char defaultPlugin[] = "libVYNNetwork.Linux32.so.21016";

// The plugin stays loaded: the host keeps its records.
void LoadPlugin(host::Host &host, std::string path)
{
    if (path.empty()) path = std::filesystem::read_symlink("/proc/self/exe").parent_path() / defaultPlugin;
    if (path.find('/') == std::string::npos) path.insert(0, "./");
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(std::string("the plugin can't be loaded: ") + dlerror());
    void *start = dlsym(library, "REALPluginMain");
    if (start == nullptr) throw std::runtime_error(path + " is not a plugin: it has no REALPluginMain");
    host.Start(reinterpret_cast<void (*)(host::Resolver)>(start));
}

constexpr char told[] =
    "vynhost: SIGPIPE: the program sent on a stream whose peer has gone, which ends it. With Flags 16384\n"
    "(MSG_NOSIGNAL) the send fails with Lasterror 32 (EPIPE) instead; SendMessage on a stream has no flags.\n";

// A program whose output nobody reads, as in "vynhost x.lua | head", ends without a word.
bool OutputIsBroken()
{
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

// The signal's own way is taken when this has returned.
void Tell(int signal)
{
    if (!OutputIsBroken()) {
        [[maybe_unused]] auto written = write(STDERR_FILENO, told, sizeof told - 1);
    }
    raise(signal);
}

void TellOfBrokenPipes()
{
    struct sigaction action {};
    action.sa_handler = Tell;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    struct sigaction before {};
    sigaction(SIGPIPE, &action, &before);
    if (before.sa_handler == SIG_IGN) sigaction(SIGPIPE, &before, nullptr); // by whoever started the program
}

// True when the program ended well.
bool RunProgram(host::Host &host, const host::CommandLine &line)
{
    host::Script script(host, line.arguments);
    try {
        if (!line.HasProgram()) return RunPrompt(script) && !script.HandlersFailed();
        if (line.code.empty()) {
            script.RunFile(line.script);
        } else {
            script.RunLine(line.code, "=(code)");
        }
        return !script.HandlersFailed();
    } catch (const host::Mistake &mistake) {
        std::cerr << "vynhost: " << mistake.what() << std::endl;
        return false;
    }
}

int Run(host::CommandLine line)
{
    if (line.status) return *line.status;
    line.options.ignoresBrokenPipes = false;
    host::Host host(line.options);
    LoadPlugin(host, line.plugin);
    for (const std::string &finding : host.classes.Findings())
        std::cerr << "vynhost: " << finding << std::endl;
    if (line.describes) {
        std::cout << host::Describe(line.described);
        return 0;
    }
    TellOfBrokenPipes();
    bool endedWell = RunProgram(host, line);
    std::string complaints = host.Complaints();
    if (!complaints.empty()) std::cerr << "vynhost: not everything was given back in order\n" << complaints;
    return endedWell && complaints.empty() ? 0 : 1;
}

} // namespace

int main(int count, char **words)
{
    try {
        return Run(host::ParseCommandLine(count, words));
    } catch (const std::exception &error) {
        std::cerr << "vynhost: " << error.what() << std::endl;
        return 1;
    }
}
