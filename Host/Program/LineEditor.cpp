#include "Host/Program/LineEditor.h"

#include "Host/Script/Help.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace host {
namespace {

constexpr int keptLines = 1000;
constexpr int turnMilliseconds = 10;   // between two turns of the host's loop
constexpr char endOfInput = 'D' - '@'; // Ctrl-D

// Empty when there is no such folder and none can be made.
std::string HistoryFile()
{
    const char *state = std::getenv("XDG_STATE_HOME"), *home = std::getenv("HOME");
    std::filesystem::path folder;
    if (state != nullptr && state[0] == '/') {
        folder = state;
    } else if (home != nullptr) {
        folder = std::filesystem::path(home) / ".local/state";
    }
    std::error_code failed;
    if (folder.empty()) return "";
    std::filesystem::create_directories(folder / "vynhost", failed);
    return failed ? "" : folder / "vynhost/history";
}

volatile std::sig_atomic_t interruptKey = 0;

void NoteInterrupt(int)
{
    interruptKey = 1;
}

void CatchInterrupts()
{
    struct sigaction action {};
    action.sa_handler = NoteInterrupt; // without SA_RESTART: the wait for a key ends
    sigaction(SIGINT, &action, nullptr);
}

bool IsKeyThere(int milliseconds)
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, milliseconds) > 0;
}

std::string CommonBeginning(const std::vector<std::string> &words)
{
    const std::string &first = words.front(), &last = words.back(); // of the alphabet
    auto differ = std::mismatch(first.begin(), first.end(), last.begin(), last.end());
    return {first.begin(), differ.first};
}

// One turn of the host's loop; what handlers did wrong is told.
void TakeTurn(Script &script)
{
    try {
        script.host.tasks.Step();
        script.ShowHandlerError();
    } catch (const Exception &exception) {
        std::fprintf(stderr, "vynhost: %s\n", TextOf(exception).c_str());
    }
}

} // namespace

LineEditor::LineEditor(Script &user)
    : script(user), historyFile(HistoryFile()), editor(el_init("vynhost", stdin, stdout, stderr), el_end),
      history(history_init(), history_end)
{
    std::setlocale(LC_CTYPE, "");
    EditLine *made = editor.get();
    el_set(made, EL_CLIENTDATA, this);
    el_set(made, EL_PROMPT, Prompt);
    el_set(made, EL_EDITOR, "emacs");
    el_set(made, EL_SIGNAL, 1);
    el_set(made, EL_GETCFN, ReadKey);
    el_set(made, EL_ADDFN, "complete", "Complete a name", CompleteWord);
    el_set(made, EL_BIND, "\t", "complete", nullptr);
    el_set(made, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_set(made, EL_HIST, ::history, history.get());
    el_source(made, nullptr); // the user's own .editrc
    HistEvent event;
    ::history(history.get(), &event, H_SETSIZE, keptLines);
    ::history(history.get(), &event, H_SETUNIQUE, 1);
    if (!historyFile.empty()) ::history(history.get(), &event, H_LOAD, historyFile.c_str());
    CatchInterrupts();
    script.StopBy(interruptKey);
    script.beforeHandler = [this] {
        if (!handlerRan) std::fputs("\r\033[K", stdout); // what it prints takes the place of the line
        handlerRan = true;
    };
}

LineEditor::~LineEditor()
{
    script.beforeHandler = nullptr;
    HistEvent event;
    if (!historyFile.empty()) ::history(history.get(), &event, H_SAVE, historyFile.c_str());
}

LineEditor &LineEditor::Of(EditLine *editor)
{
    void *self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *static_cast<LineEditor *>(self);
}

char *LineEditor::Prompt(EditLine *editor)
{
    return Of(editor).prompt.data();
}

std::optional<std::string> LineEditor::Read(const char *wanted)
{
    prompt = wanted;
    interruptKey = 0;
    interrupted = false;
    isFirstKey = true;
    int count = 0;
    const char *line = el_gets(editor.get(), &count);
    if (interrupted) {
        std::puts("^C");
        el_reset(editor.get());
        return "";
    }
    if (line == nullptr || count <= 0) return {};
    HistEvent event;
    std::string text(line, static_cast<std::size_t>(count));
    if (text.find_first_not_of(" \n") != text.npos) ::history(history.get(), &event, H_ENTER, text.c_str());
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

// False when the interrupt key was pressed meanwhile.
bool LineEditor::WaitForKey()
{
    for (;;) {
        bool isThere = IsKeyThere(turnMilliseconds);
        interrupted = interruptKey != 0;
        interruptKey = 0;
        if (interrupted || isThere) return !interrupted;
        handlerRan = false;
        TakeTurn(script);
        if (handlerRan) el_set(editor.get(), EL_REFRESH);
    }
}

// A character of several bytes comes byte by byte.
int LineEditor::ReadKey(EditLine *editor, wchar_t *key)
{
    LineEditor &self = Of(editor);
    bool wasTypedBefore = std::exchange(self.isFirstKey, false) && IsKeyThere(0);
    if (!self.WaitForKey()) {
        errno = EINTR;
        return -1;
    }
    std::mbstate_t state{};
    for (;;) {
        char byte;
        auto count = read(STDIN_FILENO, &byte, 1);
        if (count <= 0) return static_cast<int>(count);
        // Between two lines the terminal itself looks for Ctrl-D, and keeps a zero byte in its place.
        if (wasTypedBefore && byte == '\0') byte = endOfInput;
        auto length = std::mbrtowc(key, &byte, 1, &state);
        if (length == static_cast<std::size_t>(-2)) continue;
        if (length == static_cast<std::size_t>(-1)) *key = L'?';
        return 1;
    }
}

// Adds what all names have in common; where that is nothing, shows them.
unsigned char LineEditor::CompleteWord(EditLine *editor, int)
{
    const LineInfo *line = el_line(editor);
    std::string_view before(line->buffer, static_cast<std::size_t>(line->cursor - line->buffer));
    auto words = Completions(Of(editor).script.current, before);
    if (words.empty()) return CC_REFRESH_BEEP;
    std::string common = CommonBeginning(words);
    // What is typed already ends the line.
    std::size_t typed = std::min(common.size(), before.size());
    while (!before.ends_with(std::string_view(common).substr(0, typed)))
        --typed;
    if (common.size() > typed) return el_insertstr(editor, common.c_str() + typed) == 0 ? CC_REFRESH : CC_ERROR;
    if (words.size() == 1) return CC_NORM;
    std::putchar('\n');
    for (const std::string &word : words)
        std::printf("%s  ", word.c_str());
    std::putchar('\n');
    return CC_REDISPLAY;
}

} // namespace host
