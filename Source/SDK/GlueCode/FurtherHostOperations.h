// The host operations that this plugin does not use. They are part of the layer that plugin code may count on.
#pragma once

#include "HostOperations.h"

#define HOST_ALL_OPERATIONS
#include "HostPrototypes.inc"

bool REALGetPropValueBoolean(REALobjectStruct *object, const char *name, bool *value);

// Text drawing. The host's version decides which parameters the entry gets.
void REALGraphicsDrawString(REALgraphicsStruct *graphics, REALstringStruct *text, int x, int y, int width);
double REALGraphicsStringWidth(REALgraphicsStruct *graphics, REALstringStruct *text);

// How many properties the object's class has, and one of them by number from 0. Both go through the
// host's second resolver; 0 and null without it.
int REALCountClassProperties(REALobjectStruct *object);
void *REALGetClassProperty(REALobjectStruct *object, int index);
