// The property that switches the debug log, and checks that write to it when instance data is looked up.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

// The class-level property "Debugging" through which programs read and set the switch.
extern REALproperty gDebuggingProperty[1];
bool setDebugging(HostBoolean value);
bool getDebugging();

// Trace arguments that look wrong.
void REALGetClassDataChecks(REALobjectStruct *instance, REALclassDefinition *definition);
void REALGetControlDataChecks(REALobjectStruct *instance, REALcontrol *definition);
