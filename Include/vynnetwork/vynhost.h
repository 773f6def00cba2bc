// The interface between a host and the VYNNetwork plugin, in plain C11 (and C++).
//
// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The VYNNetwork authors
//
// Made by Tools/host_page.py from the library's own tables. host.md explains the names; host.c is a small host.
//
// The host loads the library, looks up "REALPluginMain" and calls it with its resolver. The library then asks the
// resolver for entries by name, and describes its classes in records. The resolver returns null for a missing entry.
//
// A tag says on which thread an entry is called or a function may be called:
//   [load]  within REALPluginMain, whose thread is the main thread from then on
//   [main]  the main thread
//   [any]   the thread on which the host runs a member of the library
// clang-format off
#ifndef VYNHOST_H
#define VYNHOST_H

#include <assert.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VYN_SIZE(type, size) static_assert(sizeof(type) == (size), #type)
#define VYN_AT(type, field, offset) static_assert(offsetof(type, field) == (offset), #type "." #field)

// --- handles: the host's; the library never looks behind them, and null is nil or the empty text ---

typedef struct REALclassRefStruct REALclassRefStruct;
typedef struct REALeventInstance REALeventInstance;
typedef struct REALmemoryBlockStruct REALmemoryBlockStruct;
typedef struct REALobjectStruct REALobjectStruct;
typedef struct REALstringStruct REALstringStruct;

// --- values as they are passed ---
//
// Integer is int64_t, UInt16 and UInt32 are uint16_t and uint32_t, Ptr is void *, and a byref parameter points to a
// variable of its type. Only the low eight bits of a Boolean count, in both directions; 0 is no, any other value yes.
typedef signed char HostBoolean; // a Boolean argument

// --- functions that the host calls ---

typedef void *HostResolver(const char *entryName);            // the host's own [any]
typedef void VynPluginMain(HostResolver *resolver);           // "REALPluginMain" [load]
typedef void VynTask(void *data);                             // a background task [main]
typedef void VynHandler(REALobjectStruct *object);            // an event's handler, which the library calls [main]
typedef void VynDestructor(REALobjectStruct *object);         // a class record's destructor [any]
typedef void VynMethod(REALobjectStruct *object);             // a method without parameters, such as Constructor [any]
                                                              // (of Poll: [main], it does nothing elsewhere)
// The functions of the host that REALLoadGlobalMethod and REALLoadObjectMethod find.
typedef int64_t HostLenB(REALstringStruct *string);           // "LenB( s as string ) as integer" [any]
typedef void HostNewBlock(REALobjectStruct *block, int64_t);  // "Constructor(bytes as Integer)" of MemoryBlock [any]

// The accessors of a property [any]. All bits set (VYN_STANDARD) is the standard accessor: the host itself reads and
// writes the instance data, at the byte offset `parameter`. A null setter makes the property read-only.
#define VYN_STANDARD ((intptr_t)-1)
typedef union {
    intptr_t word;
    int64_t (*integer)(REALobjectStruct *object, int64_t parameter);
    long (*boolean)(REALobjectStruct *object, int64_t parameter);
    REALstringStruct *(*string)(REALobjectStruct *object, int64_t parameter); // with one reference
    bool (*shared)(void);                                                     // of the class: no object
} PropertyGetter;
typedef union {
    intptr_t word;
    void (*integer)(REALobjectStruct *object, int64_t parameter, int64_t value);
    void (*boolean)(REALobjectStruct *object, int64_t parameter, HostBoolean value);
    void (*string)(REALobjectStruct *object, int64_t parameter, REALstringStruct *value);
    bool (*shared)(HostBoolean value);
} PropertySetter;

// --- records: the library's, valid for ever; the host writes only the two fields that say so ---

typedef struct REALstringData {
    const void *data;
    int64_t length; // in bytes
    uint32_t encoding;
    void *reserved[5];
} REALstringData;
VYN_AT(REALstringData, data, 0); VYN_AT(REALstringData, length, 8); VYN_AT(REALstringData, encoding, 16);
VYN_AT(REALstringData, reserved, 24); VYN_SIZE(REALstringData, 64);

