// What registration finds in definition records.
#include "Source/Utility/rbclassutilChecks.h"
#include "Tests/Unit/Sample.h"

namespace {

// How a sample is spoilt, as text and as code, and all that the log says of it.
struct Row {
    const char *text;
    void (*spoil)(Sample &s);
    Lines findings;
};
// clang-format off
#define SPOIL(spoil, ...) {#spoil, [](Sample &s) { spoil; }, {__VA_ARGS__}}
// clang-format on

// Hands a sample over for each row; the record reaches the host in each case, as that kind if one is given.
void ExpectFindings(const char *kind, const std::vector<Row> &rows, void (*handOver)(Sample &s))
{
    for (const Row &row : rows) {
        Sample sample;
        row.spoil(sample);
        registered.clear();
        EXPECT_EQ(CaptureLog([&] { handOver(sample); }), row.findings) << row.text;
        EXPECT_EQ(registered, *kind != 0 ? Lines{kind} : Lines()) << row.text;
    }
}

// What is told of a record with these counts but no arrays, and with the lines that follow.
Lines WithoutArrays(const std::string &kind, const Lines &counts, const Lines &more)
{
    Lines lines;
    for (const std::string &count : counts)
        lines.push_back("Error: The " + kind + " C has the wrong " + count + " value: 1");
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

} // namespace

// clang-format off
TEST(Records, EachCountWithoutItsArrayIsTold)
{
    StartHost(2012.0, 10);
    const REALcontrol counts = {{.name = "C", .dataSize = 4, .forSystemUse = 1, .propertyCount = 1, .methodCount = 1,
                                 .eventCount = 1, .eventInstanceCount = 1, .attributeCount = 1, .constantCount = 1,
                                 .sharedPropertyCount = 1, .sharedMethodCount = 1, .delegateCount = 1, .enumCount = 1},
                                10, 10};
    const Lines none = {"Error: method C.0 is NULL.", "Error: Constant C.0 is NULL.", "Error: method C.0 is NULL."};
    REALcontrol record = counts;
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterClass(&record); }),
              WithoutArrays("class", {"forSystemUse", "propertyCount", "methodCount", "eventCount",
                                      "eventInstanceCount", "constantCount", "sharedPropertyCounttionCount",
                                      "sharedMethodCount", "attributeCount", "delegateCount", "enumCount"}, none));
    record = counts;
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterControl(&record); }),
              WithoutArrays("control", {"forSystemUse", "propertyCount", "methodCount", "eventCount",
                                        "eventInstanceCount", "constantCount", "sharedMethodCount",
                                        "sharedPropertyCount", "attributeCount", "delegateCount", "enumCount"}, none));
    record = counts;
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterClassExtension(&record); }),
              Lines({"Error: The class extension C has the dataSize value: 4",
                     "Error: The class extension C has the wrong forSystemUse value: 1",
                     "Error: The class extension C has the wrong propertyCount value: 1",
                     "Error: The class extension C has the wrong methodCount value: 1",
                     "Error: The class extension C has events: 1",
                     "Error: The class extension C has event instances: 1",
                     "Error: The class extension C has constants: 1",
                     "Error: The class extension C has shared Properties: 1",
                     "Error: The class extension C has shared Methods: 1",
                     "Error: The class extension C has wrong attributes: 1",
                     "Error: The class extension C has delegates 1",
                     "Error: The class extension C has enums: 1",
                     none[0], none[1], none[2],
                     "Warning: The class extension C has the propertyCount value: 1",
                     "Warning: The class extension C has the constantCount value: 1",
                     "Warning: The class extension C has the eventCount value: 1",
                     "Warning: The class extension C has the sharedProperties value: 1",
                     "Warning: The class extension C has the sharedMethods value: 1"}));
    REALmoduleDefinition module = {10, "C", nullptr, 1, nullptr, 1, nullptr, 1, nullptr, 1, nullptr, 1, nullptr, 1,
                                   nullptr, 1, {}, 4, nullptr, nullptr};
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterModule(&module); }),
              WithoutArrays("module", {"propertyCount", "methodCount", "structureCount", "enumCount", "attributeCount",
                                       "delegateCount"},
                            {none[0], none[1], "VYN Debug: Error: method array is nil while count is not zero!",
                             "VYN Debug: Error: property array is nil while count is not zero!",
                             "VYN Debug: Error: enum array is nil while count is not zero!"}));
    REALinterfaceDefinition interface = {15, "C", nullptr, 1, nullptr, 1};
    EXPECT_EQ(CaptureLog([&] { MyREALRegisterInterface(&interface); }),
              WithoutArrays("interface", {"methodCount", "attributeCount"}, {}));
    EXPECT_EQ(registered, Lines({"Class", "Control", "ClassExtension", "Module", "Interface"}));
}

