#include "Host/Program/BrokenPipe.h"

#include <csignal>
#include <poll.h>
#include <unistd.h>

namespace host {
namespace {

constexpr char told[] =
    "vynhost: SIGPIPE: the program sent on a stream whose peer has gone, which ends it. With Flags 16384\n"
    "(MSG_NOSIGNAL) the send fails with Lasterror 32 (EPIPE) instead; SendMessage on a stream has no flags.\n";

// A program whose output nobody reads, as in "vynhost x.lua | head", ends without a word.
bool OutputIsBroken()
{
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

// The signal's own way is taken when this has returned.
void Tell(int signal)
{
    if (!OutputIsBroken()) {
        [[maybe_unused]] auto written = write(STDERR_FILENO, told, sizeof told - 1);
    }
    raise(signal);
}

} // namespace

void TellOfBrokenPipes()
{
    struct sigaction action {};
    action.sa_handler = Tell;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    struct sigaction before {};
    sigaction(SIGPIPE, &action, &before);
    if (before.sa_handler == SIG_IGN) sigaction(SIGPIPE, &before, nullptr); // by whoever started the program
}

} // namespace host
