// The scenario with one thing failing, of the host or of the system: every entry missing in turn; every call of the
// host, every allocation and every system call failing in turn.
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/Scenario.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <netdb.h>

namespace {

// A run in which a program may see anything. Result: what is not back in the end.
std::string RunAnyhow(const host::Options &options)
{
    return scenario::Run(
        options, [] {}, [](auto &&...) { return ""; });
}

// A host without one of these has no counts, and no account of references can balance.
bool CountsReferences(const std::string &entry)
{
    return entry.ends_with("lockString") || entry.ends_with("lockObject") || entry.ends_with("LockString") ||
           entry.ends_with("LockObject");
}

// Calls whose failure a program does not see, by design: polls try again, and what is only looked at is looked
// at again.
bool ShowsToPrograms(const std::string &call, const std::string &step)
{
    return call != "select" && step != "events" && step != "events of a raw socket";
}

} // namespace

TEST(HostFault, EveryHostVersionSeesTheSame)
{
    for (double version : {2010.0, 2012.5, 2013.0, 2020.02, 2021.03, 3000.0}) {
        for (const char *log : {"", "1"}) {
            setenv("VYNDEBUG", log, 1);
            EXPECT_EQ(program::InChild([&] { return scenario::RunAsExpected({.version = version}); }), "") << version;
        }
    }
}

TEST(HostFault, InstanceDataMayLieAnywhere)
{
    const host::Options options = {.offsets = {{"UDPSocketVYN", 64}, {"RAWSocketVYN", 112}, {"DatagramVYN", 80}}};
    EXPECT_EQ(program::InChild([&] { return scenario::RunAsExpected(options); }), "");
}

TEST(HostFault, EveryEntryMissingInTurn)
{
    const host::Entries entries = host::AllEntries();
    long removed = scenario::Sweep([&](long nth) -> std::string {
        if (static_cast<std::size_t>(nth) > entries.size()) return scenario::kNoSuch;
        std::string name(std::next(entries.begin(), nth - 1)->first);
        std::string wrong = RunAnyhow({.without = {name}});
        return wrong.empty() || CountsReferences(name) ? "" : name + ": " + wrong; // but it must not crash
    });
    EXPECT_EQ(program::InChild([] { return RunAnyhow({.bare = true}); }), "") << "all are missing";
    std::printf("entries removed: %ld\n", removed);
}

// What is thrown must arrive as an exception of the host; Poll, which passes on what handlers throw, is not called by
// hand here.
TEST(HostFault, EveryHostCallFailingAndThrowingInTurn)
{
    struct {
        bool throws;
        double version;
    } const rows[] = {{false, 2021.03}, {true, 2021.03}, {true, 2011.0}}; // an older host builds texts by other calls
    for (const auto &row : rows) {
        long calls = scenario::Sweep([&](long nth) {
            const char *name = nullptr;
            auto look = [&](const scenario::Step &step, const std::string &seen) {
                name = program::Host().faults.Failed();
                return name != nullptr && seen == name ? std::string(step.name) + ": came through\n" : "";
            };
            std::string wrong = scenario::Run(
                {.version = row.version}, [&] { program::Host().faults.FailEntry(nth, row.throws); }, look);
            return name != nullptr ? wrong : wrong + scenario::kNoSuch;
        });
        EXPECT_GT(calls, 10);
        std::printf("host calls %s: %ld\n", row.throws ? "that threw" : "failed", calls);
    }
}

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
