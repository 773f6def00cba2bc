// What only the plain host offers to measurements.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

namespace bench {

// Runs every background task once.
void RunTasks();

// The handler of the object's first event, which is DataAvailable of a socket.
void SetDataHandler(REALobjectStruct *object, void (*handler)(REALobjectStruct *));

// Whether arrays made from now on have headers in which the library does not recognise the layout.
void HideArrayLayout(bool hidden);

} // namespace bench
