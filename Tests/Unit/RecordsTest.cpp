// What registration finds in definition records, and how they reach the host.
#include "Source/Plugins/Network/BaseSocket.h"
#include "Source/Plugins/Network/Datagram.h"
#include "Source/SDK/GlueCode/DeclarationCheck.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbclassutil.h"
#include "Source/Utility/rbclassutilChecks.h"
#include "Tests/Unit/OnHost.h"

#include <fstream>
#include <functional>
#include <map>
#include <thread>

namespace {

Lines registered; // the kinds of the records that reached the host

// A host that takes definitions and has nothing else.
void StartHost(double version, int sdkVersion)
{
    FakeHost::Start(version, sdkVersion);
    gpartname = "Network";
    registered.clear();
// clang-format off
#define TAKE(kind) FakeHost::Provide("PluginRegister" #kind, [](void *) -> void * { registered.push_back(#kind); return nullptr; });
    TAKE(Class) TAKE(Module) TAKE(Method) TAKE(ClassExtension) TAKE(Interface) TAKE(Control) TAKE(DBEngine) TAKE(DBCursor)
    // clang-format on
}

long Get(REALobjectStruct *, long)
{
    return 0;
}

// A class with one member of each sort and without a fault, as a control, for it is both; and a module.
struct Sample {
    const char *entry = "red";
    REALattribute attribute = {"Hidden", ""};
    REALproperty property = {nullptr, "Size", "Integer", 6, Get, {}, 0, nullptr, 1, &entry, 1, &attribute};
    REALmethodDefinition method = {reinterpret_cast<void *>(Get), nullptr, "Go", 4, 1, &attribute};
    REALevent event = {"Done", nullptr, 1, &attribute};
    REALconstant constant = {"A = 1", nullptr, nullptr, 1, &attribute};
    REALdelegate delegate = {"D()", 4, 1, &attribute};
    REALenum enumeration = {};
    // clang-format off
    REALcontrol control = {{.name = "Sample", .dataSize = 0x48, .properties = &property, .propertyCount = 1,
                            .methods = &method, .methodCount = 1, .events = &event, .eventCount = 1,
                            .attributes = &attribute, .attributeCount = 1, .constants = &constant, .constantCount = 1,
                            .flags = 4, .sharedProperties = &property, .sharedPropertyCount = 1,
                            .sharedMethods = &method, .sharedMethodCount = 1, .delegates = &delegate,
                            .delegateCount = 1, .enums = &enumeration, .enumCount = 1}, 10, 10};
    REALmoduleDefinition module = {15, "Mod", &method, 1, &constant, 1, &property, 1, nullptr, 0, &enumeration, 1,
                                   &attribute, 1, &delegate, 1, {}, 4, nullptr, nullptr};
    // clang-format on
    REALclassDefinition &d = control;

    Sample() = default;
    Sample(const Sample &) = delete;

    void UseStandardAccessors(const char *type, std::intptr_t offset)
    {
        property.getter.word = property.setter.word = kStandardAccessor;
        property.type = type;
        property.parameter = offset;
    }
    // The same member over and over.
    void SetCounts(std::uint64_t methodCount, std::uint64_t constantCount)
    {
        methods.assign(d.methodCount = methodCount, method);
        constants.assign(d.constantCount = constantCount, constant);
        d.methods = methods.data();
        d.constants = constants.data();
    }
    std::vector<REALmethodDefinition> methods;
    std::vector<REALconstant> constants;
};

// How a sample is spoilt, as text and as code.
struct Row {
    const char *text;
    void (*spoil)(Sample &s);
};

// What findings.txt has: the lines of the log under what brings them.
std::map<std::string, std::string> ReadFindings()
{
    std::map<std::string, std::string> findings;
    std::string cause;
    std::ifstream file(FINDINGS);
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        line[0] == ' ' ? findings[cause] += line + "\n" : findings[cause = line];
    }
    return findings;
}

// The findings are those of the file, whole.
void ExpectFindings(const std::string &cause, const std::function<void()> &check)
{
    static const auto findings = ReadFindings();
    std::string found;
    for (const std::string &line : CaptureLog(check))
        found += "  " + line + "\n";
    auto known = findings.find(cause);
    EXPECT_EQ(found, known != findings.end() ? known->second : "") << "Tests/Unit/findings.txt: " << cause << "\n"
                                                                   << found;
}

