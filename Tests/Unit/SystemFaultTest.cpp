// The scenario with one thing of the system failing: every allocation, every system call.
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/Scenario.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <netdb.h>

namespace {

// Calls whose failure a program does not see, by design: polls try again, and what is only looked at is looked
// at again.
bool ShowsToPrograms(const std::string &call, const std::string &step)
{
    return call != "select" && step != "events" && step != "events of a raw socket";
}

} // namespace

TEST(SystemFault, EveryAllocationFailingInTurn)
{
    if (!faults::kAllocationsCanFail) GTEST_SKIP() << "the sanitizers' allocators do not fail";
    // A resolver that gets no memory for its first look-up keeps its lock for ever (glibc 2.36).
    gethostbyname("localhost");
    for (bool andAllLater : {false, true}) {
        setenv("VYNDEBUG", andAllLater ? "" : "1", 1); // which changes nothing of what a program sees
        long count = scenario::Sweep([&](long nth) -> std::string {
            bool failed = false;
            std::string wrong = scenario::Run(
                {}, [&] { faults::FailAllocation(nth, andAllLater); },
                [&](auto &&...) {
                    failed = failed || faults::AllocationFailed();
                    return "";
                });
            return failed ? wrong + scenario::RunAsExpected() : scenario::kNoSuch;
        });
        EXPECT_GT(count, 10);
        std::printf("allocations failed%s: %ld\n", andAllLater ? ", and all later ones" : "", count);
    }
}

TEST(SystemFault, EverySystemCallFailingInTurn)
{
    long total = 0;
    std::vector<int> errors = {ENOBUFS, EINTR, EAGAIN, EMFILE, ENOMEM, ECONNREFUSED, EHOSTUNREACH, EPERM, EINVAL};
    if (program::Emulated() || !faults::kAllocationsCanFail)
        errors.resize(3); // slow ones: every call, with three errors
    bool logged = false;
    for (int error : errors) {
        setenv("VYNDEBUG", (logged = !logged) ? "1" : "", 1);
        total += scenario::Sweep([&](long nth) -> std::string {
            bool failed = false;
            std::string place;
            auto look = [&](const scenario::Step &step, const std::string &seen) -> std::string {
                const char *call = faults::FailedSystemCall();
                if (call == nullptr || failed) return "";
                failed = true;
                place = std::string(call) + " in " + step.name;
                if (!ShowsToPrograms(call, step.name) || seen == step.expected) return "";
                // The error is in Lasterror, or in the message; without a socket it is an exception of its own.
                std::string number = std::to_string(error);
                std::string made = call == std::string_view("socket") ? "Exception: " : "error " + number;
                for (const std::string &told : {"(" + number + ")", "error " + number + ":", made})
                    if (seen.find(told) != std::string::npos) return "";
                return place + " gave " + seen + "\n";
            };
            std::string wrong = scenario::Run(
                {}, [&] { faults::FailSystemCall(nth, error); }, look);
            if (!failed) return scenario::kNoSuch;
            wrong += scenario::RunAsExpected();
            return wrong.empty() ? wrong : place + ": " + wrong;
        });
        if (HasFailure()) break;
    }
    EXPECT_GT(total, 10);
    std::printf("system calls failed: %ld\n", total);
}
