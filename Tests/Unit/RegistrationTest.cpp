// How definition records reach the host.
#include "Source/Plugins/Network/BaseSocket.h"
#include "Source/Plugins/Network/Datagram.h"
#include "Source/SDK/GlueCode/DeclarationCheck.h"
#include "Source/Utility/rbclassutilChecks.h"
#include "Tests/Unit/Sample.h"

#include <thread>

TEST(Registration, FlagsAreAdaptedToTheHost)
{
    struct {
        double hostVersion;
        std::uint32_t before, after;
    } const rows[] = {
        {2020.0199, 0x30C, 0x4},  {2020.02, 0x30C, 0x30C},  {2019.9, 0x70C, 0x70C},    {2019.9, 0x208, 0x208},
        {2019.9, 0x1328, 0x1024}, {2010.029, 0x40000, 0x4}, {2010.0289, 0x40000, 0x0}, {2010.0, 0x40308, 0x4},
    };
    for (const auto &row : rows) {
        gHostVersion = row.hostVersion;
        Sample sample, shared;
        sample.d.sharedMethods = &shared.method;
        sample.d.sharedProperties = &shared.property;
        std::uint32_t *const flags[] = {&sample.d.flags, &sample.method.flags, &sample.property.flags,
                                        &shared.method.flags, &shared.property.flags};
        for (std::uint32_t *word : flags)
            *word = row.before;
        FixFlags(&sample.d);
        for (std::uint32_t *word : flags)
            EXPECT_EQ(*word, row.after) << std::hex << row.before << " on " << row.hostVersion;
    }
    Sample sample;
    sample.method.flags = 0x40000;
    FixFlags(static_cast<REALmethodDefinition *>(nullptr), 5, "");
    FixFlags(&sample.method, -1, "");
    EXPECT_EQ(sample.method.flags, 0x40000U);
    REALmethodDefinition two[] = {sample.method, sample.method};
    FixFlags(two, "");
    EXPECT_EQ(two[0].flags, 0x0U);
    EXPECT_EQ(two[1].flags, 0x40000U);
}

// Every member gets the same bad attribute and flags to be adapted.
TEST(Registration, EveryMemberOfEveryOwnerIsCheckedAndAdapted)
{
    StartHost(2012.0, 10);
    struct {
        void (*handOver)(Sample &s);
        long members, lines; // with what an extension may not have, and those for the console alone
        std::uint32_t flags = 0x14;
    } const rows[] = {
        {[](Sample &s) { MyREALRegisterClass(&s.d); }, 8, 8 + 4},
        {[](Sample &s) { MyREALRegisterControl(&s.control); }, 8, 8 + 4, 0x40014},
        {[](Sample &s) { MyREALRegisterClassExtension(&s.d); }, 7, 7 + 12 + 4},
        {[](Sample &s) { MyREALRegisterModule(&s.module); }, 4, 4 + 2},
    };
    for (const auto &row : rows) {
        Sample sample;
        sample.attribute.name = nullptr;
        sample.d.flags = sample.module.flags = 0x204;
        sample.method.flags = 0x40014;
        Lines log = CaptureLog([&] { row.handOver(sample); });
        auto isBad = [](const std::string &line) { return line.find("has an attribute without name") != line.npos; };
        EXPECT_EQ(std::count_if(log.begin(), log.end(), isBad), row.members);
        EXPECT_EQ(std::ssize(log), row.lines);
        EXPECT_EQ(sample.method.flags, row.flags);
    }
}

TEST(Registration, RegistrationRoundsTheDataAndNamesTheVersionSpoken)
{
    StartHost(2021.0, 12);
    for (auto [size, rounded] : {std::pair(0x48UL, 0x50UL), {0x28, 0x30}, {0x40, 0x40}, {0, 0}, {1, 16}}) {
        Sample sample;
        sample.d.dataSize = size;
        MyREALRegisterClass(&sample.d);
        EXPECT_EQ(sample.d.dataSize, rounded);
        EXPECT_EQ(sample.d.version, 12U);
    }
}

TEST(Registration, ModuleMembersWithoutScopeBecomeProtected)
{
    StartHost(2019.0, 12);
    for (auto [before, after] : {std::pair(0x4U, 0x44U), {0x5, 0x45}, {0x14, 0x14}, {0x24, 0x24}, {0x30C, 0x44}}) {
        Sample sample;
        sample.method.flags = sample.property.flags = sample.enumeration.flags = before;
        sample.module.flags = 0;
        MyREALRegisterModule(&sample.module);
        EXPECT_EQ(sample.method.flags, after);
        EXPECT_EQ(sample.property.flags, after);
        EXPECT_EQ(sample.enumeration.flags & 0xF0, after & 0xF0);
        EXPECT_EQ(sample.module.flags, 4U);
        EXPECT_EQ(sample.module.version, 12U);
    }
}