typedef struct REALattribute {
    const char *name;
    const char *value; // "" is a valid value
} REALattribute;
VYN_AT(REALattribute, name, 0); VYN_AT(REALattribute, value, 8); VYN_SIZE(REALattribute, 16);

typedef struct REALproperty {
    const char *group;
    const char *name;
    const char *type;
    uint32_t flags;
    PropertyGetter getter;
    PropertySetter setter; // null: read-only
    intptr_t parameter; // standard accessor: byte offset into the instance data, low 32 bits
    void *editor;
    uint64_t enumCount; // count first here, unlike in the class record
    const char **enumEntries;
    uint64_t attributeCount;
    REALattribute *attributes;
} REALproperty;
VYN_AT(REALproperty, group, 0); VYN_AT(REALproperty, name, 8); VYN_AT(REALproperty, type, 16);
VYN_AT(REALproperty, flags, 24); VYN_AT(REALproperty, getter, 32); VYN_AT(REALproperty, setter, 40);
VYN_AT(REALproperty, parameter, 48); VYN_AT(REALproperty, editor, 56); VYN_AT(REALproperty, enumCount, 64);
VYN_AT(REALproperty, enumEntries, 72); VYN_AT(REALproperty, attributeCount, 80); VYN_AT(REALproperty, attributes, 88);
VYN_SIZE(REALproperty, 96);

typedef struct REALmethodDefinition {
    void *function;
    void *setterFunction; // class extensions only: the "assigns value" half
    const char *declaration;
    uint32_t flags;
    uint64_t attributeCount;
    REALattribute *attributes;
} REALmethodDefinition;
VYN_AT(REALmethodDefinition, function, 0); VYN_AT(REALmethodDefinition, setterFunction, 8);
VYN_AT(REALmethodDefinition, declaration, 16); VYN_AT(REALmethodDefinition, flags, 24);
VYN_AT(REALmethodDefinition, attributeCount, 32); VYN_AT(REALmethodDefinition, attributes, 40);
VYN_SIZE(REALmethodDefinition, 48);

typedef struct REALevent {
    const char *declaration;
    void *token; // the host's, written at registration
    uint64_t attributeCount;
    REALattribute *attributes;
} REALevent;
VYN_AT(REALevent, declaration, 0); VYN_AT(REALevent, token, 8); VYN_AT(REALevent, attributeCount, 16);
VYN_AT(REALevent, attributes, 24); VYN_SIZE(REALevent, 32);

typedef struct REALdelegate {
    const char *declaration;
    uint32_t flags;
    uint64_t attributeCount;
    REALattribute *attributes;
} REALdelegate;
VYN_AT(REALdelegate, declaration, 0); VYN_AT(REALdelegate, flags, 8); VYN_AT(REALdelegate, attributeCount, 16);
VYN_AT(REALdelegate, attributes, 24); VYN_SIZE(REALdelegate, 32);

typedef struct REALconstant {
    const char *declaration; // "Name = value"
    void *reserved1;
    void *reserved2;
    uint64_t attributeCount;
    REALattribute *attributes;
} REALconstant;
VYN_AT(REALconstant, declaration, 0); VYN_AT(REALconstant, reserved1, 8); VYN_AT(REALconstant, reserved2, 16);
VYN_AT(REALconstant, attributeCount, 24); VYN_AT(REALconstant, attributes, 32); VYN_SIZE(REALconstant, 40);

typedef struct REALenum {
    void *reserved1;
    void *reserved2;
    uint32_t flags;
    void *reserved4;
    void *reserved5;
    void *reserved6;
    void *reserved7;
} REALenum;
VYN_AT(REALenum, reserved1, 0); VYN_AT(REALenum, reserved2, 8); VYN_AT(REALenum, flags, 16);
VYN_AT(REALenum, reserved4, 24); VYN_AT(REALenum, reserved5, 32); VYN_AT(REALenum, reserved6, 40);
VYN_AT(REALenum, reserved7, 48); VYN_SIZE(REALenum, 56);

