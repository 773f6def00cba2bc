// The records by which the library describes classes, modules and their members to the host.
//
// The layout is the host's: fields in this order, each as wide as a pointer unless its type says
// otherwise. Records are static and writable: registration adapts them in place, and the host keeps
// them for the life of the process.
#pragma once

#include "HostTypes.h"

#include <cstddef>

// The version that every record carries until registration replaces it by the negotiated one.
inline constexpr unsigned int kCurrentREALControlVersion = 15;

// Member and class flags.
enum MemberFlags : unsigned int {
    kConsoleSafe = 0x4,
    kTargetsConsoleAndWeb = 0x308, // the two target bits 0x8 and 0x100, and desktop
    kTargetDesktop = 0x200,
    kTargetIOS = 0x400,
    kTargetMaskChecked = 0x70C, // what the console-safety checks look at
    kTargetMaskFixed = 0x708,   // what FixFlags looks at
    kConsoleSafeIfKnown = 0x40000,
    kScopeMask = 0xF0,
    kScopeGlobal = 0x10,
    kScopeProtected = 0x40,
    kMethodFlags = kConsoleSafe, // every method of this library
    kPropertyFlags = 0x6,        // every property of the three classes; hosts know what 0x2 means
    kSharedPropertyFlags = 0x26, // the property of a class itself
};

struct REALattribute {
    const char *name;
    const char *value; // "" is a valid value
};

// What an accessor field holds for the standard accessor.
enum AccessorWord : std::intptr_t { kStandardAccessor = -1 };

// An accessor field: the address of a function of one of these types, null, or the standard accessor, with which the
// host itself reads or writes the instance data at the property's offset.
union PropertyGetter {
    constexpr PropertyGetter() : word(0) {}
    constexpr PropertyGetter(AccessorWord value) : word(value) {}
    constexpr PropertyGetter(long (*get)(REALobjectStruct *, long)) : integer(get) {}
    constexpr PropertyGetter(BooleanWord (*get)(REALobjectStruct *, long)) : boolean(get) {}
    constexpr PropertyGetter(REALstringStruct *(*get)(REALobjectStruct *, long)) : string(get) {}
    constexpr PropertyGetter(bool (*get)()) : shared(get) {}

    std::intptr_t word;
    long (*integer)(REALobjectStruct *, long parameter);
    BooleanWord (*boolean)(REALobjectStruct *, long parameter);
    REALstringStruct *(*string)(REALobjectStruct *, long parameter);
    bool (*shared)(); // class-level property: no object
};

union PropertySetter {
    constexpr PropertySetter() : word(0) {}
    constexpr PropertySetter(AccessorWord value) : word(value) {}
    constexpr PropertySetter(void (*set)(REALobjectStruct *, long, long)) : integer(set) {}
    constexpr PropertySetter(void (*set)(REALobjectStruct *, long, HostBoolean)) : boolean(set) {}
    constexpr PropertySetter(void (*set)(REALobjectStruct *, long, REALstringStruct *)) : string(set) {}
    constexpr PropertySetter(bool (*set)(HostBoolean)) : shared(set) {}

    std::intptr_t word;
    void (*integer)(REALobjectStruct *, long parameter, long value);
    void (*boolean)(REALobjectStruct *, long parameter, HostBoolean value);
    void (*string)(REALobjectStruct *, long parameter, REALstringStruct *value);
    bool (*shared)(HostBoolean value);
};

struct REALproperty {
    const char *group = nullptr;
    const char *name = nullptr;
    const char *type = nullptr;
    std::uint32_t flags = 0;
    PropertyGetter getter = {};
    PropertySetter setter = {};  // null: read-only
    std::intptr_t parameter = 0; // standard accessor: byte offset into the instance data, low 32 bits
    void *editor = nullptr;
    std::uint64_t enumCount = 0; // count first here, unlike in the class record
    const char **enumEntries = nullptr;
    std::uint64_t attributeCount = 0;
    REALattribute *attributes = nullptr;
};

struct REALmethodDefinition {
    void *function;
    void *setterFunction; // class extensions only: the "assigns value" half
    const char *declaration;
    std::uint32_t flags;
    std::uint64_t attributeCount;
    REALattribute *attributes;
};

struct REALevent {
    const char *declaration;
    void *token; // the host's, written at registration
    std::uint64_t attributeCount;
    REALattribute *attributes;
};