void ExpectFindings(const char *kind, const std::vector<Row> &rows, void (*check)(Sample &s))
{
    for (const Row &row : rows) {
        Sample sample;
        row.spoil(sample);
        ExpectFindings(std::string(kind) + ": " + row.text, [&] { check(sample); });
    }
}

} // namespace

// clang-format off
TEST(Records, EachCountWithoutItsArrayIsTold)
{
    StartHost(2012.0, 10);
    const REALcontrol counts = {{.name = "C", .dataSize = 4, .forSystemUse = 1, .propertyCount = 1, .methodCount = 1, .eventCount = 1, .eventInstanceCount = 1, .attributeCount = 1, .constantCount = 1,
                                 .sharedPropertyCount = 1, .sharedMethodCount = 1, .delegateCount = 1, .enumCount = 1}, 10, 10};
    REALcontrol asClass = counts, asControl = counts, asExtension = counts;
    REALmoduleDefinition module = {10, "C", nullptr, 1, nullptr, 1, nullptr, 1, nullptr, 1, nullptr, 1, nullptr, 1, nullptr, 1, {}, 4, nullptr, nullptr};
    REALinterfaceDefinition interface = {15, "C", nullptr, 1, nullptr, 1};
    ExpectFindings("class: counts without arrays", [&] { MyREALRegisterClass(&asClass); });
    ExpectFindings("control: counts without arrays", [&] { MyREALRegisterControl(&asControl); });
    ExpectFindings("extension: counts without arrays", [&] { MyREALRegisterClassExtension(&asExtension); });
    ExpectFindings("module: counts without arrays", [&] { MyREALRegisterModule(&module); });
    ExpectFindings("interface: counts without arrays", [&] { MyREALRegisterInterface(&interface); });
    EXPECT_EQ(registered, Lines({"Class", "Control", "ClassExtension", "Module", "Interface"}));
}

// Below, `s` is a sample.
#define SPOIL(...) {#__VA_ARGS__, [](Sample &s) { __VA_ARGS__; }}

TEST(Records, FaultsOfTheRecordAreReportedAndItIsRegistered)
{
    StartHost(2012.0, 10);
    const std::vector<Row> classes = {
        SPOIL((void)s),
        SPOIL(s.d.version = 13),
        SPOIL(s.d.forSystemUse = 48),
        SPOIL(s.SetCounts(1000, 4000)),
        SPOIL(s.SetCounts(1001, 4000)),
        SPOIL(s.SetCounts(1000, 4001)),
        SPOIL(s.d.propertyCount = 0),
        SPOIL(s.d.superName = "UDPSocketVYN"),
        SPOIL(s.d.superName = "UDPSocketVYN"; s.d.dataSize = 0),
        SPOIL(s.d.superName = "SocketCore"),
        SPOIL(s.d.flags = s.property.flags = s.method.flags = 0x400),
        SPOIL(s.d.flags = s.property.flags = s.method.flags = 0x404),
        SPOIL(s.d.name = nullptr; s.d.version = 2),
    };
    ExpectFindings("class", classes, [](Sample &s) { MyREALRegisterClass(&s.control); });
    const std::vector<Row> controls = {
        SPOIL((void)s),
        SPOIL(s.d.dataSize = 0; s.d.version = 1),
        SPOIL(s.control.defaultWidth = 0),
        SPOIL(s.control.defaultHeight = 0; s.d.forSystemUse = 1; s.d.name = nullptr),
    };
    ExpectFindings("control", controls, [](Sample &s) { s.method.flags = s.property.flags = 0x202; MyREALRegisterControl(&s.control); });
    const std::vector<Row> modules = {
        SPOIL((void)s),
        SPOIL(s.module.version = 10),
        SPOIL(s.module.version = 9),
        SPOIL(s.module.name = nullptr),
        SPOIL(s.module.constantCount = 0),
    };
    ExpectFindings("module", modules, [](Sample &s) { MyREALRegisterModule(&s.module); });
    const std::vector<Row> extensions = {SPOIL(s.d.name = nullptr), SPOIL(s.d.superName = "Super"), SPOIL(s.d.version = 13)};
    ExpectFindings("extension", extensions, [](Sample &s) { REALclassDefinition extension = {.version = s.d.version, .name = s.d.name, .superName = s.d.superName, .methods = &s.method, .methodCount = 1, .flags = 4}; MyREALRegisterClassExtension(&extension); });
    const std::vector<Row> interfaces = {SPOIL((void)s), SPOIL(s.d.name = nullptr), SPOIL(s.d.version = 14)};
    ExpectFindings("interface", interfaces, [](Sample &s) { REALinterfaceDefinition interface = {s.d.version, s.d.name, &s.method, 1, &s.attribute, 1}; MyREALRegisterInterface(&interface); });
    const std::vector<Row> methods = {SPOIL(s.method.declaration = nullptr), SPOIL(s.method.function = nullptr), SPOIL(s.method.attributeCount = 0), SPOIL(s.attribute.name = nullptr)};
    ExpectFindings("method", methods, [](Sample &s) { MyREALRegisterMethod(&s.method); });
    ExpectFindings("method: nullptr", [] { MyREALRegisterMethod(nullptr); });
    EXPECT_EQ(registered.size(), classes.size() + controls.size() + modules.size() + extensions.size() + interfaces.size() + methods.size());
}

