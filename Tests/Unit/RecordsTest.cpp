// What registration finds in definition records, and how they reach the host.
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbclassutil.h"
#include "Tests/Unit/OnHost.h"

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

struct Row {
    void (*spoil)(Sample &s);
    Lines lines;
};
// clang-format off
#define ROW(spoil, ...) {[](Sample &s) { spoil; }, {__VA_ARGS__}}
// clang-format on

// Spoils a fresh sample as each row says and expects its lines of what follows.
template <typename Check>
void ExpectLines(const std::vector<Row> &rows, Check check)
{
    for (const Row &row : rows) {
        Sample sample;
        row.spoil(sample);
        EXPECT_EQ(CaptureLog([&] { check(sample); }), row.lines) << "row " << &row - rows.data();
    }
}

// clang-format off
// Counts without arrays, each another, to tell which message goes with which.
REALcontrol CountsAlone()
{
    return {{.name = "C", .propertyCount = 1, .methodCount = 2, .eventCount = 3, .eventInstanceCount = 4,
             .attributeCount = 8, .constantCount = 5, .sharedPropertyCount = 6, .sharedMethodCount = 7,
             .delegateCount = 9, .enumCount = 10}, 10, 10};
}

// clang-format on

// "Error: The class C has the wrong propertyCount value: 1" and so on.
Lines Wrong(const std::string &owner, const std::vector<std::pair<const char *, int>> &values, const Lines &more = {})
{
    Lines lines;
    for (const auto &[name, value] : values)
        lines.push_back("Error: The " + owner + " has the wrong " + name + " value: " + std::to_string(value));
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

const char kNoMethod[] = "Error: method C.0 is NULL.";
const char kNoConstant[] = "Error: Constant C.0 is NULL.";

} // namespace

// clang-format off
TEST(Records, EveryCountHasItsMessage)
{
    StartHost(2012.0, 10);
    REALcontrol sample = CountsAlone();
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterClass(&sample); }),
              Wrong("class C", {{"propertyCount", 1}, {"methodCount", 2}, {"eventCount", 3}, {"eventInstanceCount", 4}, {"constantCount", 5}, {"sharedPropertyCounttionCount", 6}, {"sharedMethodCount", 7}, {"attributeCount", 8}, {"delegateCount", 9}, {"enumCount", 10}},
                    {kNoMethod, kNoConstant, kNoMethod}));
    sample = CountsAlone();
    sample.dataSize = 4;
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterControl(&sample); }),
              Wrong("control C", {{"propertyCount", 1}, {"methodCount", 2}, {"eventCount", 3}, {"eventInstanceCount", 4}, {"constantCount", 5}, {"sharedMethodCount", 7}, {"sharedPropertyCount", 6}, {"attributeCount", 8}, {"delegateCount", 9}, {"enumCount", 10}},
                    {kNoMethod, kNoConstant, kNoMethod}));
    sample = CountsAlone();
    const std::string error = "Error: The class extension C has ", warning = "Warning: The class extension C has the ";
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterClassExtension(&sample); }),
              Wrong("class extension C", {{"propertyCount", 1}, {"methodCount", 2}},
                    {error + "events: 3", error + "event instances: 4", error + "constants: 5", error + "shared Properties: 6", error + "shared Methods: 7", error + "wrong attributes: 8", error + "delegates 9", error + "enums: 10",
                     kNoMethod, kNoConstant, kNoMethod,
                     warning + "propertyCount value: 1", warning + "constantCount value: 5", warning + "eventCount value: 3", warning + "sharedProperties value: 6", warning + "sharedMethods value: 7"}));
    REALmoduleDefinition module = {10, "C", nullptr, 2, nullptr, 5, nullptr, 1, nullptr, 11, nullptr, 10, nullptr, 8, nullptr, 9, {}, 4, nullptr, nullptr};
    const std::string nil = " array is nil while count is not zero!";
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterModule(&module); }),
              Wrong("module C", {{"propertyCount", 1}, {"methodCount", 2}, {"structureCount", 11}, {"enumCount", 10}, {"attributeCount", 8}, {"delegateCount", 9}},
                    {kNoMethod, kNoConstant, "VYN Debug: Error: method" + nil, "VYN Debug: Error: property" + nil, "VYN Debug: Error: enum" + nil}));
    REALinterfaceDefinition interface = {15, "C", nullptr, 2, nullptr, 8};
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterInterface(&interface); }), Wrong("interface C", {{"methodCount", 2}, {"attributeCount", 8}}));
    EXPECT_EQ(registered, Lines({"Class", "Control", "ClassExtension", "Module", "Interface"}));
}

