// What the library knows of its host stays for the life of the process, so each test has a process of its own.
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

class OneAtATime : public testing::EmptyTestEventListener {
    void OnTestProgramStart(const testing::UnitTest &program) override
    {
        if (program.test_to_run_count() <= 1) return;
        std::fputs("Each test needs a process of its own: run them with ctest --test-dir build [-R NAME], or one with "
                   "--gtest_filter=NAME.\n",
                   stderr);
        std::exit(2);
    }
};

} // namespace

int main(int count, char **arguments)
{
    testing::InitGoogleTest(&count, arguments);
    testing::UnitTest::GetInstance()->listeners().Append(new OneAtATime);
    return RUN_ALL_TESTS();
}