typedef struct REALclassDefinition {
    uint32_t version;
    const char *name;
    const char *superName;
    uint64_t dataSize;
    int64_t forSystemUse; // the host writes the offset of the instance data here
    void *reserved1;
    void (*destructor)(REALobjectStruct *);
    REALproperty *properties;
    uint64_t propertyCount;
    REALmethodDefinition *methods;
    uint64_t methodCount;
    REALevent *events;
    uint64_t eventCount;
    REALeventInstance *eventInstances;
    uint64_t eventInstanceCount;
    void *reserved2;
    REALattribute *attributes;
    uint64_t attributeCount;
    REALconstant *constants;
    uint64_t constantCount;
    uint32_t flags;
    REALproperty *sharedProperties;
    uint64_t sharedPropertyCount;
    REALmethodDefinition *sharedMethods;
    uint64_t sharedMethodCount;
    REALdelegate *delegates;
    uint64_t delegateCount;
    REALenum *enums;
    uint64_t enumCount;
} REALclassDefinition;
VYN_AT(REALclassDefinition, version, 0); VYN_AT(REALclassDefinition, name, 8);
VYN_AT(REALclassDefinition, superName, 16); VYN_AT(REALclassDefinition, dataSize, 24);
VYN_AT(REALclassDefinition, forSystemUse, 32); VYN_AT(REALclassDefinition, reserved1, 40);
VYN_AT(REALclassDefinition, destructor, 48); VYN_AT(REALclassDefinition, properties, 56);
VYN_AT(REALclassDefinition, propertyCount, 64); VYN_AT(REALclassDefinition, methods, 72);
VYN_AT(REALclassDefinition, methodCount, 80); VYN_AT(REALclassDefinition, events, 88);
VYN_AT(REALclassDefinition, eventCount, 96); VYN_AT(REALclassDefinition, eventInstances, 104);
VYN_AT(REALclassDefinition, eventInstanceCount, 112); VYN_AT(REALclassDefinition, reserved2, 120);
VYN_AT(REALclassDefinition, attributes, 128); VYN_AT(REALclassDefinition, attributeCount, 136);
VYN_AT(REALclassDefinition, constants, 144); VYN_AT(REALclassDefinition, constantCount, 152);
VYN_AT(REALclassDefinition, flags, 160); VYN_AT(REALclassDefinition, sharedProperties, 168);
VYN_AT(REALclassDefinition, sharedPropertyCount, 176); VYN_AT(REALclassDefinition, sharedMethods, 184);
VYN_AT(REALclassDefinition, sharedMethodCount, 192); VYN_AT(REALclassDefinition, delegates, 200);
VYN_AT(REALclassDefinition, delegateCount, 208); VYN_AT(REALclassDefinition, enums, 216);
VYN_AT(REALclassDefinition, enumCount, 224); VYN_SIZE(REALclassDefinition, 232);

typedef struct REALmoduleDefinition {
    uint32_t version;
    const char *name;
    REALmethodDefinition *methods;
    uint64_t methodCount;
    REALconstant *constants;
    uint64_t constantCount;
    REALproperty *properties;
    uint64_t propertyCount;
    void *structures;
    uint64_t structureCount;
    REALenum *enums;
    uint64_t enumCount;
    REALattribute *attributes;
    uint64_t attributeCount;
    REALdelegate *delegates;
    uint64_t delegateCount;
    void *reserved[8];
    uint32_t flags;
    void *reserved26;
    void *reserved27;
} REALmoduleDefinition;
VYN_AT(REALmoduleDefinition, version, 0); VYN_AT(REALmoduleDefinition, name, 8);
VYN_AT(REALmoduleDefinition, methods, 16); VYN_AT(REALmoduleDefinition, methodCount, 24);
VYN_AT(REALmoduleDefinition, constants, 32); VYN_AT(REALmoduleDefinition, constantCount, 40);
VYN_AT(REALmoduleDefinition, properties, 48); VYN_AT(REALmoduleDefinition, propertyCount, 56);
VYN_AT(REALmoduleDefinition, structures, 64); VYN_AT(REALmoduleDefinition, structureCount, 72);
VYN_AT(REALmoduleDefinition, enums, 80); VYN_AT(REALmoduleDefinition, enumCount, 88);
VYN_AT(REALmoduleDefinition, attributes, 96); VYN_AT(REALmoduleDefinition, attributeCount, 104);
VYN_AT(REALmoduleDefinition, delegates, 112); VYN_AT(REALmoduleDefinition, delegateCount, 120);
VYN_AT(REALmoduleDefinition, reserved, 128); VYN_AT(REALmoduleDefinition, flags, 192);
VYN_AT(REALmoduleDefinition, reserved26, 200); VYN_AT(REALmoduleDefinition, reserved27, 208);
VYN_SIZE(REALmoduleDefinition, 216);