TEST(Records, FaultsOfTheRecordAreReportedAndItIsRegistered)
{
    StartHost(2012.0, 10);
    ExpectFindings("Class", {
        SPOIL((void)s),
        SPOIL(s.d.version = 13, "Error: The class Sample has the wrong kCurrentREALControlVersion: 13 vs. 15"),
        SPOIL(s.d.forSystemUse = 48, "Error: The class Sample has the wrong forSystemUse value: 48"),
        SPOIL(s.SetCounts(1000, 4000)),
        SPOIL(s.SetCounts(1001, 4000), "Error: The class Sample has the wrong methodCount value: 1001"),
        SPOIL(s.SetCounts(1000, 4001), "Error: The class Sample has the wrong constantCount value: 4001"),
        SPOIL(s.d.propertyCount = 0, "Error: The class Sample has the wrong propertyCount value: 0"),
        SPOIL(s.d.superName = "UDPSocketVYN", "Warning: The subclass Sample of UDPSocketVYN has data size: 72"),
        SPOIL(s.d.superName = "UDPSocketVYN"; s.d.dataSize = 0),
        SPOIL(s.d.superName = "SocketCore"),
        SPOIL(s.d.flags = s.property.flags = s.method.flags = 0x400; gHostVersion = 2020.0199,
              "Warning: iOS only class registered for old Xojo: Sample"),
        SPOIL(s.d.flags = s.property.flags = s.method.flags = 0x400; gHostVersion = 2020.02),
        SPOIL(s.d.flags = s.property.flags = s.method.flags = 0x404; gHostVersion = 2012.0),
        SPOIL(s.d.name = nullptr; s.d.version = 2,
              "Error: The class (null) has the wrong kCurrentREALControlVersion: 2 vs. 15",
              "Error: A class without name."),
    }, [](Sample &s) { MyREALRegisterClass(&s.control); });
    ExpectFindings("Control", {
        SPOIL((void)s),
        SPOIL(s.d.dataSize = 0; s.d.version = 1,
              "Error: The control Sample has the wrong kCurrentREALControlVersion: 1 vs. 15",
              "Error: The control Sample has the dataSize being zero!"),
        SPOIL(s.control.defaultWidth = 0, "Error: The control Sample has the wrong defaultWidth value: 0"),
        SPOIL(s.control.defaultHeight = 0; s.d.forSystemUse = 1; s.d.name = nullptr,
              "Error: A control without name.",
              "Error: The control (null) has the wrong defaultHeight value: 0",
              "Error: The control (null) has the wrong forSystemUse value: 1"),
    }, [](Sample &s) {
        s.method.flags = s.property.flags = 0x202;
        MyREALRegisterControl(&s.control);
    });
    ExpectFindings("Module", {
        SPOIL((void)s),
        SPOIL(s.module.version = 10),
        SPOIL(s.module.version = 9, "Error: The module Mod has the wrong kCurrentREALControlVersion: 9 vs. 15"),
        SPOIL(s.module.name = nullptr, "Error: A module without name."),
        SPOIL(s.module.constantCount = 0),
    }, [](Sample &s) { MyREALRegisterModule(&s.module); });
    ExpectFindings("ClassExtension", {
        SPOIL(s.d.name = nullptr, "Error: A class extension without name."),
        SPOIL(s.d.superName = "Super", "Error: A class extension can't have super name: Super"),
        SPOIL(s.d.version = 13,
              "Error: The class extension Sample has the wrong kCurrentREALControlVersion: 13 vs. 15"),
    }, [](Sample &s) {
        REALclassDefinition extension = {.version = s.d.version, .name = s.d.name, .superName = s.d.superName,
                                         .methods = &s.method, .methodCount = 1, .flags = 4};
        MyREALRegisterClassExtension(&extension);
    });
    ExpectFindings("Interface", {
        SPOIL((void)s),
        SPOIL(s.d.name = nullptr, "Error: A interface without name."),
        SPOIL(s.d.version = 14, "Error: The interface Sample has the wrong kCurrentREALControlVersion: 14 vs. 15"),
    }, [](Sample &s) {
        REALinterfaceDefinition interface = {s.d.version, s.d.name, &s.method, 1, &s.attribute, 1};
        MyREALRegisterInterface(&interface);
    });
    ExpectFindings("Method", {
        SPOIL(s.method.declaration = nullptr, "Error: A method without declaration."),
        SPOIL(s.method.function = nullptr, "Error: The method Go has no function."),
        SPOIL(s.method.attributeCount = 0, "Error: The method Go has the wrong attributeCount value: 0"),
        SPOIL(s.attribute.name = nullptr, "Error: .Go has an attribute without name! Index: 0"),
    }, [](Sample &s) { MyREALRegisterMethod(&s.method); });
    EXPECT_EQ(CaptureLog([] { MyREALRegisterMethod(nullptr); }), Lines{"Error: A method registered is nil."});
}

