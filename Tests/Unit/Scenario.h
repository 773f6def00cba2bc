// The program of scenario.lua, which the sweeps run again and again, each time with one thing failing.
#pragma once

#include "Tests/Shared/Program.h"

namespace scenario {

struct Step {
    std::string name, expected;
};

// What is wrong with what a step saw, or with the exception that ended it; "" for nothing.
using Look = std::function<std::string(const Step &step, const std::string &seen)>;

class Scenario : public program::Program {
  public:
    explicit Scenario(const host::Options &options = {});

    // Runs all steps, while that fails which `before` makes fail. Result: what is wrong.
    std::string Run(
        const Look &look, const std::function<void()> &before = [] {});

    // Ends the program. Result: what is not back then, "" for nothing.
    std::string End();

    // Runs all steps with nothing failing, when each sees what it should, and ends the program. Result: what is wrong.
    std::string Finish();

  private:
    std::vector<Step> steps;
    std::vector<int> open; // descriptors before the steps
};

// What a run of a sweep answers when there is no such thing to fail.
constexpr char kNoSuch[] = "there are not so many";

// Fails the first thing, the second and so on in a process each, until there are not so many. The run answers what was
// wrong. Result: how many failed. Under an emulator a sample is enough.
long Sweep(const std::function<std::string(long nth)> &run);

} // namespace scenario