// --- codes ---

enum HostEncoding {
    kEncodingMacRoman = 0x0000,
    kEncodingUTF16 = 0x0100,
    kEncodingLatin1 = 0x0201,
    kEncodingWindows = 0x0500,
    kEncodingASCII = 0x0600,
    kEncodingUTF8 = 0x08000100,
    kEncodingUTF32 = 0x0C000100,
    kEncodingNone = 0xFFFF, // no declared encoding
};
enum MemberFlags {
    kConsoleSafe = 0x4,
    kTargetsConsoleAndWeb = 0x308, // the two target bits 0x8 and 0x100, and desktop
    kTargetDesktop = 0x200,
    kTargetIOS = 0x400,
    kTargetMaskChecked = 0x70C, // what the console-safety checks look at
    kTargetMaskFixed = 0x708, // what FixFlags looks at
    kConsoleSafeIfKnown = 0x40000,
    kScopeMask = 0xF0,
    kScopeGlobal = 0x10,
    kScopeProtected = 0x40,
    kMethodFlags = kConsoleSafe, // every method of this library
    kPropertyFlags = 0x6, // every property of the three classes; hosts know what 0x2 means
    kSharedPropertyFlags = 0x26, // the property of a class itself
};

// --- entries ---
//
// A host defines the entries that it has; host.md says what is lost without one. Arguments are borrowed. A handle that
// an entry returns has one reference for the library, unless it says "borrowed". Only the low eight bits of a yes or no
// count.

// [load] The host's version as a number, such as 2021.03.
double REALGetRBVersion(void);

// [load] Tells the host which SDK version the library speaks.
void RegisterPluginVersion(int sdkVersion);

// [load] Yes or no: yes in a program, no in an editor, which loads plugins too. Asked while tracing.
unsigned long REALinRuntime(void);

// [load] The host keeps the record, for ever; it is heap memory that the library never frees. What it returns is not
// used.
void *PluginRegisterModule(REALmoduleDefinition *definition);

// [load] The host keeps the record, for ever. Asked for by hosts before 2013 and from 3000 on alone.
void *PluginRegisterMethod(REALmethodDefinition *definition);

// [load] The host keeps the record, for ever, and writes forSystemUse and the token of each event. What it returns is
// not used.
void *PluginRegisterClass(REALclassDefinition *definition);

// [any] A new object of the class of that name, with one reference, its instance data cleared; null for an unknown
// class. It calls no constructor. Asked for MemoryBlock, DatagramVYN, RAWSocketVYN and exceptions.
REALobjectStruct *PluginNewInstance(const char *className);

// [any] Takes one reference more.
void REALLockObject(REALobjectStruct *object);

// [any] Gives one reference back; with the last one the object's life ends.
void REALUnlockObject(REALobjectStruct *object);

// [any] The class of that name; borrowed, and valid for ever. Asked for objects that no constructor of the library has
// seen, and for all where the two socket classes have different forSystemUse.
REALclassRefStruct *pluginObjectType(const char *className);

// [any] Yes or no: whether the object is of that class or of one that inherits from it.
unsigned long RuntimeObjectIsa(REALobjectStruct *object, REALclassRefStruct *classRef);

