// Registration: the validating front ends between the definition records of this plugin and the host.
//
// A front end checks a record, writes a line to the debug log for each finding, whatever the debug switch
// says, adapts the record in place to the running host and hands it over. Findings never stop it; a missing part name
// does, and so do the cases noted below. Everything runs on the thread that loads the plugin, before any object exists.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

// --- start and end -------------------------------------------------------------------------------------

// Sets gpartname (the text stays the caller's), the debug switch and the main thread. Comes first.
void MyPluginStart(const char *partName);
void MyPluginEnde(); // nothing to do

// Whether the calling thread is the one that started the plugin.
bool OnMainThread();

// --- front ends ----------------------------------------------------------------------------------------

void MyREALRegisterClass(REALclassDefinition *definition);
void MyREALRegisterInterface(REALinterfaceDefinition *definition);
void MyREALRegisterControl(REALcontrol *definition);

// These two reject a record without its closing function or with a version out of range.
void MyREALRegisterDBCursor(REALdbCursorDefinition *definition);
void MyREALRegisterDBEngine(REALdbEngineDefinition *definition);

// Global methods: one module for the whole table on hosts that take modules, else one by one. An empty
// table is refused. A single method needs no part name.
void MyREALRegisterMethodArray(REALmethodDefinition *methods, unsigned long count);
void MyREALRegisterMethod(REALmethodDefinition *method);
void MyREALRegisterModule(REALmoduleDefinition *module);

// Methods for a class of the host's, whose name is the record's: as a module on hosts that take modules.
void MyREALRegisterClassExtension(REALclassDefinition *extension);

// Builds and registers the module form of a class extension: one global method for each function, the
// setter of a method first. Without methods it does nothing; without memory, or with a declaration that
// can't be rewritten, nothing is registered.
void BuildXojoModule(REALclassDefinition *extension);

// The module record built last, null before. The host keeps it and what hangs on it for ever.
extern REALmoduleDefinition *gGeneratedModule;

// The declaration of a global method that extends the class: "(extends ref as CLASS" before the first
// parameter, and for the second form also "assigns value" after the last. Result: a new text for the
// caller to free(), cut at 999 characters; null without a declaration or memory, and from the second form
// when the first finds no place to put the parameter.
char *AddClassParameter(const char *declaration, const char *className);
char *AddClassParameterAssign(const char *declaration, const char *className);

// --- checks: they report and change nothing ------------------------------------------------------------

void CheckAttributes(const char *owner, const char *member, REALattribute *attributes, unsigned long count);
void CheckMethods(const char *owner, REALmethodDefinition *methods, unsigned long count);
void CheckProperties(const char *owner, REALproperty *properties, unsigned long count);
void CheckConstants(const char *owner, REALconstant *constants, unsigned long count);
void CheckEvents(const char *owner, REALevent *events, unsigned long count);
void CheckDelegates(const char *owner, REALdelegate *delegates, unsigned long count);

// Members whose target flags do not fit their owner's, and instance data that reaches past its block.
void CheckTargetFlags(REALclassDefinition *definition);
void CheckTargetFlags(REALcontrol *definition);
void CheckTargetFlags(REALmobileControl *definition);
void CheckTargetFlags(REALmoduleDefinition *module);

// --- adaptations: they change flags and report nothing -------------------------------------------------

// Replaces target flags that the running host does not know. The owner's name has no influence.
void FixFlags(REALclassDefinition *definition);
void FixFlags(REALmoduleDefinition *module); // its members, not its own flags
void FixFlags(REALmethodDefinition *method, const char *owner);
void FixFlags(REALmethodDefinition *methods, long count, const char *owner);
void FixFlags(REALproperty *properties, long count, const char *owner);

// Makes members without a scope protected. These do report: a list that is missing though it has a count.
void MarkProtected(REALmoduleDefinition *module);
void MarkProtected(REALmethodDefinition *methods, unsigned long count);
void MarkProtected(REALproperty *properties, unsigned long count);
void MarkProtected(REALenum *enums, unsigned long count);
