// A program in Lua on a host of its own, in the process of the test: the test makes the host and the system fail under
// the program, and looks at both.
#pragma once

#include "Host/Runtime/Host.h"
#include "Host/Script/Lua.h"

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace program {

using Object = host::Owned<REALobjectStruct>;
using String = host::Owned<REALstringStruct>;

class Program : public host::Host {
  public:
    explicit Program(const host::Options &options = {});

    // Runs a piece of the program. Result: its value as text, "" for nil; or the exception that ended it, as
    // "Class: message".
    std::string Does(const char *piece);

    // Ends the program. Result: what is not back then, "" for nothing.
    std::string End();

    std::unique_ptr<host::Script> script;
};

// Whether an emulator of another machine runs this: it is slow, its select takes no descriptor above 1,023, and it
// lacks MulticastInterface and the clearing of IP options.
inline const bool emulated = std::getenv("VYN_EMULATED") != nullptr;

// Descriptors of this process that are open.
std::vector<int> OpenDescriptors();

// Runs the body in a child process, with a time limit. Result: what the child said is wrong, "" for nothing; a crash is
// said too.
std::string InChild(const std::function<std::string()> &body);

} // namespace program
