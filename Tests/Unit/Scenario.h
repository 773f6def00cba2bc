// One program over everything that the library offers, as a table of steps: what is done, and what a
// program sees of it. The sweeps run it again and again, each time with one thing failing.
//
// A step makes what it needs and releases it, so that any step may fail and the next ones still run. What it
// sees is text without anything that changes from run to run.
#pragma once

#include "Tests/Shared/Program.h"

#include <functional>

namespace scenario {

struct Step {
    const char *name;
    std::string (*run)();
    const char *expected;
};

// Runs all steps in a host of their own. `before` is called once that has started, `look` after each step with what it
// saw, or with the exception that ended it. Result: what `look` says, and what is not back in the end.
using Look = std::function<std::string(const Step &step, const std::string &seen)>;
std::string Run(const host::Options &options, const std::function<void()> &before, const Look &look);

// The same, with nothing to happen before; what a step should have seen is wrong otherwise.
std::string RunAsExpected(const host::Options &options = {});

// What a run of a sweep answers when there is no such thing to fail.
constexpr char kNoSuch[] = "there are not so many";

// Fails the first thing, the second and so on in a process each, until there are not so many. The run answers what was
// wrong. Result: how many failed. Under an emulator a sample is enough.
long Sweep(const std::function<std::string(long nth)> &run);

} // namespace scenario
