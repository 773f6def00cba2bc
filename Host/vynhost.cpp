// vynhost: loads a plugin and runs a Lua program over what it registers, or describes that.
#include "Host/Script/Describe.h"
#include "Host/Script/Lua.h"

#include <charconv>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace {

constexpr char defaultPlugin[] = "libVYNNetwork.Linux32.so.21016";

constexpr char help[] = R"(vynhost: a small host for the plugin.

  vynhost [OPTION]... SCRIPT [ARGUMENT...]   run a Lua program
  vynhost [OPTION]...                        read lines of Lua
  vynhost [OPTION]... --describe             print what the plugin registers

  --plugin FILE      the plugin to load; otherwise the one beside this program
  --host-version N   the version that this host plays, such as 2013.04 (default 2021.03)
  --without ENTRY    a host entry to leave out; may be given several times
  --markdown         describe in Markdown
  --help             this text

The exit status is 0 when the program ended well and gave back everything it was given.
)";

struct CommandLine {
    host::Options options;
    std::string plugin;
    bool help = false;
    bool describe = false;
    bool markdown = false;
    std::string script; // empty: the prompt
    std::vector<std::string> arguments;
};

// What is wrong with the command line or the plugin.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

double ParseVersion(const std::string &text)
{
    double version = 0;
    auto end = text.data() + text.size();
    auto [stopped, error] = std::from_chars(text.data(), end, version);
    if (error != std::errc() || stopped != end || !(version >= 0 && version < 10000)) {
        throw Refusal("this is no host version: " + text);
    }
    return version;
}

CommandLine ParseCommandLine(std::vector<std::string> words)
{
    CommandLine line;
    auto word = words.begin();
    auto value = [&] {
        if (word + 1 == words.end()) throw Refusal(*word + " needs a value");
        return *++word;
    };
    for (; word != words.end() && word->starts_with("-"); ++word) {
        if (*word == "--plugin")
            line.plugin = value();
        else if (*word == "--host-version")
            line.options.version = ParseVersion(value());
        else if (*word == "--without")
            line.options.without.push_back(value());
        else if (*word == "--describe")
            line.describe = true;
        else if (*word == "--markdown")
            line.markdown = true;
        else if (*word == "--help")
            line.help = true;
        else
            throw Refusal("unknown option " + *word + "; --help shows those there are");
    }
    if (word != words.end()) line.script = *word++;
    line.arguments.assign(word, words.end());
    if (line.describe && !line.script.empty()) throw Refusal("--describe runs no program");
    if (line.markdown && !line.describe) throw Refusal("--markdown goes with --describe");
    return line;
}

// The plugin stays loaded: the host keeps its records.
void LoadPlugin(host::Host &host, std::string path)
{
    if (path.empty()) path = std::filesystem::read_symlink("/proc/self/exe").parent_path() / defaultPlugin;
    if (path.find('/') == std::string::npos) path.insert(0, "./");
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw Refusal(std::string("the plugin can't be loaded: ") + dlerror());
    void *start = dlsym(library, "REALPluginMain");
    if (start == nullptr) throw Refusal(path + " is no plugin: it has no REALPluginMain");
    host.Start(reinterpret_cast<void (*)(host::Resolver)>(start));
}

void RunPrompt(host::Script &script)
{
    bool isTerminal = isatty(STDIN_FILENO) != 0;
    std::string pending;
    for (std::string line;;) {
        if (isTerminal) std::cout << (pending.empty() ? "> " : ">> ") << std::flush;
        if (!std::getline(std::cin, line) || (pending.empty() && line == "exit")) return;
        pending += (pending.empty() ? "" : "\n") + line;
        if (script.IsIncomplete(pending)) continue;
        try {
            script.RunLine(std::exchange(pending, ""));
        } catch (const host::Mistake &mistake) {
            std::cerr << mistake.what() << std::endl;
        }
    }
}

// True when the program ended well.
bool RunScript(host::Host &host, const CommandLine &line)
{
    host::Script script(host, line.arguments);
    try {
        if (line.script.empty()) {
            RunPrompt(script);
        } else {
            script.RunFile(line.script);
        }
        return true;
    } catch (const host::Mistake &mistake) {
        std::cerr << "vynhost: " << mistake.what() << std::endl;
        return false;
    }
}

int Run(const CommandLine &line)
{
    if (line.help) {
        std::cout << help;
        return 0;
    }
    host::Host host(line.options);
    LoadPlugin(host, line.plugin);
    if (line.describe) {
        std::cout << Describe(host, line.markdown);
        return 0;
    }
    bool endedWell = RunScript(host, line);
    std::string complaints = host.Complaints();
    if (!complaints.empty()) std::cerr << "vynhost: not everything was given back in order\n" << complaints;
    return endedWell && complaints.empty() ? 0 : 1;
}

} // namespace

int main(int count, char **words)
{
    try {
        return Run(ParseCommandLine({words + 1, words + count}));
    } catch (const std::exception &error) {
        std::cerr << "vynhost: " << error.what() << std::endl;
        return 1;
    }
}
