// The scenario with one thing failing, of the host or of the system: every entry missing in turn; every call of the
// host, every allocation and every system call failing in turn.
#include "Source/Utility/rbDebug.h"
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/Scenario.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <netdb.h>
#include <set>

using scenario::Scenario;
using scenario::Step;

namespace {

// A host without one of these has no counts, and no account of references can balance.
bool CountsReferences(const std::string &entry)
{
    return entry.ends_with("lockString") || entry.ends_with("lockObject") || entry.ends_with("LockString") ||
           entry.ends_with("LockObject");
}

// Without one of these a program sees less and no exception says so: no events, empty texts, nil.
const std::set<std::string> silent = {
    "GetEventInstance",     "PluginNewInstance",    "PluginRegisterBackgroundTask", "PluginRegisterClass",
    "PluginRegisterModule", "REALLoadGlobalMethod", "REALLoadObjectMethod",         "REALBuildStringWithEncoding",
    "REALLockObject",       "REALLockString",       "RuntimeRaiseException",        "StringGetCString",
    "memoryBlockGetPtr",    "memoryBlockGetSize",
};

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
            EXPECT_EQ(program::InChild([&] { return Scenario({.version = version}).Finish(); }), "") << version;
        }
    }
}

TEST(HostFault, InstanceDataMayLieAnywhere)
{
    const host::Options options = {.offsets = {{"UDPSocketVYN", 64}, {"RAWSocketVYN", 112}, {"DatagramVYN", 80}}};
    EXPECT_EQ(program::InChild([&] { return Scenario(options).Finish(); }), "");
}

TEST(HostFault, EveryEntryMissingInTurn)
{
    auto run = [](const host::Options &options, bool isSilent) {
        Scenario scenario(options);
        std::string wrong = scenario.Run([&](const Step &step, const std::string &seen) {
            bool isWrong = !isSilent && seen != step.expected && seen.find("Exception: ") == std::string::npos;
            return isWrong ? step.name + ": " + seen + "\n" : "";
        });
        return std::pair(wrong, scenario.End());
    };
    const host::Entries entries = host::AllEntries();
    long removed = scenario::Sweep([&](long nth) -> std::string {
        if (static_cast<std::size_t>(nth) > entries.size()) return scenario::kNoSuch;
        std::string name(std::next(entries.begin(), nth - 1)->first);
        auto [wrong, left] = run({.without = {name}}, silent.contains(name));
        if (!CountsReferences(name)) wrong += left; // but it must not crash
        return wrong.empty() ? "" : name + ": " + wrong;
    });
    EXPECT_EQ(program::InChild([&] { return run({.bare = true}, true).second; }), "") << "all are missing";
    std::printf("entries removed: %ld\n", removed);
}

// An older host builds texts by other calls.
class EveryHostCall : public testing::TestWithParam<std::pair<double, bool>> {};
INSTANTIATE_TEST_SUITE_P(HostFault, EveryHostCall,
                         testing::Values(std::pair(2021.03, false), std::pair(2021.03, true), std::pair(2011.0, true)));

// What is thrown must arrive as an exception of the host; Poll, which passes on what handlers throw, is not called by
// hand here.
TEST_P(EveryHostCall, FailsOrThrowsInTurn)
{
    auto [version, throws] = GetParam();
    Scenario scenario({.version = version});
    long calls = scenario::Sweep([&](long nth) {
        const char *name = nullptr;
        auto look = [&](const Step &step, const std::string &seen) {
            name = scenario.faults.Failed();
            return name != nullptr && seen == std::string("std::exception: ") + name ? step.name + ": came through\n"
                                                                                     : "";
        };
        std::string wrong = scenario.Run(look, [&, throws = throws] { scenario.faults.FailEntry(nth, throws); });
        return name != nullptr ? wrong + scenario.End() : scenario::kNoSuch;
    });
    EXPECT_GT(calls, 10);
    std::printf("host calls %s: %ld\n", throws ? "that threw" : "failed", calls);
}

TEST(SystemFault, EveryAllocationFailingInTurn)
{
    if (!faults::kAllocationsCanFail) GTEST_SKIP() << "the sanitizers' allocators do not fail";
    // A resolver that gets no memory for its first look-up keeps its lock for ever (glibc 2.36).
    gethostbyname("localhost");
    Scenario scenario;
    for (bool andAllLater : {false, true}) {
        gDebugging = !andAllLater; // which changes nothing of what a program sees
        long count = scenario::Sweep([&](long nth) {
            bool failed = false;
            auto look = [&](const Step &step, const std::string &seen) {
                failed = failed || faults::AllocationFailed();
                return step.name == "names" && seen.find("Exception: ") != std::string::npos ? seen : "";
            };
            std::string wrong = scenario.Run(look, [&] { faults::FailAllocation(nth, andAllLater); });
            return failed ? wrong + scenario.Finish() : scenario::kNoSuch;
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
    Scenario scenario;
    for (int error : errors) {
        gDebugging = !gDebugging;
        total += scenario::Sweep([&](long nth) -> std::string {
            bool failed = false;
            std::string place;
            auto look = [&](const Step &step, const std::string &seen) -> std::string {
                const char *call = faults::FailedSystemCall();
                if (call == nullptr || failed) return "";
                failed = true;
                place = call + (" in " + step.name);
                if (!ShowsToPrograms(call, step.name) || seen == step.expected) return "";
                // The error is in Lasterror, or in the message; without a socket it is an exception of its own.
                std::string number = std::to_string(error);
                std::string made = call == std::string_view("socket") ? "Exception: " : "error " + number;
                for (const std::string &told : {"(" + number + ")", "error " + number + ":", made})
                    if (seen.find(told) != std::string::npos) return "";
                return place + " gave " + seen + "\n";
            };
            std::string wrong = scenario.Run(look, [&] { faults::FailSystemCall(nth, error); });
            if (!failed) return scenario::kNoSuch;
            wrong += scenario.Finish();
            return wrong.empty() ? wrong : place + ": " + wrong;
        });
        if (HasFailure()) break;
    }
    EXPECT_GT(total, 10);
    std::printf("system calls failed: %ld\n", total);
}
