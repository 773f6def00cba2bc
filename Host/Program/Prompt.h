// The prompt: runs each line from a terminal or a pipe, and prints its values.
#pragma once

#include "Host/Script/Lua.h"

namespace host {

// Runs lines until the end of the input or "exit". Away from a terminal, false when a line failed or the input ended
// before a statement was complete.
bool RunPrompt(Script &script);

} // namespace host
