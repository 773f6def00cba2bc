// The host operations: one plain function for each thing that the library asks of the host.
//
// Each finds its entry by name on first use and keeps it. On a host without the entry nothing is called, and the
// caller gets the missing value: null, 0, false. No operation logs or raises. The rows are in HostOperations.inc; the
// operations with logic of their own follow here. Those that this plugin does not use are in FurtherHostOperations.h.
#pragma once

#include "HostRecords.h"

#include "HostPrototypes.inc"

// Forwards to REALBuildStringWithEncoding.
REALstringStruct *REALBuildString(const char *bytes, int count, unsigned int encoding);

// The string's bytes, which stay the host's; null when the host has no way to give them. The length in
// bytes goes to `length` when that is not null and the host can tell it; otherwise it stays untouched.
const char *REALGetStringContents(REALstringStruct *string, std::int64_t *length);

// The string's bytes and their number, which is 0 when the host can't tell it or tells a negative one.
struct StringBytes {
    const char *data;
    std::int64_t size;
};
StringBytes REALGetStringBytes(REALstringStruct *string);

// Forwards to REALnewInstanceWithClass.
REALobjectStruct *REALnewInstance(REALclassRefStruct *classRef);

// A new object of the class; null for a null reference, without asking the host.
REALobjectStruct *REALnewInstanceWithClass(REALclassRefStruct *classRef);

// The address of a function of the host's framework, such as "LenB( s as string ) as integer".
void *REALLoadFrameworkMethod(const char *prototype);

// The function that fires the event on this object, or null when the program does not handle it.
// With SDK version 9 the record's token is not the host's but the address of the record that has it.
void *REALGetEventInstance(REALobjectStruct *object, REALevent *event);

// Lets the host run function(data). Result: the exception that stopped it, with one reference for the caller, or null.
// A host without the entry protects nothing: the function simply runs.
REALobjectStruct *REALCallFunctionWithExceptionHandler(void (*function)(void *), void *data);

// Whether the host can take a background task back.
bool REALCanUnregisterBackgroundTask();

// Add and remove a reference on a value that may be null. Neither happens on a host without the entry that adds one.
// Result: the value if a reference was added, else null.
REALstringStruct *AddReference(REALstringStruct *string);
REALobjectStruct *AddReference(REALobjectStruct *object);
void RemoveReference(REALstringStruct *string);
void RemoveReference(REALobjectStruct *object);
