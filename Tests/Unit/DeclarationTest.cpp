// Declarations of class extensions rewritten as global methods, and the modules made of them.
#include "Source/Utility/rbDebugHost.h"
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/Sample.h"

#include <cstdlib>

namespace {

std::string Take(char *text)
{
    std::string taken = text != nullptr ? text : "(none)";
    std::free(text);
    return taken;
}

// The module that reached the host, and nothing else; null if it did not.
REALmoduleDefinition *Module()
{
    return registered == Lines{"Module"} ? static_cast<REALmoduleDefinition *>(last) : nullptr;
}

// Modules stay for ever by design; the leak check is to see what else is left.
auto &built = *new std::vector<REALmoduleDefinition *>();

void *const getter = reinterpret_cast<void *>(Take);
void *const setter = reinterpret_cast<void *>(Get);

// Registers the methods as a class extension on a host that takes modules. Result: the log.
Lines RegisterExtension(std::vector<REALmethodDefinition> methods, const char *name = "SocketCore")
{
    StartHost(2013.0, 11);
    REALclassDefinition extension = {
        .name = name, .methods = methods.data(), .methodCount = methods.size(), .flags = 4};
    auto log = CaptureLog([&] { MyREALRegisterClassExtension(&extension); });
    built.push_back(gGeneratedModule);
    return log;
}

} // namespace

TEST(Declaration, ExtensionParameterGoesFirstAndValueLast)
{
    struct {
        const char *declaration, *withParameter, *withValue;
    } const rows[] = {
        {"Refresh", "Refresh(extends ref as SocketCore)", "Refresh(extends ref as SocketCore, assigns value)"},
        {"OptionTOS as integer", "OptionTOS(extends ref as SocketCore) as integer",
         "OptionTOS(extends ref as SocketCore, assigns value as integer)"},
        {"Find(x as string) as integer", "Find(extends ref as SocketCore, x as string) as integer",
         "Find(extends ref as SocketCore, x as string, assigns value as integer)"},
        {"Foo()", "Foo(extends ref as SocketCore, )", "Foo(extends ref as SocketCore, , assigns value)"},
        {"Foo (x as string)", "Foo(extends ref as SocketCore) (x as string)",
         "Foo(extends ref as SocketCore, assigns value (x as string))"},
        {"Foo(", "Foo(extends ref as SocketCore, ", "Foo(extends(assigns value ref as SocketCore, )"},
        {"", "(extends ref as SocketCore)", "(extends ref as SocketCore, assigns value)"},
        {nullptr, "(none)", "(none)"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Take(AddClassParameter(row.declaration, "SocketCore")), row.withParameter);
        EXPECT_EQ(Take(AddClassParameterAssign(row.declaration, "SocketCore")), row.withValue);
    }
}

TEST(Declaration, ExtensionBecomesAModuleWithTheSetterFirst)
{
    REALattribute attribute = {"Hidden", ""};
    auto log = RegisterExtension({{getter, setter, "TTL as integer", 0x4, 1, &attribute},
                                  {getter, nullptr, "Find(x as string) as integer", 0x40024, 0, nullptr},
                                  {nullptr, setter, "Level as integer", 0x4, 0, nullptr}});
    EXPECT_EQ(log, Lines({"Error: The method SocketCore.Level as integer has nil function."}));
    ASSERT_NE(Module(), nullptr);
    EXPECT_EQ(gGeneratedModule, Module());
    EXPECT_STREQ(Module()->name, "SocketCoreNetworkExtensionVYN");
    EXPECT_EQ(Module()->version, 11U);
    EXPECT_EQ(Module()->flags, 4U);
    EXPECT_EQ(Module()->properties, gDebuggingProperty);
    EXPECT_EQ(Module()->propertyCount, 1U);

    const REALmethodDefinition rows[] = {
        {setter, nullptr, "TTL(extends ref as SocketCore, assigns value as integer)", 0x14, 1, &attribute},
        {getter, nullptr, "TTL(extends ref as SocketCore) as integer", 0x14, 1, &attribute},
        {getter, nullptr, "Find(extends ref as SocketCore, x as string) as integer", 0x34, 0, nullptr},
        {setter, nullptr, "Level(extends ref as SocketCore, assigns value as integer)", 0x14, 0, nullptr},
    };
    ASSERT_EQ(Module()->methodCount, std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); i++) {
        const REALmethodDefinition &method = Module()->methods[i], &wanted = rows[i];
        EXPECT_STREQ(method.declaration, wanted.declaration);
        EXPECT_EQ(
            std::tie(method.function, method.setterFunction, method.flags, method.attributeCount, method.attributes),
            std::tie(wanted.function, wanted.setterFunction, wanted.flags, wanted.attributeCount, wanted.attributes))
            << wanted.declaration;
    }
}

