// The module "host": the host's loop, its sockets, and what tests need of the system.
#pragma once

#include "Host/Script/Lua.h"

namespace host {

void OpenHostModule(lua_State *state);

// Leaves the program's host.onError, whatever it is.
void PushErrorHandler(lua_State *state);

} // namespace host
