#include "Host/Program/CommandLine.h"

#include <CLI/CLI.hpp>

namespace host {
namespace {

constexpr char description[] = R"(vynhost: a small host for the plugin.

  vynhost [OPTION]... SCRIPT [ARGUMENT...]    run a Lua program; - is the standard input
  vynhost [OPTION]... -e CODE [ARGUMENT...]   run a line of Lua
  vynhost [OPTION]...                         read lines of Lua
  vynhost [OPTION]... --describe [NAME]       print what the plugin registers)";

constexpr char statuses[] =
    "The exit status is 0 when the program ended well, no handler failed, and all it was given was given back.";

// Everything from the first word on that is no option belongs to the program.
void TakeProgram(CommandLine &line, std::vector<std::string> words)
{
    if (line.code.empty() && !words.empty()) {
        line.script = words.front();
        if (line.script.size() > 1 && line.script.starts_with("-")) {
            throw CLI::ValidationError("there is no option " + line.script);
        }
        words.erase(words.begin());
    }
    line.arguments = std::move(words);
    if (line.describes && line.HasProgram()) throw CLI::ValidationError("--describe runs no program");
}

} // namespace

CommandLine ParseCommandLine(int count, char **words)
{
    CommandLine line;
    CLI::App app(description);
    app.footer(statuses);
    app.failure_message([](const CLI::App *, const CLI::Error &error) {
        return std::string("vynhost: ") + error.what() + "; --help shows what there is\n";
    });
    app.prefix_command();
    app.set_version_flag("--version", std::string("vynhost ") + VYN_VERSION, "print the version");
    app.add_option("-e", line.code, "run this code instead of a file")->option_text("CODE");
    auto describe =
        app.add_option("--describe", line.described, "describe all that the plugin registers, or a class, or a member")
            ->option_text("[NAME]")
            ->expected(0, 1);
    app.add_option("--plugin", line.plugin, "the plugin; otherwise the one beside this program")->option_text("FILE");
    app.add_option("--host-version", line.options.version,
                   "the version that this host plays, such as 2013.04 (2021.03)")
        ->option_text("N")
        ->check(CLI::Range(0.0, 9999.99));
    app.add_option("--without", line.options.without, "a host entry to leave out; may be given several times")
        ->option_text("ENTRY")
        ->allow_extra_args(false);
    try {
        app.parse(count, words);
        line.describes = describe->count() > 0;
        TakeProgram(line, app.remaining());
    } catch (const CLI::ParseError &end) {
        line.status = app.exit(end) == 0 ? 0 : 1;
    }
    return line;
}

} // namespace host
