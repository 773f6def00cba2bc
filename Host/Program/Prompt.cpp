#include "Host/Program/Prompt.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <histedit.h>
#include <iostream>
#include <memory>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace host {
namespace {

constexpr char greeting[] =
    "vynhost " VYN_VERSION " with the plugin loaded. Lines of Lua are run, their values printed.\n"
    "help() tells what there is, Tab completes names, \"exit\" or Ctrl-D leaves.\n";
constexpr std::string_view farewells[] = {"exit", "exit()", "quit", "quit()"};

constexpr int keptLines = 1000;
constexpr int turnMilliseconds = 10;   // between two turns of the host's loop
constexpr char endOfInput = 'D' - '@'; // Ctrl-D

// Empty when the folder does not exist and can't be made.
std::string HistoryFile()
{
    const char *state = std::getenv("XDG_STATE_HOME"), *home = std::getenv("HOME");
    std::filesystem::path folder = state != nullptr && state[0] == '/' ? state
                                   : home != nullptr                   ? std::string(home) + "/.local/state"
                                                                       : "";
    std::error_code failed;
    std::filesystem::create_directories(folder / "vynhost", failed);
    return failed || folder.empty() ? "" : folder / "vynhost/history";
}

volatile std::sig_atomic_t interruptKey = 0;

bool IsKeyThere(int milliseconds)
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, milliseconds) > 0;
}

// Lines from a terminal, through libedit: editing, a history that is kept in a file, and completion by Tab. The host's
// loop runs while it waits for a key, so that handlers are called. Only one of these may exist at a time.
class LineEditor {
  public:
    explicit LineEditor(Script &user) : script(user)
    {
        // Without a locale, UTF-8 is assumed.
        const char *locale = std::setlocale(LC_CTYPE, "");
        if (locale == nullptr || locale == std::string_view("C")) std::setlocale(LC_CTYPE, "C.UTF-8");
        current = this;
        el_set(
            editor.get(), EL_PROMPT, +[](EditLine *) { return current->prompt.data(); });
        el_set(editor.get(), EL_EDITOR, "emacs");
        el_set(editor.get(), EL_SIGNAL, 1);
        el_set(editor.get(), EL_GETCFN, ReadKey);
        el_set(editor.get(), EL_ADDFN, "complete", "Complete a name", CompleteWord);
        el_set(editor.get(), EL_BIND, "\t", "complete", nullptr);
        el_set(editor.get(), EL_BIND, "^R", "em-inc-search-prev", nullptr);
        el_set(editor.get(), EL_HIST, ::history, history.get());
        el_source(editor.get(), nullptr); // the user's own .editrc
        ::history(history.get(), &event, H_SETSIZE, keptLines);
        ::history(history.get(), &event, H_SETUNIQUE, 1);
        if (!historyFile.empty()) ::history(history.get(), &event, H_LOAD, historyFile.c_str());
        struct sigaction action {};
        action.sa_handler = [](int) { interruptKey = 1; }; // without SA_RESTART: the wait for a key ends
        sigaction(SIGINT, &action, nullptr);
        script.StopBy(interruptKey);
        script.beforeHandler = [this] {
            if (!std::exchange(handlerRan, true)) EraseLine(); // the handler prints in its place
        };
    }
    LineEditor(const LineEditor &) = delete;
    LineEditor &operator=(const LineEditor &) = delete;
    ~LineEditor()
    {
        script.beforeHandler = nullptr;
        if (!historyFile.empty()) ::history(history.get(), &event, H_SAVE, historyFile.c_str());
    }

    // The next line; nothing at the end of the input. The interrupt key drops the line, and the lines of a pending
    // block.
    std::optional<std::string> Read(std::string &pending)
    {
        prompt = pending.empty() ? "> " : ">> ";
        interruptKey = 0;
        interrupted = false;
        isFirstKey = true;
        int count = 0;
        const char *line = el_gets(editor.get(), &count);
        if (interrupted) {
            std::puts("^C");
            el_reset(editor.get());
            return pending = "";
        }
        if (line == nullptr || count <= 0) return {};
        std::string text(line, static_cast<std::size_t>(count));
        if (text.ends_with('\n')) text.pop_back();
        return text;
    }

    // Adds one or several lines to the history.
    void Remember(const std::string &typed)
    {
        if (typed.find_first_not_of(" \n") != typed.npos) ::history(history.get(), &event, H_ENTER, typed.c_str());
    }

