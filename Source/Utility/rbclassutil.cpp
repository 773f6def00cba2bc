// Plugin start, and the registration of classes.
#include "rbclassutil.h"

#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "Source/SDK/GlueCode/Version.h"
#include "rbclassutilChecks.h"

#include <cstring>
#include <pthread.h>

static pthread_t mainThread;

void MyPluginStart(const char *partName)
{
    gpartname = partName;
    gPluginVersionMarker = "$$ Plugin version: " PLUGIN_VERSION " (" PLUGIN_YEAR ") $$";
    ReadDebugEnvironment();
    mainThread = pthread_self();
    if (gDebugging && !REALinRuntime()) {
        LogMessageX("Loading %s in Xojo %.2f and plugin SDK version %d...", partName, gHostVersion, gSDKVersion);
    }
    for (const char *character = partName; *character != 0; character++) {
        // The misspelt texts here and below are known outside and stay.
        if (*character == ' ') LogMessage("Warning: plugin name containts space character", partName);
    }
}

void MyPluginEnde() {}

bool OnMainThread()
{
    return pthread_equal(pthread_self(), mainThread) != 0;
}

// What the class itself has, without looking at its members.
static void CheckClassRecord(const REALclassDefinition &d)
{
    CheckVersion("Error: The class %s has the wrong kCurrentREALControlVersion: %d vs. %d", d.name, d.version);
    if (d.name == nullptr) LogMessageX("Error: A class without name.");
    CheckThat(d.forSystemUse == 0, "Error: The class %s has the wrong forSystemUse value: %d", d.name, d.forSystemUse);
    // clang-format off
    CheckCounts(d.name, {
        {d.properties,       d.propertyCount,       kMaximum,          "Error: The class %s has the wrong propertyCount value: %d"},
        {d.methods,          d.methodCount,         kMaximum,          "Error: The class %s has the wrong methodCount value: %d"},
        {d.events,           d.eventCount,          kMaximum,          "Error: The class %s has the wrong eventCount value: %d"},
        {d.eventInstances,   d.eventInstanceCount,  kMaximum,          "Error: The class %s has the wrong eventInstanceCount value: %d"},
        {d.constants,        d.constantCount,       kMaximumConstants, "Error: The class %s has the wrong constantCount value: %d"},
        {d.sharedProperties, d.sharedPropertyCount, kMaximum,          "Error: The class %s has the wrong sharedPropertyCounttionCount value: %d"},
        {d.sharedMethods,    d.sharedMethodCount,   kMaximum,          "Error: The class %s has the wrong sharedMethodCount value: %d"},
        {d.attributes,       d.attributeCount,      kMaximum,          "Error: The class %s has the wrong attributeCount value: %d"},
        {d.delegates,        d.delegateCount,       kMaximum,          "Error: The class %s has the wrong delegateCount value: %d"},
        {d.enums,            d.enumCount,           kMaximum,          "Error: The class %s has the wrong enumCount value: %d"},
    });
    // clang-format on
    if (d.superName != nullptr && d.dataSize != 0 && std::strstr(d.superName, "VYN") != nullptr) {
        Report("Warning: The subclass %s of %s has data size: %d", d.name, d.superName, static_cast<int>(d.dataSize));
    }
    if (gHostVersion < 2020.02 && d.flags == kTargetIOS) {
        Report("Warning: iOS only class registered for old Xojo: %s", d.name);
    }
}

void MyREALRegisterClass(REALclassDefinition *definition)
{
    REALclassDefinition &d = *definition;
    if (!HasPartName(d.name)) return;
    CheckClassRecord(d);
    CheckMembers(d);
    CheckTargetFlags(definition);

    FixFlags(definition);
    d.dataSize = RoundDataSize(d.dataSize);
    d.version = static_cast<std::uint32_t>(gSDKVersion);
    REALRegisterClass(definition);
}