TEST(Declaration, ExtensionNamesAreCapitalisedAndModuleNamesKeep99Characters)
{
    const std::string name = "l" + std::string(120, 'o');
    auto log = RegisterExtension({{getter, nullptr, "Refresh", 4, 0, nullptr}}, name.c_str());
    EXPECT_EQ(log.at(0), "Error: The class extension name " + name + " does not start with capital letter.");
    ASSERT_NE(Module(), nullptr);
    EXPECT_EQ(Module()->name, name.substr(0, 99));
}

// What was rewritten before the failure is released, as the leak check of the sanitiser build sees.
TEST(Declaration, DeclarationThatCantBeRewrittenLeavesTheExtensionOut)
{
    const std::string tooLong(1200, 'n');
    for (const char *declaration : {static_cast<const char *>(nullptr), tooLong.c_str()}) {
        RegisterExtension(
            {{getter, setter, "TTL as integer", 4, 0, nullptr}, {nullptr, setter, declaration, 4, 0, nullptr}});
        EXPECT_EQ(Module(), nullptr);
    }
    gDebugging = true;
    EXPECT_EQ(CaptureLog([&] { std::free(AddClassParameterAssign(tooLong.c_str(), "C")); }),
              Lines({"VYN Debug: Error: Keine Klammer in der Deklaration " + tooLong.substr(0, 999)}));
    auto log = RegisterExtension({{nullptr, nullptr, "Refresh", 4, 0, nullptr}});
    EXPECT_EQ(log.back(), "VYN Debug: Warning: Failed to allocate memory for method definitions.");
    EXPECT_EQ(Module(), nullptr);
    EXPECT_EQ(RegisterExtension({}), Lines());
}

// Modules without memory: the host gets none, and what was made of it is released.
TEST(Declaration, WithoutMemoryTheModuleIsLeftOut)
{
    if (!faults::kAllocationsCanFail) GTEST_SKIP() << "the sanitizers' allocators do not fail";
    REALmethodDefinition methods[] = {{getter, setter, "TTL as integer", 4, 0, nullptr}};
    REALclassDefinition extension = {.name = "SocketCore", .methods = methods, .methodCount = 1, .flags = 4};
    void (*const registrations[])(REALclassDefinition &) = {
        [](REALclassDefinition &d) { MyREALRegisterClassExtension(&d); },
        [](REALclassDefinition &d) { MyREALRegisterMethodArray(d.methods, 1); },
    };
    for (auto registration : registrations) {
        for (long nth = 1, failed = true; failed; nth++) {
            StartHost(2013.0, 11);
            Lines log = CaptureLog([&] {
                faults::FailAllocation(nth);
                registration(extension);
                failed = faults::AllocationFailed();
                faults::FailAllocation(0);
            });
            EXPECT_EQ(Module() == nullptr, failed) << "allocation " << nth;
            if (nth <= 2) {
                std::string what = nth == 1 ? "module definition." : "method definitions.";
                EXPECT_EQ(log.back(), "VYN Debug: Warning: Failed to allocate memory for " + what);
            }
            built.push_back(gGeneratedModule);
        }
    }
}

TEST(Declaration, MethodTableIsOneModuleOnHostsThatTakeModules)
{
    std::vector<REALmethodDefinition> table(24, {getter, nullptr, "Go", 4, 0, nullptr});
    for (auto [version, methods] : {std::pair(2012.999, 24U), {3000.0, 24}, {2999.999, 0}, {2013.0, 0}}) {
        StartHost(version, 11);
        MyREALRegisterMethodArray(table.data(), table.size());
        built.push_back(gGeneratedModule);
        EXPECT_EQ(registered, methods == 0 ? Lines{"Module"} : Lines(methods, "Method")) << version;
        EXPECT_EQ(table[23].flags, 4U);
    }
    ASSERT_NE(Module(), nullptr);
    EXPECT_STREQ(Module()->name, "NetworkGlobalsVYN");
    EXPECT_EQ(Module()->version, 11U);
    EXPECT_EQ(Module()->flags, 4U);
    ASSERT_EQ(Module()->methodCount, 24U);
    EXPECT_EQ(Module()->methods[23].flags, 0x14U);
    EXPECT_EQ(Module()->methods[23].function, getter);
    EXPECT_EQ(Module()->properties, gDebuggingProperty);

    StartHost(2013.0, 11);
    auto log = CaptureLog([&] { MyREALRegisterMethodArray(table.data(), 0); });
    EXPECT_EQ(log, Lines({"Warning: A method array registered with count = 0."}));
    EXPECT_EQ(Module(), nullptr);
}
