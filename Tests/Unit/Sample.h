// Definition records without a fault, and a host that takes them.
#pragma once

#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbclassutil.h"
#include "Tests/Unit/OnHost.h"

inline Lines registered; // the kinds of the records that reached the host
inline void *last;       // of these records

// A host that takes definitions and has nothing else.
inline void StartHost(double version, int sdkVersion)
{
    FakeHost::Start(version, sdkVersion);
    gpartname = "Network";
    registered.clear();
    registered.reserve(50); // taking a record then needs no memory
// clang-format off
#define TAKE(kind) FakeHost::Provide("PluginRegister" #kind, [](void *record) { registered.push_back(#kind); return last = record; });
    TAKE(Class) TAKE(Module) TAKE(Method) TAKE(ClassExtension) TAKE(Interface) TAKE(Control) TAKE(DBEngine) TAKE(DBCursor)
    // clang-format on
}

inline long Get(REALobjectStruct *, long)
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