TEST(Records, FaultsOfMembersAreReported)
{
    ExpectFindings("member", {
        SPOIL(s.method.declaration = nullptr), SPOIL(s.method.function = nullptr), SPOIL(s.method.attributeCount = 0),
        SPOIL(s.constant.declaration = nullptr), SPOIL(s.constant.attributes = nullptr),
        SPOIL(s.event.declaration = nullptr), SPOIL(s.event.attributeCount = 1001; s.event.attributes = nullptr),
        SPOIL(s.delegate.declaration = nullptr; s.delegate.flags = 0), SPOIL(s.delegate.attributes = nullptr),
        SPOIL(s.property.name = nullptr), SPOIL(s.property.getter = {}), SPOIL(s.property.type = nullptr),
        SPOIL(s.UseStandardAccessors("DOUBLE", 8)), SPOIL(s.UseStandardAccessors("Integer", 6)),
        SPOIL(s.UseStandardAccessors("Integer", 6); s.property.setter = {}), SPOIL(s.UseStandardAccessors("Integer", 0x70000000C)),
        SPOIL(s.property.editor = &s), SPOIL(s.property.enumCount = 1001), SPOIL(s.property.attributes = nullptr),
    }, [](Sample &s) {
        CheckMethods("C", &s.method, 1);
        CheckConstants("C", &s.constant, 1);
        CheckEvents("C", &s.event, 1);
        CheckDelegates("C", &s.delegate, 1);
        CheckProperties("C", &s.property, 1);
    });
    ExpectFindings("attribute", {SPOIL(s.attribute.value = nullptr)}, [](Sample &s) { CheckAttributes("C", "D", &s.attribute, 1); });
    ExpectFindings("members by the ten thousand", {SPOIL((void)s)}, [](Sample &s) {
        CheckMethods("C", &s.method, 10001);
        CheckConstants("C", &s.constant, 10001);
        CheckEvents("C", &s.event, 10001);
        CheckDelegates("C", &s.delegate, 10001);
        CheckProperties("C", &s.property, 10001);
        CheckAttributes("C", "D", &s.attribute, 10001);
        CheckAttributes("C", "D", nullptr, 5);
    });
}

TEST(Records, MembersThatDoNotFitTheirOwnersTargetsAreReported)
{
    ExpectFindings("targets of a class", {
        SPOIL(s.d.flags = 4), SPOIL(s.d.flags = 0x204), SPOIL(s.d.flags = s.method.flags = 0x204; s.property.name = "Debugging"),
        SPOIL(s.UseStandardAccessors("Integer", 0x44)), SPOIL(s.UseStandardAccessors("Integer", 0x45); s.property.getter = Get), SPOIL(s.property.parameter = 0x100),
    }, [](Sample &s) { CheckTargetFlags(&s.d); });
    ExpectFindings("targets of a control", {
        SPOIL(s.UseStandardAccessors("Integer", 0x45)), SPOIL(s.method.flags = s.property.flags = 0x202),
    }, [](Sample &s) { CheckTargetFlags(&s.control); });
    ExpectFindings("targets of a mobile control", {SPOIL(s.method.flags = 0x402; s.UseStandardAccessors("Integer", 0x45))}, [](Sample &s) { REALmobileControl mobile{s.d}; CheckTargetFlags(&mobile); });
    ExpectFindings("targets of a module", {SPOIL(s.module.flags = 4), SPOIL(s.module.flags = 0x204)}, [](Sample &s) { CheckTargetFlags(&s.module); });
}

