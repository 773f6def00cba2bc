// What the library writes to its debug log while something runs, line by line.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

inline std::vector<std::string> CaptureLog(const std::function<void()> &run)
{
    testing::internal::CaptureStderr();
    run();
    std::istringstream text(testing::internal::GetCapturedStderr());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}
