#include "Tests/Unit/Scenario.h"

#include "Tests/Unit/Faults.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace scenario {

// The number of the step that runs, where the parent of a process that crashed finds it.
static auto &where = *static_cast<std::size_t *>(
    mmap(nullptr, sizeof(std::size_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

Scenario::Scenario(const host::Options &options) : Program(options)
{
    // By a name so short that a place in it needs no memory.
    EXPECT_EQ(Does("local file <close> = io.open('" SCENARIO "') assert(load(file:read('a'), '=steps'))()"), "");
    steps.resize(std::stoul(Does("return #steps")) - (program::Emulated() ? 2 : 0));
    for (std::size_t i = 0; i < steps.size(); i++) {
        std::string step = "return steps[" + std::to_string(i + 1) + "]";
        steps[i] = {Does((step + "[1]").c_str()), Does((step + "[3]").c_str())};
    }
}

std::string Scenario::Run(const Look &look, const std::function<void()> &before)
{
    open = program::OpenDescriptors();
    std::string wrong = Does("last = 0");
    before();
    for (where = 1; where <= steps.size(); where++)
        wrong += look(steps[where - 1], Does("return run()"));
    where = 0;
    faults.FailEntry(0);
    faults::FailAllocation(0);
    faults::FailSystemCall(0, 0);
    return wrong;
}

std::string Scenario::End()
{
    std::string wrong = program::OpenDescriptors() == open ? "" : "descriptors differ\n";
    return wrong + Program::End();
}

std::string Scenario::Finish()
{
    std::string wrong = Run([](const Step &step, const std::string &seen) {
        return seen == step.expected ? "" : step.name + ": " + seen + "\n";
    });
    return wrong + End();
}

long Sweep(const std::function<std::string(long nth)> &run)
{
    for (long nth = 1, failed = 0;; nth += program::Emulated() ? 7 : 1, failed++) {
        std::string said = program::InChild([&] { return run(nth); });
        if (said == kNoSuch) return failed;
        EXPECT_EQ(said, "") << "number " << nth << ", in step " << where;
        if (testing::Test::HasFailure()) return failed;
    }
}

} // namespace scenario
