// Registration of interfaces, controls and database records, of which this plugin has none.
#include "rbclassutil.h"

#include "Source/SDK/GlueCode/FurtherHostOperations.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "rbclassutilChecks.h"

#include <algorithm>
#include <cstring>

void MyREALRegisterInterface(REALinterfaceDefinition *definition)
{
    REALinterfaceDefinition &d = *definition;
    if (!HasPartName(d.name)) return;
    CheckVersion("Error: The interface %s has the wrong kCurrentREALControlVersion: %d vs. %d", d.name, d.version);
    if (d.name == nullptr) LogMessageX("Error: A interface without name.");
    // clang-format off
    CheckCounts(d.name, {
        {d.methods,    d.methodCount,    kMaximum, "Error: The interface %s has the wrong methodCount value: %d"},
        {d.attributes, d.attributeCount, kMaximum, "Error: The interface %s has the wrong attributeCount value: %d"},
    });
    // clang-format on
    CheckAttributes("", d.name, d.attributes, d.attributeCount);

    d.version = static_cast<std::uint32_t>(gSDKVersion);
    REALRegisterInterface(definition);
}

static void CheckControlRecord(const REALcontrol &d)
{
    CheckVersion("Error: The control %s has the wrong kCurrentREALControlVersion: %d vs. %d", d.name, d.version);
    if (d.dataSize == 0) Report("Error: The control %s has the dataSize being zero!", d.name);
    if (d.name == nullptr) LogMessageX("Error: A control without name.");
    // clang-format off
    CheckThat(d.defaultWidth != 0,  "Error: The control %s has the wrong defaultWidth value: %d",  d.name, d.defaultWidth);
    CheckThat(d.defaultHeight != 0, "Error: The control %s has the wrong defaultHeight value: %d", d.name, d.defaultHeight);
    CheckThat(d.forSystemUse == 0,  "Error: The control %s has the wrong forSystemUse value: %d",  d.name, d.forSystemUse);
    CheckCounts(d.name, {
        {d.properties,       d.propertyCount,       kMaximum,          "Error: The control %s has the wrong propertyCount value: %d"},
        {d.methods,          d.methodCount,         kMaximum,          "Error: The control %s has the wrong methodCount value: %d"},
        {d.events,           d.eventCount,          kMaximum,          "Error: The control %s has the wrong eventCount value: %d"},
        {d.eventInstances,   d.eventInstanceCount,  kNone,             "Error: The control %s has the wrong eventInstanceCount value: %d"},
        {d.constants,        d.constantCount,       kMaximumConstants, "Error: The control %s has the wrong constantCount value: %d"},
        {d.sharedMethods,    d.sharedMethodCount,   kMaximum,          "Error: The control %s has the wrong sharedMethodCount value: %d"},
        {d.sharedProperties, d.sharedPropertyCount, kMaximum,          "Error: The control %s has the wrong sharedPropertyCount value: %d"},
        {d.attributes,       d.attributeCount,      kMaximum,          "Error: The control %s has the wrong attributeCount value: %d"},
        {d.delegates,        d.delegateCount,       kMaximum,          "Error: The control %s has the wrong delegateCount value: %d"},
        {d.enums,            d.enumCount,           kMaximum,          "Error: The control %s has the wrong enumCount value: %d"},
    });
    // clang-format on
}

// Desktop controls of this kind lack the first five events, which are of the old style, and rename three.
static void AdaptControlEvents(REALcontrol &d)
{
    constexpr std::uint32_t kNewEventNames = 0x1000;
    static constexpr struct {
        const char *from, *to;
    } renamings[] = {
        {"EnableMenuItems", "MenuBarSelected"},
        {"GotFocus", "FocusReceived"},
        {"LostFocus", "FocusLost"},
    };
    if ((d.flags & kNewEventNames) == 0 || d.events == nullptr) return;
    std::uint64_t dropped = std::min<std::uint64_t>(5, d.eventCount);
    d.events += dropped;
    d.eventCount -= dropped;
    for (REALevent &event : Members(d.events, d.eventCount)) {
        for (const auto &renaming : renamings) {
            if (event.declaration != nullptr && std::strcmp(event.declaration, renaming.from) == 0)
                event.declaration = renaming.to;
        }
    }
}

void MyREALRegisterControl(REALcontrol *definition)
{
    REALcontrol &d = *definition;
    if (!HasPartName(d.name)) return;
    CheckControlRecord(d);
    CheckMembers(d);
    CheckTargetFlags(definition);

    AdaptControlEvents(d);
    d.dataSize = RoundDataSize(d.dataSize);
    d.version = static_cast<std::uint32_t>(gSDKVersion);
    REALRegisterControl(definition);
}

void MyREALRegisterDBCursor(REALdbCursorDefinition *definition)
{
    if (!HasPartName("REALdbCursorDefinition")) return;
    if (definition->closeCursor == nullptr) return LogMessage("Error: closeCursor is nil");
    if (definition->version != kCurrentREALControlVersion)
        return LogMessage("Error: REALdbCursorDefinition.version is out of range", definition->version);
    definition->version = static_cast<std::uint32_t>(gSDKVersion);
    REALRegisterDBCursor(definition);
}

void MyREALRegisterDBEngine(REALdbEngineDefinition *definition)
{
    if (!HasPartName("REALdbEngineDefinition")) return;
    if (definition->closeDatabase == nullptr) return LogMessage("Error: REALdbEngineDefinition.closeDatabase is nil");
    // Here the version tells which of the record's own two forms this is, so it stays as it is.
    if (definition->version != 1 && definition->version != 2)
        return LogMessage("Error: REALdbEngineDefinition.version is out of range", definition->version);
    REALRegisterDBEngine(definition);
}