TEST(Records, FaultsOfMembersAreReported)
{
    ExpectFindings("", {
        SPOIL(s.method.declaration = nullptr, "Error: The method C.0 has nil declaration."),
        SPOIL(s.method.function = nullptr, "Error: The method C.Go has nil function."),
        SPOIL(s.method.attributeCount = 0, "Error: The method C.Go has the wrong attributeCount value: 0"),
        SPOIL(s.constant.declaration = nullptr, "Error: The constant C.0 has nil declaration."),
        SPOIL(s.constant.attributes = nullptr, "Error: The constant C.A = 1 has the wrong attributeCount value: 1"),
        SPOIL(s.event.declaration = nullptr, "Error: The event C.0 has nil declaration."),
        SPOIL(s.event.attributeCount = 1001; s.event.attributes = nullptr,
              "Error: The event C.Done has the wrong attributeCount value: 1001"),
        SPOIL(s.delegate.declaration = nullptr; s.delegate.flags = 0,
              "Error: The delegate C.0 has nil declaration.",
              "Warning: The delegate C.(null) has 0 for flags."),
        SPOIL(s.delegate.attributes = nullptr, "Error: The delegate C.D() has the wrong attributeCount value: 1"),
        SPOIL(s.property.name = nullptr, "Error: The property C.0 has nil name."),
        SPOIL(s.property.getter = {}, "Error: The property C.Size has nil getter."),
        SPOIL(s.property.type = nullptr, "Error: The property C.0 has nil type."),
        SPOIL(s.UseStandardAccessors("DOUBLE", 8),
              "Error: The property C.Size needs custom getter.",
              "Error: The property C.Size needs custom setter."),
        SPOIL(s.UseStandardAccessors("Integer", 6),
              "Error: The property C.Size has unaligned offset 6.",
              "Error: The property C.Size has unaligned offset 6."),
        SPOIL(s.UseStandardAccessors("Integer", 6); s.property.setter = {},
              "Error: The property C.Size has unaligned offset 6."),
        SPOIL(s.UseStandardAccessors("Integer", 0x70000000C)),
        SPOIL(s.property.editor = &s, "Error: The property C.Size has editor."),
        SPOIL(s.property.enumCount = 1001, "Error: The property C.Size has wrong enumCount: 1001"),
        SPOIL(s.property.attributes = nullptr, "Error: The property C.Size has attributes: 1"),
    }, [](Sample &s) {
        CheckMethods("C", &s.method, 1);
        CheckConstants("C", &s.constant, 1);
        CheckEvents("C", &s.event, 1);
        CheckDelegates("C", &s.delegate, 1);
        CheckProperties("C", &s.property, 1);
    });
    ExpectFindings("", {
        SPOIL(s.attribute.value = nullptr, "Error: C.D has an attribute without value! Name: Hidden Index: 0"),
    }, [](Sample &s) { CheckAttributes("C", "D", &s.attribute, 1); });

    Sample s;
    s.SetCounts(10000, 10000);
    EXPECT_EQ(CaptureLog([&] {
        CheckMethods("C", s.methods.data(), 10000);
        CheckConstants("C", s.constants.data(), 10000);
        CheckAttributes("C", "D", nullptr, 5);
    }), Lines());
    EXPECT_EQ(CaptureLog([&] {
        CheckMethods("C", &s.method, 10001);
        CheckConstants("C", &s.constant, 10001);
        CheckEvents("C", &s.event, 10001);
        CheckDelegates("C", &s.delegate, 10001);
        CheckProperties("C", &s.property, 10001);
        CheckAttributes("C", "D", &s.attribute, 10001);
    }), Lines({"Error: method count out of range for C: 10001.", "Error: constant count out of range for C: 10001.",
               "Error: event count out of range for C: 10001.", "Error: delegate count out of range for C: 10001.",
               "Error: property count out of range for C: 10001.",
               "Error: attribute count out of range for C.D: 10001."}));
}