TEST(Records, FlagsAreAdaptedToTheHost)
{
    struct { double hostVersion; std::uint32_t before, after; } const rows[] = {
        {2019.9,  0x30C, 0x4},   {2020.02, 0x30C,  0x30C},  {2019.9,   0x70C,   0x70C}, {2019.9, 0x208,   0x208},
        {2019.9,  0x1328, 0x1024}, {2010.029, 0x40000, 0x4}, {2010.0, 0x40000, 0x0},   {2010.0, 0x40308, 0x4},
    };
    for (const auto &row : rows) {
        gHostVersion = row.hostVersion;
        Sample sample, shared;
        sample.d.sharedMethods = &shared.method;
        sample.d.sharedProperties = &shared.property;
        std::uint32_t *const flags[] = {&sample.d.flags, &sample.method.flags, &sample.property.flags, &shared.method.flags, &shared.property.flags};
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
TEST(Records, EveryMemberOfEveryOwnerIsCheckedAndAdapted)
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

TEST(Records, RegistrationRoundsTheDataAndNamesTheVersionSpoken)
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

TEST(Records, ModuleMembersWithoutScopeBecomeProtected)
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

TEST(Records, DatabaseRecordsOutOfRangeAreRejected)
{
    StartHost(2021.0, 12);
    for (std::uint32_t version : {0U, 1U, 2U, 3U, 14U, 15U}) {
        REALdbCursorDefinition cursor = {version, nullptr, [](REALdbCursorStruct *) {}}, openCursor = {15, nullptr, nullptr};
        REALdbEngineDefinition engine = {version, [](REALdbDatabaseStruct *) {}}, openEngine = {1, nullptr};
        registered.clear();
        ExpectFindings("database: records of version " + std::to_string(version), [&] {
            MyREALRegisterDBCursor(&cursor);
            MyREALRegisterDBEngine(&engine);
            MyREALRegisterDBCursor(&openCursor);
            MyREALRegisterDBEngine(&openEngine);
        });
        EXPECT_EQ(registered, version == 15 ? Lines{"DBCursor"} : version == 1 || version == 2 ? Lines{"DBEngine"} : Lines());
    }
}

// clang-format on

TEST(Records, ControlsOfTheNewKindHaveOtherEvents)
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
    sample.d.events = events.data();
    sample.d.eventCount = 3; // fewer than are dropped
    CaptureLog([&] { MyREALRegisterControl(&sample.control); });
    EXPECT_EQ(sample.d.eventCount, 0U);
    EXPECT_EQ(sample.d.dataSize, 0x50U);
}

TEST(Records, WithoutAPartNameOnlySingleMethodsAreRegistered)
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
    EXPECT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines.back(), "Error: gpartname is nil!? REALdbEngineDefinition");
    EXPECT_EQ(registered, Lines({"Method"}));
    EXPECT_EQ(sample.d.version, 15U);
}

// A rule of this library's, in the numbers that hosts know: a member for some targets, or of another scope, is wrong.
TEST(Records, EveryClassAndMemberHasTheUsualFlags)
{
    std::vector<std::string_view> names = {"SocketCore"};
    for (const REALclassDefinition *d : {&UDPSocketClass, &RAWSocketClass, &DatagramClass}) {
        names.push_back(d->name);
        EXPECT_EQ(d->flags, 0x4U) << d->name << ": a class for all programs has .flags = kConsoleSafe";
        auto check = [&](const char *member, unsigned int flags, unsigned int usual) {
            EXPECT_EQ(flags, usual) << d->name << "." << member
                                    << ": take METHOD, FIELD, COMPUTED or OPTION for its row";
        };
        for (const auto &method : Members(d->methods, d->methodCount))
            check(method.declaration, method.flags, 0x4);
        for (const auto &method : Members(d->sharedMethods, d->sharedMethodCount))
            check(method.declaration, method.flags, 0x4);
        for (const auto &property : Members(d->properties, d->propertyCount))
            check(property.name, property.flags, 0x6);
    }
    for (std::string_view name : declaration::kClasses)
        EXPECT_EQ(std::count(names.begin(), names.end(), name), 1) << "DeclarationCheck.h: no class " << name;
}

TEST(Records, PluginStartSetsNameSwitchAndMainThread)
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
