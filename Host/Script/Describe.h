// What is registered, as its users see it: made from the records alone.
#pragma once

#include "Host/Runtime/Host.h"

#include <string>
#include <string_view>
#include <vector>

namespace host {

struct MemberLine {
    const char *section; // "Properties", "Methods" ...
    std::string name;
    std::string text; // the declaration, with remarks
};

// The members of a class alone, or of a module.
std::vector<MemberLine> MembersOf(const Class &type);

// Classes in the order of registration with their members in theirs, then modules and single functions. With a name
// that class or module, or "Class.Member", or a function. Throws std::invalid_argument when nothing has that name.
std::string Describe(std::string_view name);

} // namespace host