TEST(Records, FaultsOfTheRecordAreReportedAndItIsRegistered)
{
    StartHost(2012.0, 10);
    const std::vector<Row> classes = {
        ROW((void)s),
        ROW(s.d.version = 13, "Error: The class Sample has the wrong kCurrentREALControlVersion: 13 vs. 15"),
        ROW(s.d.forSystemUse = 48, "Error: The class Sample has the wrong forSystemUse value: 48"),
        ROW(s.SetCounts(1000, 4000)),
        ROW(s.SetCounts(1001, 4000), "Error: The class Sample has the wrong methodCount value: 1001"),
        ROW(s.SetCounts(1000, 4001), "Error: The class Sample has the wrong constantCount value: 4001"),
        ROW(s.d.propertyCount = 0, "Error: The class Sample has the wrong propertyCount value: 0"),
        ROW(s.d.superName = "UDPSocketVYN", "Warning: The subclass Sample of UDPSocketVYN has data size: 72"),
        ROW(s.d.superName = "UDPSocketVYN"; s.d.dataSize = 0),
        ROW(s.d.superName = "SocketCore"),
        ROW(s.d.flags = s.property.flags = s.method.flags = 0x400, "Warning: iOS only class registered for old Xojo: Sample"),
        ROW(s.d.flags = s.property.flags = s.method.flags = 0x404),
        ROW(s.d.name = nullptr; s.d.version = 2, "Error: The class (null) has the wrong kCurrentREALControlVersion: 2 vs. 15", "Error: A class without name."),
    };
    ExpectLines(classes, [](Sample &s) { MyREALRegisterClass(&s.control); });
    const std::vector<Row> controls = {
        ROW((void)s),
        ROW(s.d.dataSize = 0; s.d.version = 1, "Error: The control Sample has the wrong kCurrentREALControlVersion: 1 vs. 15", "Error: The control Sample has the dataSize being zero!"),
        ROW(s.control.defaultWidth = 0, "Error: The control Sample has the wrong defaultWidth value: 0"),
        ROW(s.control.defaultHeight = 0; s.d.forSystemUse = 1; s.d.name = nullptr, "Error: A control without name.", "Error: The control (null) has the wrong defaultHeight value: 0", "Error: The control (null) has the wrong forSystemUse value: 1"),
    };
    ExpectLines(controls, [](Sample &s) { s.method.flags = s.property.flags = 0x202; MyREALRegisterControl(&s.control); });
    const std::vector<Row> modules = {
        ROW((void)s),
        ROW(s.module.version = 10),
        ROW(s.module.version = 9, "Error: The module Mod has the wrong kCurrentREALControlVersion: 9 vs. 15"),
        ROW(s.module.name = nullptr, "Error: A module without name."),
        ROW(s.module.constantCount = 0),
    };
    ExpectLines(modules, [](Sample &s) { MyREALRegisterModule(&s.module); });
    const std::vector<Row> extensions = {
        ROW(s.d.name = nullptr, "Error: A class extension without name."),
        ROW(s.d.superName = "Super", "Error: A class extension can't have super name: Super"),
    };
    ExpectLines(extensions, [](Sample &s) { REALclassDefinition extension = {.name = s.d.name, .superName = s.d.superName, .methods = &s.method, .methodCount = 1, .flags = 4}; MyREALRegisterClassExtension(&extension); });
    const std::vector<Row> interfaces = {ROW((void)s), ROW(s.d.name = nullptr, "Error: A interface without name.")};
    ExpectLines(interfaces, [](Sample &s) { REALinterfaceDefinition interface = {15, s.d.name, &s.method, 1, &s.attribute, 1}; MyREALRegisterInterface(&interface); });
    const std::vector<Row> methods = {
        ROW(s.method.declaration = nullptr, "Error: A method without declaration."),
        ROW(s.method.function = nullptr, "Error: The method Go has no function."),
        ROW(s.method.attributeCount = 0, "Error: The method Go has the wrong attributeCount value: 0"),
        ROW(s.attribute.name = nullptr, "Error: .Go has an attribute without name! Index: 0"),
    };
    ExpectLines(methods, [](Sample &s) { MyREALRegisterMethod(&s.method); });
    EXPECT_EQ(CaptureLog([] { MyREALRegisterMethod(nullptr); }), Lines({"Error: A method registered is nil."}));
    EXPECT_EQ(registered.size(), classes.size() + controls.size() + modules.size() + extensions.size() + interfaces.size() + methods.size());
}

