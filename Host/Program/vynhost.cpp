// vynhost: loads a plugin and runs a Lua program over what it registers, or describes that.
#include "Host/Program/Prompt.h"
#include "Host/Script/Lua.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <getopt.h>
#include <iostream>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr char defaultPlugin[] = "libVYNNetwork.Linux32.so.21016";

constexpr char usage[] = R"(vynhost: a small host for the plugin.

  vynhost [OPTION]... SCRIPT [ARGUMENT...]    run a Lua program; - is the standard input
  vynhost [OPTION]... -e CODE [ARGUMENT...]   run a line of Lua
  vynhost [OPTION]...                         read lines of Lua
  vynhost [OPTION]... --describe [NAME]       print what the plugin registers: all, a class, or a member

  --plugin FILE       the plugin; otherwise the one beside this program
  --host-version N    the version that this host plays, such as 2013.04 (2021.03)
  --without ENTRY     a host entry to leave out; may be given several times
  --version, --help   print that

The exit status is 0 when the program ended well, no handler failed, and all it was given was given back.
)";

constexpr option longOptions[] = {
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},
    {"describe", no_argument, nullptr, 'd'},
    {"plugin", required_argument, nullptr, 'p'},
    {"host-version", required_argument, nullptr, 'n'},
    {"without", required_argument, nullptr, 'w'},
    {},
};

struct CommandLine {
    host::Options options;
    std::string plugin;                 // empty: the one beside the program
    std::string code;                   // the program itself; empty: none was given
    std::string script;                 // a file, "-" for the standard input, or empty
    std::vector<std::string> arguments; // of the program
};

// The program gets everything from the first word that is no option.
CommandLine ParseCommandLine(int count, char **words)
{
    CommandLine line;
    bool describes = false;
    for (int found; (found = getopt_long(count, words, "+he:", longOptions, nullptr)) != -1;) {
        if (found == '?') throw std::runtime_error("--help shows what there is"); // getopt has printed what is wrong
        if (found == 'h' || found == 'v') {
            std::fputs(found == 'h' ? usage : "vynhost " VYN_VERSION "\n", stdout);
            std::exit(0);
        }
        if (found == 'd') describes = true;
        if (found == 'p') line.plugin = optarg;
        char rest;
        if (found == 'n' && std::sscanf(optarg, "%lf%c", &line.options.version, &rest) != 1)
            throw std::runtime_error(std::string("no version: ") + optarg);
        if (found == 'w') line.options.without.emplace_back(optarg);
        if (found == 'e') line.code = optarg;
    }
    line.arguments.assign(words + optind, words + count);
    if (describes) {
        if (!line.code.empty() || line.arguments.size() > 1) throw std::runtime_error("--describe runs no program");
        line.code = "host.describe(...)";
    } else if (line.code.empty() && !line.arguments.empty()) {
        line.script = line.arguments.front();
        line.arguments.erase(line.arguments.begin());
    }
    return line;
}

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

// If nobody reads the output, as in "vynhost x.lua | head", the program ends without a message.
bool OutputIsBroken()
{
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

// The signal takes its default action when this has returned.
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
    if (before.sa_handler == SIG_IGN) sigaction(SIGPIPE, &before, nullptr); // the parent process has it ignored
}

// True when the program ended well.
bool RunProgram(host::Host &host, const CommandLine &line)
{
    host::Script script(host, line.arguments);
    try {
        bool endedWell = true;
        if (!line.code.empty()) {
            script.RunLine(line.code, "=(code)");
        } else if (!line.script.empty()) {
            script.RunFile(line.script);
        } else {
            endedWell = RunPrompt(script);
        }
        return script.Finish() && endedWell;
    } catch (const host::Mistake &mistake) {
        std::cerr << "vynhost: " << mistake.what() << std::endl;
        script.waitsForEvents = false; // the mistake comes first
        script.Finish();
        return false;
    }
}

int Run(CommandLine line)
{
    line.options.ignoresBrokenPipes = false;
    host::Host host(line.options);
    LoadPlugin(host, line.plugin);
    for (const std::string &finding : host.classes.Findings())
        std::cerr << "vynhost: " << finding << std::endl;
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
        return Run(ParseCommandLine(count, words));
    } catch (const std::exception &error) {
        std::cerr << "vynhost: " << error.what() << std::endl;
        return 1;
    }
}
