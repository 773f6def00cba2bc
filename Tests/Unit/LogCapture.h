// What the library writes to its debug log while something runs, line by line.
#pragma once

#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

// Sends the standard error stream to a file of its own for the time of the call.
inline std::vector<std::string> CaptureLog(const std::function<void()> &run)
{
    FILE *log = std::tmpfile();
    std::fflush(stderr);
    int standardError = dup(STDERR_FILENO);
    dup2(fileno(log), STDERR_FILENO);
    run();
    std::fflush(stderr);
    dup2(standardError, STDERR_FILENO);
    close(standardError);

    std::stringstream text;
    std::rewind(log);
    for (int character = std::fgetc(log); character != EOF; character = std::fgetc(log))
        text.put(static_cast<char>(character));
    std::fclose(log);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}