TEST(Records, MembersThatDoNotFitTheirOwnersTargetsAreReported)
{
    ExpectFindings("", {
        SPOIL(s.d.flags = 4),
        SPOIL(s.d.flags = 0x204,
              "VYN Debug: Console-safe method in console-unsafe class:  Sample, Go",
              "VYN Debug: Console-safe shared method in console-unsafe class:  Sample, Go",
              "VYN Debug: Console-safe property in console-unsafe class:  Sample, Size",
              "VYN Debug: Console-safe shared property in console-unsafe class:  Sample, Size"),
        SPOIL(s.d.flags = s.method.flags = 0x204; s.property.name = "Debugging",
              "VYN Debug: Console-safe property in console-unsafe class:  Sample, Debugging"),
        SPOIL(s.UseStandardAccessors("Integer", 0x44)),
        SPOIL(s.UseStandardAccessors("Integer", 0x45); s.property.getter = Get,
              "Error: Offset for variable too big: Sample.Size 69 72"),
        SPOIL(s.property.parameter = 0x100),
    }, [](Sample &s) { CheckTargetFlags(&s.d); });
    ExpectFindings("", {
        SPOIL(s.UseStandardAccessors("Integer", 0x45),
              "Error: Offset for variable too big: Sample.Size 69 72",
              "VYN Debug: Method in control missing REALTargetDesktop:  Sample, Go",
              "VYN Debug: Shared method in control missing REALTargetDesktop:  Sample, Go",
              "VYN Debug: Property in control missing REALTargetDesktop:  Sample, Size",
              "VYN Debug: Shared property in control missing REALTargetDesktop:  Sample, Size"),
        SPOIL(s.method.flags = s.property.flags = 0x202),
    }, [](Sample &s) { CheckTargetFlags(&s.control); });
    ExpectFindings("", {
        SPOIL(s.UseStandardAccessors("Integer", 0x45),
              "Error: Offset for variable too big: Sample.Size 69 72",
              "VYN Debug: Method in control missing REALTargetIOS:  Sample, Go",
              "VYN Debug: Shared method in control missing REALTargetIOS:  Sample, Go",
              "VYN Debug: Property in control missing REALTargetIOS:  Sample, Size",
              "VYN Debug: Shared property in control missing REALTargetIOS:  Sample, Size"),
        SPOIL(s.method.flags = s.property.flags = 0x402),
    }, [](Sample &s) { REALmobileControl mobile{s.d}; CheckTargetFlags(&mobile); });
    ExpectFindings("", {
        SPOIL(s.module.flags = 4),
        SPOIL(s.module.flags = 0x204,
              "VYN Debug: Console-safe method in console-unsafe module:  Mod, Go",
              "VYN Debug: Console-safe property in console-unsafe module:  Mod, Size"),
    }, [](Sample &s) { CheckTargetFlags(&s.module); });
}