TEST(Registration, DatabaseRecordsOutOfRangeAreRejected)
{
    StartHost(2021.0, 12);
    for (std::uint32_t version : {0U, 1U, 2U, 3U, 14U, 15U, 16U}) {
        REALdbCursorDefinition cursor = {version, nullptr, [](REALdbCursorStruct *) {}};
        REALdbEngineDefinition engine = {version, [](REALdbDatabaseStruct *) {}};
        const bool isCursor = version == 15, isEngine = version == 1 || version == 2;
        auto expected = [&](bool isTaken, const std::string &record) {
            return isTaken
                       ? Lines()
                       : Lines{"VYN Debug: Error: " + record + ".version is out of range " + std::to_string(version)};
        };
        registered.clear();
        EXPECT_EQ(CaptureLog([&] { MyREALRegisterDBCursor(&cursor); }), expected(isCursor, "REALdbCursorDefinition"));
        EXPECT_EQ(CaptureLog([&] { MyREALRegisterDBEngine(&engine); }), expected(isEngine, "REALdbEngineDefinition"));
        EXPECT_EQ(registered, isCursor ? Lines{"DBCursor"} : isEngine ? Lines{"DBEngine"} : Lines());
        EXPECT_EQ(cursor.version, version == 15 ? 12 : version);
        EXPECT_EQ(engine.version, version);
    }
    REALdbCursorDefinition cursor = {15, nullptr, nullptr};
    REALdbEngineDefinition engine = {1, nullptr};
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterDBCursor(&cursor); }), Lines{"VYN Debug: Error: closeCursor is nil"});
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterDBEngine(&engine); }),
              Lines{"VYN Debug: Error: REALdbEngineDefinition.closeDatabase is nil"});
}

TEST(Registration, ControlsOfTheNewKindHaveOtherEvents)
{
    StartHost(2021.0, 12);
    std::vector<REALevent> events;
    for (const char *name : {"A", "B", "C", "D", "GotFocus", "GotFocus", "Open", "LostFocus", "EnableMenuItems"})
        events.push_back({name, nullptr, 0, nullptr});
    Sample sample;
    sample.d.events = events.data();
    for (auto [flags, wanted] : {std::pair(5U, "A B C D GotFocus GotFocus Open LostFocus EnableMenuItems "),
                                 {0x1000U, "FocusReceived Open FocusLost MenuBarSelected "}}) {
        sample.d.eventCount = events.size();
        sample.d.flags = flags;
        CaptureLog([&] { MyREALRegisterControl(&sample.control); });
        std::string names;
        for (std::uint64_t i = 0; i < sample.d.eventCount; i++)
            names += std::string(sample.d.events[i].declaration) + " ";
        EXPECT_EQ(names, wanted);
    }
    EXPECT_STREQ(events[4].declaration, "GotFocus");
    for (auto [count, left] : {std::pair(3U, 0U), {5, 0}, {6, 1}}) { // five are dropped
        sample.d.events = events.data();
        sample.d.eventCount = count;
        CaptureLog([&] { MyREALRegisterControl(&sample.control); });
        EXPECT_EQ(sample.d.eventCount, left);
    }
    EXPECT_EQ(sample.d.dataSize, 0x50U);
}

TEST(Registration, WithoutAPartNameOnlySingleMethodsAreRegistered)
{
    StartHost(2012.0, 10);
    gpartname = nullptr;
    Sample sample;
    auto lines = CaptureLog([&] {
        MyREALRegisterClass(&sample.d);
        MyREALRegisterModule(&sample.module);
        MyREALRegisterClassExtension(&sample.d);
        MyREALRegisterControl(&sample.control);
        MyREALRegisterMethodArray(&sample.method, 1);
        REALinterfaceDefinition interface = {15, "Interface", nullptr, 0, nullptr, 0};
        MyREALRegisterInterface(&interface);
        MyREALRegisterDBCursor(nullptr);
        MyREALRegisterDBEngine(nullptr);
    });
    Lines wanted;
    for (const char *name :
         {"Sample", "Mod", "Sample", "Sample", "Interface", "REALdbCursorDefinition", "REALdbEngineDefinition"})
        wanted.push_back(std::string("Error: gpartname is nil!? ") + name);
    EXPECT_EQ(lines, wanted);
    EXPECT_EQ(registered, Lines({"Method"}));
    EXPECT_EQ(sample.d.version, 15U);
}

// A rule of this library's, in the numbers that hosts know: a member for some targets, or of another scope, is wrong.
// METHOD, FIELD, COMPUTED and OPTION make rows that follow it.
TEST(Registration, EveryClassAndMemberHasTheUsualFlags)
{
    std::vector<std::string_view> names = {"SocketCore"};
    for (const REALclassDefinition *d : {&UDPSocketClass, &RAWSocketClass, &DatagramClass}) {
        names.push_back(d->name);
        EXPECT_EQ(d->flags, 0x4U) << d->name;
        for (auto methods : {Members(d->methods, d->methodCount), Members(d->sharedMethods, d->sharedMethodCount)}) {
            for (const auto &method : methods)
                EXPECT_EQ(method.flags, 0x4U) << d->name << "." << method.declaration;
        }
        for (const auto &property : Members(d->properties, d->propertyCount))
            EXPECT_EQ(property.flags, 0x6U) << d->name << "." << property.name;
    }
    for (std::string_view name : declaration::kClasses)
        EXPECT_EQ(std::count(names.begin(), names.end(), name), 1) << "DeclarationCheck.h: no class " << name;
}

TEST(Registration, PluginStartSetsNameSwitchAndMainThread)
{
    StartHost(2020.02, 13);
    setenv("VYNDEBUG", "Yes", 1);
    static const char name[] = "Net work one";
    const char warning[] = "VYN Debug: Warning: plugin name containts space character Net work one";
    EXPECT_EQ(CaptureLog([] { MyPluginStart(name); }),
              Lines({"Loading Net work one in Xojo 2020.02 and plugin SDK version 13...", warning, warning}));
    EXPECT_EQ(gpartname, name);

    setenv("VYNDEBUG", "on", 1);
    gDebugging = false;
    EXPECT_EQ(CaptureLog([] { MyPluginStart("Network"); }), Lines());
    EXPECT_TRUE(OnMainThread());
    std::thread([] { EXPECT_FALSE(OnMainThread()); }).join();
}