  private:
    // Moves the cursor to the beginning of the prompt, which is some rows up when the line is wrapped.
    void EraseLine()
    {
        const LineInfoW *line = el_wline(editor.get());
        int column = static_cast<int>(prompt.size()), width = TerminalWidth();
        for (const wchar_t *character = line->buffer; character < line->cursor; ++character)
            column += *character == L'\n' ? width - column % width : std::max(wcwidth(*character), 0);
        if (int rows = column / width; rows > 0) std::printf("\033[%dA", rows);
        std::fputs("\r\033[J", stdout);
    }

    // One turn of the host's loop. Errors of handlers are shown.
    void TakeTurn()
    {
        handlerRan = false;
        try {
            script.host.tasks.Step();
            script.EndTurn();
        } catch (const Exception &exception) {
            std::fprintf(stderr, "vynhost: %s\n", TextOf(exception).c_str());
        } catch (const Mistake &) {
            interruptKey = 1; // EndTurn has taken it
        }
        if (handlerRan) el_set(editor.get(), EL_REFRESH);
    }

    // False when the interrupt key was pressed meanwhile.
    bool WaitForKey()
    {
        for (;;) {
            bool isThere = IsKeyThere(turnMilliseconds);
            interrupted = interruptKey != 0;
            interruptKey = 0;
            if (interrupted || isThere) return !interrupted;
            TakeTurn();
        }
    }

    // A character of several bytes comes byte by byte.
    static int ReadKey(EditLine *, wchar_t *key)
    {
        bool wasTypedBefore = std::exchange(current->isFirstKey, false) && IsKeyThere(0);
        if (!current->WaitForKey()) {
            errno = EINTR;
            return -1;
        }
        std::mbstate_t state{};
        for (;;) {
            char byte;
            auto count = read(STDIN_FILENO, &byte, 1);
            if (count <= 0) return static_cast<int>(count);
            // Between two lines the terminal itself handles Ctrl-D, and puts a zero byte in its place.
            if (wasTypedBefore && byte == '\0') byte = endOfInput;
            auto length = std::mbrtowc(key, &byte, 1, &state);
            if (length == static_cast<std::size_t>(-2)) continue;
            if (length == static_cast<std::size_t>(-1)) *key = L'?';
            return 1;
        }
    }

    // Adds the letters that all names have in common; shows the names if there are none.
    static unsigned char CompleteWord(EditLine *editor, int)
    {
        const LineInfo *line = el_line(editor);
        lua_State *state = current->script.current;
        PushPrelude(state, "complete");
        PushBytes(state, {line->buffer, static_cast<std::size_t>(line->cursor - line->buffer)});
        Script::Call(state, 1, 2);
        std::string added = lua_tostring(state, -2), list = lua_tostring(state, -1);
        lua_pop(state, 2);
        if (!added.empty()) return el_insertstr(editor, added.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
        if (list.empty()) return CC_REFRESH_BEEP;
        std::printf("\n%s", list.c_str());
        return CC_REDISPLAY;
    }

    static inline LineEditor *current = nullptr; // for libedit's callbacks
    Script &script;
    std::string prompt, historyFile = HistoryFile();
    std::unique_ptr<EditLine, void (*)(EditLine *)> editor{el_init("vynhost", stdin, stdout, stderr), el_end};
    std::unique_ptr<History, void (*)(History *)> history{history_init(), history_end};
    HistEvent event{};
    bool interrupted = false;
    bool isFirstKey = true;  // of the line
    bool handlerRan = false; // since the last turn: its output is where the line was
};

} // namespace

bool RunPrompt(Script &script)
{
    std::optional<LineEditor> editor;
    if (isatty(STDIN_FILENO) != 0) {
        std::cout << greeting << std::flush;
        editor.emplace(script);
    }
    std::string pending;
    bool wentWell = true;
    auto fail = [&](const std::string &text) {
        std::cout << std::flush;
        std::cerr << text << std::endl;
        wentWell = editor.has_value(); // a person at a terminal saw the failure
    };
    for (;;) {
        std::optional<std::string> line;
        if (editor) {
            line = editor->Read(pending);
            if (!line) std::cout << std::endl;
        } else if (std::string read; std::getline(std::cin, read)) {
            line = read;
        }
        if (!line || (pending.empty() && std::ranges::find(farewells, *line) != std::end(farewells))) break;
        pending += (pending.empty() ? "" : "\n") + *line;
        if (script.IsIncomplete(pending)) continue;
        if (editor) editor->Remember(pending);
        try {
            script.RunLine(std::exchange(pending, ""));
        } catch (const Mistake &mistake) {
            fail(mistake.what());
        }
    }
    if (!pending.empty()) fail("the input ends in the middle of something: " + pending);
    return wentWell;
}

} // namespace host