struct REALeventInstance; // of event handlers only the count is ever looked at

struct REALdelegate {
    const char *declaration;
    std::uint32_t flags;
    std::uint64_t attributeCount;
    REALattribute *attributes;
};

struct REALconstant {
    const char *declaration; // "Name = value"
    void *reserved1;
    void *reserved2;
    std::uint64_t attributeCount;
    REALattribute *attributes;
};

struct REALenum {
    void *reserved1;
    void *reserved2;
    std::uint32_t flags;
    void *reserved4;
    void *reserved5;
    void *reserved6;
    void *reserved7;
};

struct REALclassDefinition {
    std::uint32_t version = kCurrentREALControlVersion;
    const char *name = nullptr;
    const char *superName = nullptr;
    std::uint64_t dataSize = 0;
    std::int64_t forSystemUse = 0; // the host writes the offset of the instance data here
    void *reserved1 = nullptr;
    void (*destructor)(REALobjectStruct *) = nullptr;
    REALproperty *properties = nullptr;
    std::uint64_t propertyCount = 0;
    REALmethodDefinition *methods = nullptr;
    std::uint64_t methodCount = 0;
    REALevent *events = nullptr;
    std::uint64_t eventCount = 0;
    REALeventInstance *eventInstances = nullptr;
    std::uint64_t eventInstanceCount = 0;
    void *reserved2 = nullptr;
    REALattribute *attributes = nullptr;
    std::uint64_t attributeCount = 0;
    REALconstant *constants = nullptr;
    std::uint64_t constantCount = 0;
    std::uint32_t flags = 0;
    REALproperty *sharedProperties = nullptr;
    std::uint64_t sharedPropertyCount = 0;
    REALmethodDefinition *sharedMethods = nullptr;
    std::uint64_t sharedMethodCount = 0;
    REALdelegate *delegates = nullptr;
    std::uint64_t delegateCount = 0;
    REALenum *enums = nullptr;
    std::uint64_t enumCount = 0;
};

struct REALmoduleDefinition {
    std::uint32_t version;
    const char *name;
    REALmethodDefinition *methods;
    std::uint64_t methodCount;
    REALconstant *constants;
    std::uint64_t constantCount;
    REALproperty *properties;
    std::uint64_t propertyCount;
    void *structures;
    std::uint64_t structureCount;
    REALenum *enums;
    std::uint64_t enumCount;
    REALattribute *attributes;
    std::uint64_t attributeCount;
    REALdelegate *delegates;
    std::uint64_t delegateCount;
    void *reserved[8];
    std::uint32_t flags;
    void *reserved26;
    void *reserved27;
};

struct REALinterfaceDefinition {
    std::uint32_t version;
    const char *name;
    REALmethodDefinition *methods;
    std::uint64_t methodCount;
    REALattribute *attributes;
    std::uint64_t attributeCount;
};

// Desktop and mobile controls have the members of a class and a default size.
struct REALcontrol : REALclassDefinition {
    std::uint32_t defaultWidth = 0;
    std::uint32_t defaultHeight = 0;
};
struct REALmobileControl : REALclassDefinition {};

struct REALdbCursorDefinition {
    std::uint32_t version;
    void *forSystemUse;
    void (*closeCursor)(REALdbCursorStruct *);
};

struct REALdbEngineDefinition {
    std::uint32_t version;
    void (*closeDatabase)(REALdbDatabaseStruct *);
};

// The offsets that the host counts on.
static_assert(sizeof(PropertyGetter) == 8 && sizeof(PropertySetter) == 8);
static_assert(sizeof(REALattribute) == 16 && sizeof(REALevent) == 32 && sizeof(REALdelegate) == 32);
static_assert(sizeof(REALconstant) == 40 && sizeof(REALenum) == 56);
static_assert(sizeof(REALproperty) == 96 && offsetof(REALproperty, parameter) == 48);
static_assert(sizeof(REALmethodDefinition) == 48 && offsetof(REALmethodDefinition, declaration) == 16);
static_assert(sizeof(REALclassDefinition) == 232 && offsetof(REALclassDefinition, forSystemUse) == 32);
static_assert(offsetof(REALclassDefinition, destructor) == 48 && offsetof(REALclassDefinition, flags) == 160);
static_assert(sizeof(REALcontrol) == 240);
static_assert(sizeof(REALmoduleDefinition) == 216 && offsetof(REALmoduleDefinition, flags) == 192);
