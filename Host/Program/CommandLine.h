// What vynhost was asked for.
#pragma once

#include "Host/Runtime/Host.h"

#include <optional>
#include <string>
#include <vector>

namespace host {

struct CommandLine {
    Options options;
    std::string plugin;                 // empty: the one beside the program
    bool describes = false;             // instead of running anything
    std::string described;              // a class or a member; empty: all
    std::string code;                   // the program itself; empty: none was given
    std::string script;                 // a file, "-" for the standard input, or empty
    std::vector<std::string> arguments; // of the program
    std::optional<int> status;          // the program ends with it: the answer is printed already

    bool HasProgram() const { return !code.empty() || !script.empty(); }
};

CommandLine ParseCommandLine(int count, char **words);

} // namespace host