// [any] The function for a method of the object's class, or null; borrowed. Asked for the constructor of a MemoryBlock.
void *REALLoadObjectMethod(REALobjectStruct *object, const char *prototype);

// [any] The function for a method of the framework, or null; borrowed, and kept once found. The entry's own first
// argument is null and means nothing; the function is called with its declared parameters alone. Asked for LenB( s as
// string ) as integer.
void *REALLoadGlobalMethod(void *object, const char *prototype);

// [any] Yes or no: sets a String property of the object by its name, and takes a reference of its own; no for a
// property that the class lacks. The library sets Message of exceptions.
unsigned long REALSetPropValueString(REALobjectStruct *object, const char *name, REALstringStruct *value);

// [any] The same for an Integer property. The library sets ErrorNumber of exceptions.
unsigned long REALSetPropValueInteger(REALobjectStruct *object, const char *name, long value);

// [any] Yes or no: stores the value of an Integer property of the object by its name; no for a property that the class
// lacks. The library reads Handle of a SocketCore.
unsigned long REALGetPropValueInteger(REALobjectStruct *object, const char *name, long *value);

// [any] A new string from count bytes, with one reference. The bytes are copied. Asked for by hosts before 2012 alone.
REALstringStruct *REALBuildString(const char *bytes, int count);

// [any] A new string from count bytes, with one reference, and with an encoding code (HostEncoding). The bytes are
// copied.
REALstringStruct *REALBuildStringWithEncoding(const char *bytes, int count, unsigned int encoding);

// [any] Changes the code and not the bytes, of a string that only the library has. Asked for by hosts before 2012
// alone.
void REALSetStringEncoding(REALstringStruct *string, unsigned int encoding);

// [any] The code of the string's encoding. Asked for every text that is read as an address or a name.
unsigned int REALGetStringEncoding(REALstringStruct *string);

// [any] The string's bytes, the host's, which stay as long as the library has a reference. They end with a zero that
// does not count. Their number comes from LenB( s as string ) as integer.
const char *StringGetCString(REALstringStruct *string);

// [any] Takes one reference more.
void REALLockString(REALstringStruct *string);

// [any] Gives one reference back; the string goes with the last one.
void REALUnlockString(REALstringStruct *string);

// [any] Yes or no: fills the record with the string in that encoding. The host owns what it points to until
// PluginDisposeStringData. Asked for texts beyond ASCII that are in another encoding than an address or a name needs.
unsigned long PluginGetStringData(REALstringStruct *string, unsigned int encoding, REALstringData *data);

// [any] Gives back the data in a record that was filled; the record itself is the library's.
void PluginDisposeStringData(REALstringData *data);

// [any] The block's bytes, the host's, as long as the block lives.
void *memoryBlockGetPtr(REALmemoryBlockStruct *block);

// [any] The block's size in bytes. Also asked of a block whose constructor has raised: 0.
long memoryBlockGetSize(REALmemoryBlockStruct *block);

// [any] The host calls procedure(data) on the main thread, again and again from its loop, until the task is taken back.
// The period is 10, in the host's own unit; a host may call every task at each turn of its loop. It answers a number
// that is neither 0 nor -1. data is the object, without a reference.
int PluginRegisterBackgroundTask(void (*procedure)(void *), unsigned int period, void *data);

// [any] The host stops calling the task. Called with -1 where registration gave -1.
void PluginUnregisterBackgroundTask(int identifier);

// [main] The function that calls the program's handler of the event, or null when the program has none; borrowed. The
// library calls it with the object alone, and asks before each call. token is what the host wrote into the event's
// record.
void *GetEventInstance(REALobjectStruct *object, void *token);

// [any] The host takes a reference of its own, and raises the exception in the program after the library's function has
// returned.
void RuntimeRaiseException(REALobjectStruct *exception);

// [any] The host calls function(data) once, and answers null or the exception that it raised, with one reference, which
// is no longer pending then.
REALobjectStruct *PluginCallFunctionWithExceptionHandler(void (*function)(void *), void *data);

#ifdef __cplusplus
}
#endif

#endif
