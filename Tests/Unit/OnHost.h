// A test with the library on a host, which must have everything back at the end, and one with a host that has only the
// entries that the test gives it.
#pragma once

#include "Source/SDK/GlueCode/PluginMain.h"
#include "Tests/Shared/Program.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string_view>

using Object = program::Object;
using String = program::String;
using Lines = std::vector<std::string>;

// What the library writes to its debug log while something runs, line by line.
inline Lines CaptureLog(const std::function<void()> &run)
{
    testing::internal::CaptureStderr();
    run();
    std::istringstream text(testing::internal::GetCapturedStderr());
    Lines lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

class OnHost : public testing::Test {
  protected:
    void StartHost(const host::Options &options = {}) { running.emplace(options); }
    void TearDown() override { EXPECT_EQ(running ? running->End() : "", ""); }

    std::optional<program::Program> running;
};

// A host that has the entries it is given, and for the rest those of the running host if it replaces that. Looking an
// entry up takes no memory.
struct FakeHost {
    static void *Resolve(const char *name)
    {
        std::lock_guard guard(mutex);
        asked.push_back(name);
        auto found = entries.find(std::string_view(name));
        return found != entries.end() ? found->second : next != nullptr ? next(name) : nullptr;
    }
    template <typename Function>
    static void Provide(const std::string &name, Function function)
    {
        entries[name] = reinterpret_cast<void *>(+function);
    }
    // How often the entry was asked for.
    static long Asked(std::string_view name) { return std::count(asked.begin(), asked.end(), name); }

    static void Start(double version = 2021.03, int sdkVersion = 13)
    {
        entries.clear();
        asked.clear();
        asked.reserve(1000);
        gHostResolver = Resolve;
        gHostVersion = version;
        gSDKVersion = sdkVersion;
    }
    static void Replace(HostResolver running)
    {
        next = running;
        gHostResolver = Resolve;
    }

  private:
    static inline std::map<std::string, void *, std::less<>> entries;
    static inline std::vector<const char *> asked;
    static inline std::mutex mutex; // threads ask at the same time
    static inline HostResolver next = nullptr;
};
