// The lines that are typed at a terminal or come through a pipe: each is run, and its values are printed.
#pragma once

#include "Host/Script/Lua.h"

namespace host {

// Runs lines until the end of the input or "exit". False when one of them failed, or the input ended in the middle of
// something, and no person was there to see it.
bool RunPrompt(Script &script);

} // namespace host
