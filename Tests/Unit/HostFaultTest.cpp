// The scenario with one thing of the host failing: every entry missing in turn, every call failing in turn.
#include "Tests/Unit/Scenario.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

// Answers what is wrong afterwards, and in `failed` whether there was such a call. What is thrown must arrive as an
// exception of the host; Poll, which passes on what handlers throw, is not called by hand here.
std::string RunScenario(const host::Options &options, long failingCall = 0, bool throws = false, bool *failed = nullptr)
{
    return scenario::Run(
        options, [&] { program::Host().faults.FailEntry(failingCall, throws); },
        [&](const scenario::Step &step, const std::string &seen) {
            const char *name = program::Host().faults.Failed();
            if (failed != nullptr) *failed = name != nullptr;
            return name != nullptr && seen == name ? std::string(step.name) + ": came through\n" : "";
        });
}

// A host without one of these has no counts, and no account of references can balance.
bool CountsReferences(const std::string &entry)
{
    return entry.ends_with("lockString") || entry.ends_with("lockObject") || entry.ends_with("LockString") ||
           entry.ends_with("LockObject");
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
        std::string wrong = RunScenario({.without = {name}});
        return wrong.empty() || CountsReferences(name) ? "" : name + ": " + wrong; // but it must not crash
    });
    EXPECT_EQ(program::InChild([] { return RunScenario({.bare = true}); }), "") << "all are missing";
    std::printf("entries removed: %ld\n", removed);
}

TEST(HostFault, EveryHostCallFailingAndThrowingInTurn)
{
    for (bool throws : {false, true}) {
        long calls = scenario::Sweep([&](long nth) {
            bool failed = false;
            std::string wrong = RunScenario({}, nth, throws, &failed);
            return failed ? wrong : wrong + scenario::kNoSuch;
        });
        EXPECT_GT(calls, 10);
        std::printf("host calls %s: %ld\n", throws ? "that threw" : "failed", calls);
    }
}
