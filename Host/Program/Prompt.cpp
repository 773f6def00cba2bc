#include "Host/Program/Prompt.h"

#include "Host/Program/LineEditor.h"

#include <iostream>
#include <unistd.h>

namespace host {
namespace {

constexpr char greeting[] =
    "vynhost " VYN_VERSION " with the plugin loaded. Lines of Lua are run, their values printed.\n"
    "help() tells what there is, Tab completes names, \"exit\" or Ctrl-D leaves.\n";

class Lines {
  public:
    explicit Lines(Script &user) : script(user) {}

    // False when the line ends the prompt.
    bool Take(const std::string &line)
    {
        if (pending.empty() && line == "exit") return false;
        pending += (pending.empty() ? "" : "\n") + line;
        if (script.IsIncomplete(pending)) return true;
        try {
            script.RunLine(std::exchange(pending, ""));
        } catch (const Mistake &mistake) {
            Fail(mistake.what());
        }
        return true;
    }

    void Drop() { pending.clear(); }

    // True when all of them went well.
    bool End()
    {
        if (!pending.empty()) Fail("the input ends in the middle of something: " + pending);
        return wentWell;
    }

    const char *Prompt() const { return pending.empty() ? "> " : ">> "; }

  private:
    void Fail(const std::string &text)
    {
        std::cout << std::flush;
        std::cerr << text << std::endl;
        wentWell = false;
    }

    Script &script;
    std::string pending;
    bool wentWell = true;
};

void RunTerminal(Script &script, Lines &lines)
{
    std::cout << greeting << std::flush;
    LineEditor editor(script);
    for (;;) {
        auto line = editor.Read(lines.Prompt());
        if (!line) {
            std::cout << std::endl;
            return;
        }
        if (editor.WasInterrupted())
            lines.Drop();
        else if (!lines.Take(*line))
            return;
    }
}

} // namespace

bool RunPrompt(Script &script)
{
    Lines lines(script);
    if (isatty(STDIN_FILENO) != 0) {
        RunTerminal(script, lines);
        lines.End();
        return true;
    }
    for (std::string line; std::getline(std::cin, line);) {
        if (!lines.Take(line)) break;
    }
    return lines.End();
}

} // namespace host
