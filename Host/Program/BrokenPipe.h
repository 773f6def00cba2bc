// What a program hears when the signal SIGPIPE ends it.
#pragma once

namespace host {

// From now on; unless whoever started the program has the signal ignored.
void TellOfBrokenPipes();

} // namespace host