TEST(Records, FaultsOfMembersAreReportedWithTheirPlace)
{
    ExpectLines({
        ROW(s.method.declaration = nullptr, "Error: The method C.0 has nil declaration."),
        ROW(s.method.function = nullptr, "Error: The method C.Go has nil function."),
        ROW(s.method.attributeCount = 0, "Error: The method C.Go has the wrong attributeCount value: 0"),
        ROW(s.constant.declaration = nullptr, "Error: The constant C.0 has nil declaration."),
        ROW(s.constant.attributes = nullptr, "Error: The constant C.A = 1 has the wrong attributeCount value: 1"),
        ROW(s.event.declaration = nullptr, "Error: The event C.0 has nil declaration."),
        ROW(s.event.attributeCount = 1001; s.event.attributes = nullptr, "Error: The event C.Done has the wrong attributeCount value: 1001"),
        ROW(s.delegate.declaration = nullptr; s.delegate.flags = 0, "Error: The delegate C.0 has nil declaration.", "Warning: The delegate C.(null) has 0 for flags."),
        ROW(s.delegate.attributes = nullptr, "Error: The delegate C.D() has the wrong attributeCount value: 1"),
        ROW(s.property.name = nullptr, "Error: The property C.0 has nil name."),
        ROW(s.property.getter = {}, "Error: The property C.Size has nil getter."),
        ROW(s.property.type = nullptr, "Error: The property C.0 has nil type."),
        ROW(s.UseStandardAccessors("DOUBLE", 2), "Error: The property C.Size needs custom getter.", "Error: The property C.Size needs custom setter."),
        ROW(s.UseStandardAccessors("Integer", 6), "Error: The property C.Size has unaligned offset 6.", "Error: The property C.Size has unaligned offset 6."),
        ROW(s.UseStandardAccessors("Integer", 6); s.property.setter = {}, "Error: The property C.Size has unaligned offset 6."),
        ROW(s.UseStandardAccessors("Integer", 0x70000000C)),
        ROW(s.property.editor = &s, "Error: The property C.Size has editor."),
        ROW(s.property.enumCount = 1001, "Error: The property C.Size has wrong enumCount: 1001"),
        ROW(s.property.attributes = nullptr, "Error: The property C.Size has attributes: 1"),
    }, [](Sample &s) {
        CheckMethods("C", &s.method, 1);
        CheckConstants("C", &s.constant, 1);
        CheckEvents("C", &s.event, 1);
        CheckDelegates("C", &s.delegate, 1);
        CheckProperties("C", &s.property, 1);
    });
    ExpectLines({
        ROW(s.attribute.value = nullptr, "Error: C.D has an attribute without value! Name: Hidden Index: 0"),
    }, [](Sample &s) { CheckAttributes("C", "D", &s.attribute, 1); });
    ExpectLines({
        ROW((void)s, "Error: method count out of range for C: 10001.", "Error: constant count out of range for C: 10001.", "Error: event count out of range for C: 10001.", "Error: delegate count out of range for C: 10001.", "Error: property count out of range for C: 10001.", "Error: attribute count out of range for C.D: 10001."),
    }, [](Sample &s) {
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
    static const std::string unsafe = " in console-unsafe class:  Sample, ", desktop = " in control missing REALTargetDesktop:  Sample, ";
    static const std::string ios = " in control missing REALTargetIOS:  Sample, ", safe = "VYN Debug: Console-safe ";
    ExpectLines({
        ROW(s.d.flags = 4),
        ROW(s.d.flags = 0x204, safe + "method" + unsafe + "Go", safe + "shared method" + unsafe + "Go", safe + "property" + unsafe + "Size", safe + "shared property" + unsafe + "Size"),
        ROW(s.d.flags = 0x204; s.method.flags = 0x204; s.property.name = "Debugging", safe + "property" + unsafe + "Debugging"),
        ROW(s.UseStandardAccessors("Integer", 0x44)),
        ROW(s.UseStandardAccessors("Integer", 0x45); s.property.getter = Get, "Error: Offset for variable too big: Sample.Size 69 72"),
        ROW(s.property.parameter = 0x100),
    }, [](Sample &s) { CheckTargetFlags(&s.d); });
    ExpectLines({
        ROW(s.UseStandardAccessors("Integer", 0x45), "Error: Offset for variable too big: Sample.Size 69 72", "VYN Debug: Method" + desktop + "Go", "VYN Debug: Shared method" + desktop + "Go", "VYN Debug: Property" + desktop + "Size", "VYN Debug: Shared property" + desktop + "Size"),
        ROW(s.method.flags = s.property.flags = 0x202),
    }, [](Sample &s) { CheckTargetFlags(&s.control); });
    ExpectLines({
        ROW(s.method.flags = 0x402; s.UseStandardAccessors("Integer", 0x45), "Error: Offset for variable too big: Sample.Size 69 72", "VYN Debug: Property" + ios + "Size", "VYN Debug: Shared property" + ios + "Size"),
    }, [](Sample &s) { REALmobileControl mobile{s.d}; CheckTargetFlags(&mobile); });
    ExpectLines({
        ROW(s.module.flags = 4),
        ROW(s.module.flags = 0x204, "VYN Debug: Console-safe method in console-unsafe module:  Mod, Go", "VYN Debug: Console-safe property in console-unsafe module:  Mod, Size"),
    }, [](Sample &s) { CheckTargetFlags(&s.module); });
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
}

// Every member gets the same bad attribute and flags to be adapted.
TEST(Records, EveryMemberOfEveryOwnerIsCheckedAndAdapted)
{
    StartHost(2012.0, 10);
    const Lines ofClass = {"Sample", "Go", "Size", "A = 1", "Done", "D()", "Go", "Size"};
    struct {
        void (*handOver)(Sample &s);
        Lines members; // in the order of their checks
        std::uint32_t flags = 0x14;
    } const rows[] = {
        {[](Sample &s) { MyREALRegisterClass(&s.d); }, ofClass},
        {[](Sample &s) { MyREALRegisterControl(&s.control); }, ofClass, 0x40014},
        {[](Sample &s) { MyREALRegisterClassExtension(&s.d); }, {"Go", "Size", "A = 1", "Done", "Go", "Size", "D()"}},
        {[](Sample &s) { MyREALRegisterModule(&s.module); }, {"Go", "Size", "A = 1", "D()"}},
    };
    const std::string_view bad = " has an attribute without name";
    for (const auto &row : rows) {
        Sample sample;
        sample.attribute.name = nullptr;
        sample.d.flags = sample.module.flags = 0x204;
        sample.method.flags = 0x40014;
        Lines members;
        for (const std::string &line : CaptureLog([&] { row.handOver(sample); })) {
            std::size_t start = line.find('.') + 1, end = line.find(bad);
            if (end != std::string::npos) members.push_back(line.substr(start, end - start));
        }
        EXPECT_EQ(members, row.members);
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
        Lines log = CaptureLog([&] {
            MyREALRegisterDBCursor(&cursor);
            MyREALRegisterDBEngine(&engine);
            MyREALRegisterDBCursor(&openCursor);
            MyREALRegisterDBEngine(&openEngine);
        });
        EXPECT_EQ(registered, version == 15 ? Lines{"DBCursor"} : version == 1 || version == 2 ? Lines{"DBEngine"} : Lines());
        EXPECT_EQ(log.size(), registered.empty() ? 4U : 3U);
        EXPECT_EQ(log.back(), "VYN Debug: Error: REALdbEngineDefinition.closeDatabase is nil");
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
    for (std::uint32_t flags : {4U, 0x1000U}) {
        sample.d.eventCount = events.size();
        sample.d.flags = flags;
        CaptureLog([&] { MyREALRegisterControl(&sample.control); });
        Lines names;
        for (std::uint64_t i = 0; i < sample.d.eventCount; i++)
            names.push_back(sample.d.events[i].declaration);
        if (flags == 4) {
            EXPECT_EQ(names.size(), 9U);
        } else {
            EXPECT_EQ(names, Lines({"FocusReceived", "Open", "FocusLost", "MenuBarSelected"}));
        }
    }
    EXPECT_STREQ(events[4].declaration, "GotFocus");
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
    const std::string nil = "Error: gpartname is nil!? ";
    EXPECT_EQ(lines, Lines({nil + "Sample", nil + "Mod", nil + "Sample", nil + "Sample", nil + "Interface",
                            nil + "REALdbCursorDefinition", nil + "REALdbEngineDefinition"}));
    EXPECT_EQ(registered, Lines({"Method"}));
    EXPECT_EQ(sample.d.version, 15U);
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
