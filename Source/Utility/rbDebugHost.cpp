#include "rbDebugHost.h"

#include "Source/SDK/GlueCode/HostOperations.h"
#include "rbDebug.h"
#include "rbException.h"
#include "rbText.h"

#include <iterator>

static REALattribute hiddenAttribute[] = {{"Hidden", ""}};

REALproperty gDebuggingProperty[1] = {
    {.name = "Debugging",
     .type = "Boolean",
     .flags = kSharedPropertyFlags,
     .getter = Guard<getDebugging>,
     .setter = Guard<setDebugging>,
     .attributeCount = std::size(hiddenAttribute),
     .attributes = hiddenAttribute},
};

bool setDebugging(HostBoolean value)
{
    gDebugging = value != 0;
    return gDebugging;
}

bool getDebugging()
{
    return gDebugging;
}

void LogMessage(const char *label, const RuntimeText *text)
{
    const void *handle = text;
    REALtextData *data = REALGetTextData(text, "utf-8", 1);
    if (data == nullptr) return LogMessageX("%s%s %p and no text", gLinePrefix, label, handle);
    LogMessageX("%s%s %p: %s", gLinePrefix, label, handle, data->characters);
    REALDisposeTextData(data);
}

void LogMessage(REALstringStruct *string)
{
    rbText text(string);
    LogMessageX("%s%p: %s", gLinePrefix, static_cast<const void *>(string), text.GetUTF8());
}

void LogMessage(const char *label, REALstringStruct *string)
{
    rbText text(string);
    LogMessageX("%s%s %p: %s", gLinePrefix, label, static_cast<const void *>(string), text.GetUTF8());
}

void REALGetClassDataChecks(REALobjectStruct *instance, REALclassDefinition *definition)
{
    if (instance == nullptr) {
        TRACE("REALGetClassData with nil instance", static_cast<const void *>(nullptr));
        return;
    }
    if (definition->dataSize == 0) TRACE("REALGetClassData with dataSize", 0UL);
    // 48 is where hosts are known to place the instance data.
    if (definition->forSystemUse != 48) TRACE("REALGetClassData with forSystemUse", definition->forSystemUse);
}

void REALGetControlDataChecks(REALobjectStruct *instance, REALcontrol *definition)
{
    if (instance == nullptr) {
        TRACE("REALGetControlData with nil instance", static_cast<const void *>(nullptr));
        return;
    }
    if (definition->dataSize == 0) TRACE("REALGetControlData with dataSize", 0UL);
    if (definition->forSystemUse <= 0) TRACE("REALGetControlData with forSystemUse", definition->forSystemUse);
}
