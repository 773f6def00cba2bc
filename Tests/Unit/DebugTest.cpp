// The debug log: what is written, where, and what it leaves alone.
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbDebugHost.h"

#include "Tests/Unit/OnHost.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

TEST(Debug, TheEnvironmentSwitchesItOn)
{
    for (auto [value, on] :
         {std::pair("1", true), {"TRUE", true}, {"Yes", true}, {"on", false}, {"2", false}, {"", false}}) {
        gDebugging = false;
        setenv("VYNDEBUG", value, 1);
        ReadDebugEnvironment();
        EXPECT_EQ(getDebugging(), on) << value;
    }
    gDebugging = false;
    unsetenv("VYNDEBUG");
    ReadDebugEnvironment();
    EXPECT_FALSE(getDebugging());
    EXPECT_TRUE(setDebugging(5));
    EXPECT_FALSE(setDebugging(0));
}

TEST(Debug, TextIsNeverAFormatAndAPointerNoTruthValue)
{
    int place = 0;
    auto log = CaptureLog([&] {
        LogMessage("%n%s%1000000d", "%n%s");
        LogMessage(L"wide");
        LogMessage("x", ~0ULL);
        LogMessage("x", &place);
    });
    char address[32];
    std::snprintf(address, sizeof address, "VYN Debug: x %p", static_cast<const void *>(&place));
    EXPECT_EQ(
        log, (Lines{"VYN Debug: %n%s%1000000d %n%s", "VYN Debug: wide", "VYN Debug: x 18446744073709551615", address}));
}

TEST(Debug, LinesAreCutAndTheErrorNumberStaysWhateverTheStreamDoes)
{
    auto log = CaptureLog([] { LogMessageX("%s", std::string(5000, 'x').c_str()); });
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0], std::string(4095, 'x'));

    std::freopen("/dev/full", "w", stderr); // every write fails
    errno = ECONNREFUSED;
    LogMessageX("lost");
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST(Debug, TheFileIsTheFirstOfFivePlacesThatCanBeWritten)
{
    std::filesystem::path folder = std::filesystem::temp_directory_path() / ("debug" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    std::filesystem::current_path(folder);
    EXPECT_EQ(CloseDebugFile(), 0);

    const auto descriptors = program::OpenDescriptors();
    std::string name = "test " + std::to_string(getpid());
    gpartname = name.c_str();
    std::filesystem::path file = "/tmp/vyndebug " + name + ".txt";
    OpenDebugFile();
    LogMessage("first");
    EXPECT_EQ(std::filesystem::file_size(file), 17U); // before it is closed
    AppendDebugFile();                                // closes the one and goes on
    LogMessage("second");
    EXPECT_EQ(CloseDebugFile(), 0);
    std::stringstream content;
    content << std::ifstream(file).rdbuf();
    EXPECT_EQ(content.str(), "VYN Debug: first\nVYN Debug: second\n");
    std::filesystem::remove(file);

    // A name with a folder in it can be opened in none of the places but the one that has such a folder.
    gpartname = "no/such";
    auto log = CaptureLog([] { OpenDebugFile(); });
    EXPECT_EQ(log, (Lines{"Failed to open debug file: ~/vyndebug no/such.txt"}));
    std::filesystem::create_directory("vyndebug no");
    OpenDebugFile();
    EXPECT_EQ(CloseDebugFile(), 0);
    EXPECT_TRUE(std::filesystem::exists("vyndebug no/such.txt"));
    EXPECT_EQ(program::OpenDescriptors(), descriptors); // each file is closed before the next
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
}

TEST(Debug, LookUpsOfInstanceDataThatLookWrongAreTold)
{
    REALclassDefinition good = {.dataSize = 16, .forSystemUse = 48}, bad = {.forSystemUse = 8};
    REALcontrol control;
    control.forSystemUse = -1;
    auto instance = reinterpret_cast<REALobjectStruct *>(&good);
    gDebugging = true;
    EXPECT_EQ(
        CaptureLog([&] {
            REALGetClassDataChecks(instance, &good);
            REALGetClassDataChecks(nullptr, &bad);
            REALGetClassDataChecks(instance, &bad);
            REALGetControlDataChecks(nullptr, &control);
            REALGetControlDataChecks(instance, &control);
        }),
        Lines({"VYN Debug: REALGetClassData with nil instance (nil)", "VYN Debug: REALGetClassData with dataSize 0",
               "VYN Debug: REALGetClassData with forSystemUse 8",
               "VYN Debug: REALGetControlData with nil instance (nil)", "VYN Debug: REALGetControlData with dataSize 0",
               "VYN Debug: REALGetControlData with forSystemUse -1"}));
}
