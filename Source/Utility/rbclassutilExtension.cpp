// Registration of class extensions, which add methods, and nothing else, to a class of the host's.
#include "rbclassutil.h"

#include "Source/SDK/GlueCode/FurtherHostOperations.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "rbclassutilChecks.h"

// What the record itself has, without looking at its members.
static void CheckExtensionRecord(const REALclassDefinition &d)
{
    CheckVersion("Error: The class extension %s has the wrong kCurrentREALControlVersion: %d vs. %d", d.name,
                 d.version);
    if (d.name == nullptr) LogMessageX("Error: A class extension without name.");
    if (d.superName != nullptr) Report("Error: A class extension can't have super name: %s", d.superName);
    // clang-format off
    CheckThat(d.dataSize == 0,     "Error: The class extension %s has the dataSize value: %d",           d.name, d.dataSize);
    CheckThat(d.forSystemUse == 0, "Error: The class extension %s has the wrong forSystemUse value: %d", d.name, d.forSystemUse);
    CheckCounts(d.name, {
        {d.properties,       d.propertyCount,       kMaximum, "Error: The class extension %s has the wrong propertyCount value: %d"},
        {d.methods,          d.methodCount,         kMaximum, "Error: The class extension %s has the wrong methodCount value: %d"},
        {d.events,           d.eventCount,          kNone,    "Error: The class extension %s has events: %d"},
        {d.eventInstances,   d.eventInstanceCount,  kNone,    "Error: The class extension %s has event instances: %d"},
        {d.constants,        d.constantCount,       kNone,    "Error: The class extension %s has constants: %d"},
        {d.sharedProperties, d.sharedPropertyCount, kNone,    "Error: The class extension %s has shared Properties: %d"},
        {d.sharedMethods,    d.sharedMethodCount,   kNone,    "Error: The class extension %s has shared Methods: %d"},
        {d.attributes,       d.attributeCount,      kMaximum, "Error: The class extension %s has wrong attributes: %d"},
        {d.delegates,        d.delegateCount,       kNone,    "Error: The class extension %s has delegates %d"},
        {d.enums,            d.enumCount,           kNone,    "Error: The class extension %s has enums: %d"},
    });
    // clang-format on
}

// Extensions have their checks in an order of their own, and none of their attributes.
static void CheckExtensionMembers(const REALclassDefinition &d)
{
    CheckMethods(d.name, d.methods, d.methodCount);
    CheckProperties(d.name, d.properties, d.propertyCount);
    CheckConstants(d.name, d.constants, d.constantCount);
    CheckEvents(d.name, d.events, d.eventCount);
    CheckMethods(d.name, d.sharedMethods, d.sharedMethodCount);
    CheckProperties(d.name, d.sharedProperties, d.sharedPropertyCount);
    CheckDelegates(d.name, d.delegates, d.delegateCount);
}

// Tells of members that a module can't have.
static void WarnOfLostMembers(const REALclassDefinition &d)
{
    // clang-format off
    CheckThat(d.propertyCount == 0,       "Warning: The class extension %s has the propertyCount value: %d",    d.name, d.propertyCount);
    CheckThat(d.constantCount == 0,       "Warning: The class extension %s has the constantCount value: %d",    d.name, d.constantCount);
    CheckThat(d.eventCount == 0,          "Warning: The class extension %s has the eventCount value: %d",       d.name, d.eventCount);
    CheckThat(d.sharedPropertyCount == 0, "Warning: The class extension %s has the sharedProperties value: %d", d.name, d.sharedPropertyCount);
    CheckThat(d.sharedMethodCount == 0,   "Warning: The class extension %s has the sharedMethods value: %d",    d.name, d.sharedMethodCount);
    // clang-format on
}

void MyREALRegisterClassExtension(REALclassDefinition *extension)
{
    REALclassDefinition &d = *extension;
    if (!HasPartName(d.name)) return;
    CheckExtensionRecord(d);
    CheckExtensionMembers(d);
    WarnOfLostMembers(d);
    if (d.name != nullptr && *d.name >= 'a' && *d.name <= 'z') {
        Report("Error: The class extension name %s does not start with capital letter.", d.name);
    }
    CheckTargetFlags(extension);

    FixFlags(extension);
    if (HostTakesModules()) return BuildXojoModule(extension);
    d.version = static_cast<std::uint32_t>(gSDKVersion);
    REALRegisterClassExtension(extension);
}
