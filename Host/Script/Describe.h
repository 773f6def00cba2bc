// What a plugin registers, as its users see it: made from the records alone.
#pragma once

#include "Host/Runtime/Host.h"

#include <string>

namespace host {

// Classes in the order of registration with their members in theirs, then modules and single functions.
std::string Describe(const Host &host, bool markdown);

} // namespace host
