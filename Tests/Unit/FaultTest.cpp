// The program of scenario.lua with one thing failing, of the host or of the system: every entry missing in turn; every
// call of the host, every allocation and every system call failing in turn.
#include "Source/Utility/rbDebug.h"
#include "Tests/Shared/Program.h"
#include "Tests/Unit/Faults.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <netdb.h>
#include <set>
#include <sys/mman.h>

namespace {

struct Step {
    std::string name, expected;
};

// What is wrong with what a step saw, or with the exception that ended it; "" for nothing.
using Look = std::function<std::string(const Step &step, const std::string &seen)>;

// The number of the step that runs, where the parent of a process that crashed finds it.
auto &where = *static_cast<std::size_t *>(
    mmap(nullptr, sizeof(std::size_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

class Scenario : public program::Program {
  public:
    explicit Scenario(const host::Options &options = {}) : Program(options)
    {
        // By a name so short that a place in it needs no memory.
        EXPECT_EQ(Does("local file <close> = io.open('" TESTS
                       "/Unit/scenario.lua') assert(load(file:read('a'), '=steps'))()"),
                  "");
        steps.resize(std::stoul(Does("return #steps")) - (program::emulated ? 2 : 0));
        for (std::size_t i = 0; i < steps.size(); i++) {
            std::string step = "return steps[" + std::to_string(i + 1) + "]";
            steps[i] = {Does((step + "[1]").c_str()), Does((step + "[3]").c_str())};
        }
    }

    // Runs all steps, while that fails which `before` makes fail. Result: what is wrong.
    std::string Run(const Look &look, const std::function<void()> &before = {})
    {
        open = program::OpenDescriptors();
        std::string wrong = Does("last = 0");
        if (before) before();
        for (where = 1; where <= steps.size(); where++)
            wrong += look(steps[where - 1], Does("return run()"));
        where = 0;
        faults.FailEntry(0);
        faults::FailAllocation(0);
        faults::FailSystemCall(0, 0);
        return wrong;
    }

    // Ends the program. Result: what is not back then, "" for nothing.
    std::string End()
    {
        std::string wrong = program::OpenDescriptors() == open ? "" : "descriptors differ\n";
        return wrong + Program::End();
    }

    // Runs all steps with nothing failing, when each sees what it should, and ends the program. Result: what is wrong.
    std::string Finish()
    {
        std::string wrong = Run([](const Step &step, const std::string &seen) {
            return seen == step.expected ? "" : step.name + ": " + seen + "\n";
        });
        return wrong + End();
    }

  private:
    std::vector<Step> steps;
    std::vector<int> open; // descriptors before the steps
};

// What a run of a sweep answers when there is no such thing to fail.
constexpr char kNoSuch[] = "there are not so many";

// Fails the first thing, the second and so on in a process each, until there are not so many. The run answers what was
// wrong. Result: how many failed. Under an emulator a sample is enough.
long Sweep(const std::function<std::string(long nth)> &run)
{
    for (long nth = 1, failed = 0;; nth += program::emulated ? 7 : 1, failed++) {
        std::string said = program::InChild([&] { return run(nth); });
        if (said == kNoSuch) return failed;
        EXPECT_EQ(said, "") << "number " << nth << ", in step " << where;
        if (testing::Test::HasFailure()) return failed;
    }
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
    long removed = Sweep([&](long nth) -> std::string {
        if (static_cast<std::size_t>(nth) > entries.size()) return kNoSuch;
        std::string name(std::next(entries.begin(), nth - 1)->first);
        auto [wrong, left] = run({.without = {name}}, silent.contains(name));
        // A host that can't add or drop references has no account of them that could balance.
        if (!name.ends_with("ockString") && !name.ends_with("ockObject")) wrong += left;
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
    const bool throws = GetParam().second;
    Scenario scenario({.version = GetParam().first});
    long calls = Sweep([&](long nth) {
        const char *name = nullptr;
        auto look = [&](const Step &step, const std::string &seen) {
            name = scenario.faults.Failed();
            return name != nullptr && seen == std::string("std::exception: ") + name ? step.name + ": came through\n"
                                                                                     : "";
        };
        std::string wrong = scenario.Run(look, [&] { scenario.faults.FailEntry(nth, throws); });
        return name != nullptr ? wrong + scenario.End() : kNoSuch;
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
        long count = Sweep([&](long nth) {
            bool failed = false;
            auto look = [&](const Step &step, const std::string &seen) {
                failed = failed || faults::AllocationFailed();
                bool raised = seen.find("Exception: ") != std::string::npos;
                return step.name == "names" && raised ? "names: " + seen + "\n" : ""; // DNS functions never do
            };
            std::string wrong = scenario.Run(look, [&] { faults::FailAllocation(nth, andAllLater); });
            return failed ? wrong + scenario.Finish() : kNoSuch;
        });
        EXPECT_GT(count, 10);
        std::printf("allocations failed%s: %ld\n", andAllLater ? ", and all later ones" : "", count);
    }
}

TEST(SystemFault, EverySystemCallFailingInTurn)
{
    long total = 0;
    std::vector<int> errors = {ENOBUFS, EINTR, EAGAIN, EMFILE, ENOMEM, ECONNREFUSED, EHOSTUNREACH, EPERM, EINVAL};
    if (program::emulated || !faults::kAllocationsCanFail) errors.resize(3); // slow ones: every call, with three errors
    Scenario scenario;
    for (int error : errors) {
        gDebugging = !gDebugging;
        total += Sweep([&](long nth) -> std::string {
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
            if (!failed) return kNoSuch;
            wrong += scenario.Finish();
            return wrong.empty() ? wrong : place + ": " + wrong;
        });
        if (HasFailure()) break;
    }
    EXPECT_GT(total, 10);
    std::printf("system calls failed: %ld\n", total);
}
