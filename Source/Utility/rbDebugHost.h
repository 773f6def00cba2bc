// The debug log towards the host: the property that switches it, and the checks of a host's look-up of instance data.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

// The class-level property "Debugging" through which programs read and set the switch.
extern REALproperty gDebuggingProperty[1];
bool setDebugging(HostBoolean value);
bool getDebugging();

// What looks wrong about the arguments of a look-up of instance data is traced.
void REALGetClassDataChecks(REALobjectStruct *instance, REALclassDefinition *definition);
void REALGetControlDataChecks(REALobjectStruct *instance, REALcontrol *definition);
