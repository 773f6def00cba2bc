// Lines from a terminal, through libedit: editing, a history that outlives the program, and completion by Tab.
#pragma once

#include "Host/Script/Lua.h"

#include <histedit.h>

#include <memory>
#include <optional>
#include <string>

namespace host {

// One at a time. While it waits for a key the host's loop runs, so that handlers are called.
class LineEditor {
  public:
    explicit LineEditor(Script &script);
    LineEditor(const LineEditor &) = delete;
    LineEditor &operator=(const LineEditor &) = delete;
    ~LineEditor();

    // The next line; nothing at the end of the input. An empty one when the interrupt key took back what was typed.
    std::optional<std::string> Read(const char *prompt);

    bool WasInterrupted() const { return interrupted; }

  private:
    static char *Prompt(EditLine *editor);
    static int ReadKey(EditLine *editor, wchar_t *key);
    static unsigned char CompleteWord(EditLine *editor, int key);
    static LineEditor &Of(EditLine *editor);
    bool WaitForKey();

    Script &script;
    std::string prompt, historyFile;
    std::unique_ptr<EditLine, void (*)(EditLine *)> editor;
    std::unique_ptr<History, void (*)(History *)> history;
    bool interrupted = false;
    bool isFirstKey = true;  // of the line
    bool handlerRan = false; // since the last look: what it printed is where the line was
};

} // namespace host
