// What the library knows of its host stays for the life of the process, so each test has a process of its own.
#include <cstdio>
#include <gtest/gtest.h>

int main(int count, char **arguments)
{
    testing::InitGoogleTest(&count, arguments);
    if (testing::GTEST_FLAG(filter) == "*" && !testing::GTEST_FLAG(list_tests)) {
        std::fputs("Each test needs a process of its own: run them with ctest --test-dir build [-R NAME], or one with "
                   "--gtest_filter=NAME.\n",
                   stderr);
        return 2;
    }
    return RUN_ALL_TESTS();
}
