// A small host for the plugin in plain C: it has everything that a program with sockets needs.
//
// Read it from top to bottom, with Docs/host.md at hand. The program on it is host_main.c, which says how to build
// and run both. A function with the name of an entry is that entry. Only one thread at a time may use a value, and only
// the main thread makes values and runs tasks.
#include "host.h"

#include <vynnetwork/vynhost.h>

#include <stdlib.h>
#include <string.h>

static struct HostCounts counts;

struct HostCounts host_counts(void)
{
    return counts;
}

// --- strings -------------------------------------------------------------------------------------------------
//
// The library never looks behind a handle. A string never changes. It knows its length, because bytes may be zero, and
// ends with a zero that does not count. The library reads the bytes where they are stored.

struct REALstringStruct {
    long references;
    int64_t length;
    unsigned int encoding;
    char gap[64 - sizeof(long) - sizeof(int64_t) - sizeof(unsigned int)]; // 64 bytes before the text
    char bytes[];
};

REALstringStruct *REALBuildStringWithEncoding(const char *bytes, int count, unsigned int encoding)
{
    REALstringStruct *string = malloc(sizeof *string + (size_t)count + 1);
    if (string == NULL) return NULL;
    string->references = 1; // a result has one reference, for the receiver
    string->length = count;
    string->encoding = encoding;
    memcpy(string->bytes, bytes, (size_t)count);
    string->bytes[count] = 0;
    counts.strings++;
    return string;
}

void REALLockString(REALstringStruct *string)
{
    string->references++;
}

void REALUnlockString(REALstringStruct *string)
{
    if (--string->references > 0) return;
    counts.strings--;
    free(string);
}

const char *StringGetCString(REALstringStruct *string)
{
    return string->bytes;
}

unsigned int REALGetStringEncoding(REALstringStruct *string)
{
    return string->encoding;
}

static int64_t len_b(REALstringStruct *string)
{
    return string != NULL ? string->length : 0;
}

// Without this length, the library takes every text of a program for empty.
void *REALLoadGlobalMethod(void *unused, const char *prototype)
{
    (void)unused;
    return strcmp(prototype, "LenB( s as string ) as integer") == 0 ? (void *)len_b : NULL;
}

// --- classes -------------------------------------------------------------------------------------------------
//
// A class is the record that a plugin registers, and some fields of the host. The same records describe the host's own
// classes.

struct REALclassRefStruct {
    REALclassDefinition *definition;
    REALclassRefStruct *super;
    VynMethod *lastMethod; // its method "Destructor"
};

static struct REALclassRefStruct classes[16];
static size_t classCount;

// An object: its instance data follow the host's own fields, those of the superclass first. (The place of the count, 24
// bytes from the handle, matters only for arrays.)
struct REALobjectStruct {
    VynHandler *handlers[3]; // of the first events of its class
    long references;
    const REALclassRefStruct *type;
    _Alignas(16) char data[];
};

static void *find_method(const REALmethodDefinition *methods, uint64_t count, const char *declaration)
{
    for (uint64_t i = 0; i < count; i++) {
        if (strcmp(methods[i].declaration, declaration) == 0) return methods[i].function;
    }
    return NULL;
}

static REALclassRefStruct *find_class(const char *className)
{
    for (size_t i = classCount; i-- > 0;) {
        if (strcmp(classes[i].definition->name, className) == 0) return &classes[i];
    }
    return NULL;
}

// The record is the library's, and stays in use for ever. The host writes into it the offset of the instance data from
// an object's handle, and a token for each event, by which the library asks for the event later.
void *PluginRegisterClass(REALclassDefinition *definition)
{
    if (classCount == sizeof classes / sizeof *classes) return NULL;
    REALclassRefStruct *type = &classes[classCount++];
    type->definition = definition;
    type->super = definition->superName != NULL ? find_class(definition->superName) : NULL;
    const REALclassDefinition *super = type->super != NULL ? type->super->definition : NULL;
    definition->forSystemUse =
        super != NULL ? super->forSystemUse + (int64_t)super->dataSize : (int64_t)offsetof(REALobjectStruct, data);
    for (uint64_t i = 0; i < definition->eventCount; i++)
        definition->events[i].token = &definition->events[i];
    type->lastMethod = (VynMethod *)find_method(definition->methods, definition->methodCount, "Destructor");
    return definition;
}

const struct REALclassDefinition *host_class(const char *className)
{
    const REALclassRefStruct *type = find_class(className);
    return type != NULL ? type->definition : NULL;
}

void *host_method(const char *className, const char *declaration)
{
    const REALclassDefinition *record = host_class(className);
    if (record == NULL) return NULL;
    void *found = find_method(record->methods, record->methodCount, declaration);
    return found != NULL ? found : find_method(record->sharedMethods, record->sharedMethodCount, declaration);
}

// The methods of a module are global functions. This host's programs call none of them.
void *PluginRegisterModule(REALmoduleDefinition *definition)
{
    return definition;
}

// --- objects -------------------------------------------------------------------------------------------------
//
// An object is made with cleared data and one reference. Its maker calls the constructor. When the last reference goes,
// the host calls its method "Destructor", then the destructor of its record. The object is valid until both have
// returned.

REALobjectStruct *PluginNewInstance(const char *className)
{
    const REALclassRefStruct *type = find_class(className);
    if (type == NULL) return NULL;
    REALobjectStruct *object = calloc(1, (size_t)type->definition->forSystemUse + (size_t)type->definition->dataSize);
    if (object == NULL) return NULL;
    object->references = 1;
    object->type = type;
    counts.objects++;
    return object;
}

void REALLockObject(REALobjectStruct *object)
{
    object->references++;
}

void REALUnlockObject(REALobjectStruct *object)
{
    if (--object->references > 0) return;
    object->references = 1; // a destructor may lock and unlock it
    for (const REALclassRefStruct *type = object->type; type != NULL; type = type->super) {
        if (type->lastMethod != NULL) type->lastMethod(object);
        if (type->definition->destructor != NULL) type->definition->destructor(object);
    }
    counts.objects--;
    free(object);
}

void *REALLoadObjectMethod(REALobjectStruct *object, const char *prototype)
{
    void *found = NULL;
    for (const REALclassRefStruct *type = object->type; type != NULL && found == NULL; type = type->super)
        found = find_method(type->definition->methods, type->definition->methodCount, prototype);
    return found;
}

// --- properties ----------------------------------------------------------------------------------------------
//
// A property is a pair of functions, or with the standard accessor a field in the instance data. The host keeps one
// reference on a string or object in a field. The library sets the message and the number of an exception, both fields.

const struct REALproperty *host_property(struct REALobjectStruct *object, const char *name, void **field)
{
    for (const REALclassRefStruct *type = object->type; type != NULL; type = type->super) {
        for (uint64_t i = 0; i < type->definition->propertyCount; i++) {
            const REALproperty *property = &type->definition->properties[i];
            *field = (char *)object + type->definition->forSystemUse + (int32_t)property->parameter;
            if (strcmp(property->name, name) == 0) return property;
        }
    }
    return NULL;
}

unsigned long REALSetPropValueInteger(REALobjectStruct *object, const char *name, long value)
{
    void *field;
    if (host_property(object, name, &field) == NULL) return 0;
    *(int64_t *)field = value;
    return 1;
}

unsigned long REALSetPropValueString(REALobjectStruct *object, const char *name, REALstringStruct *value)
{
    void *field;
    if (host_property(object, name, &field) == NULL) return 0;
    REALstringStruct *old = *(REALstringStruct **)field;
    if (value != NULL) REALLockString(value);
    *(REALstringStruct **)field = value;
    if (old != NULL) REALUnlockString(old);
    return 1;
}

// --- the host's own classes ----------------------------------------------------------------------------------
//
// A MemoryBlock is an object with separately allocated bytes. An exception has a message and a number.

typedef struct {
    void *bytes;
    int64_t size;
} Block;

static Block *block_of(REALobjectStruct *object)
{
    return (Block *)object->data;
}

// Without memory, the size stays 0, which the library checks.
static void construct_block(REALobjectStruct *object, int64_t size)
{
    Block *block = block_of(object);
    block->bytes = size >= 0 ? calloc(1, (size_t)size + 1) : NULL;
    block->size = block->bytes != NULL ? size : 0;
}

static void destroy_block(REALobjectStruct *object)
{
    free(block_of(object)->bytes);
}

void *memoryBlockGetPtr(REALmemoryBlockStruct *block)
{
    return block_of((REALobjectStruct *)block)->bytes;
}

long memoryBlockGetSize(REALmemoryBlockStruct *block)
{
    return block_of((REALobjectStruct *)block)->size;
}

typedef struct {
    REALstringStruct *message;
    int64_t number;
} Failure;

static void destroy_failure(REALobjectStruct *object)
{
    Failure *failure = (Failure *)object->data;
    if (failure->message != NULL) REALUnlockString(failure->message);
}

// clang-format off
static REALmethodDefinition blockMethods[] = {
    {.declaration = "Constructor(bytes as Integer)", .function = (void *)construct_block},
};
#define FIELD(n, t, offset) \
    {.name = n, .type = t, .getter.word = VYN_STANDARD, .setter.word = VYN_STANDARD, .parameter = offset}
static REALproperty failureProperties[] = {
    FIELD("Message",     "String",  offsetof(Failure, message)),
    FIELD("ErrorNumber", "Integer", offsetof(Failure, number)),
};
static REALclassDefinition ownClasses[] = {
    {.name = "RuntimeException", .dataSize = sizeof(Failure), .destructor = destroy_failure,
     .properties = failureProperties, .propertyCount = 2},
    {.name = "UnsupportedOperationException", .superName = "RuntimeException"},
    {.name = "UnsupportedFormatException",    .superName = "RuntimeException"},
    {.name = "NilObjectException",            .superName = "RuntimeException"},
    {.name = "OutOfMemoryException",          .superName = "RuntimeException"},
    {.name = "OutOfBoundsException",          .superName = "RuntimeException"},
    {.name = "MemoryBlock", .dataSize = sizeof(Block), .destructor = destroy_block,
     .methods = blockMethods, .methodCount = 1},
};
// clang-format on

void host_start(void)
{
    for (size_t i = 0; i < sizeof ownClasses / sizeof *ownClasses; i++)
        PluginRegisterClass(&ownClasses[i]);
}

// --- raising -------------------------------------------------------------------------------------------------
//
// The library raises and returns. The exception is pending until the caller takes it; later ones are dropped.

static REALobjectStruct *pending;

void RuntimeRaiseException(REALobjectStruct *exception)
{
    if (pending != NULL) return;
    REALLockObject(exception);
    pending = exception;
}

struct REALobjectStruct *host_take_exception(void)
{
    REALobjectStruct *exception = pending;
    pending = NULL;
    return exception;
}

REALobjectStruct *PluginCallFunctionWithExceptionHandler(void (*function)(void *data), void *data)
{
    REALobjectStruct *before = host_take_exception();
    function(data);
    REALobjectStruct *raised = host_take_exception();
    pending = before;
    return raised;
}

// --- the loop ------------------------------------------------------------------------------------------------
//
// Each turn calls every task. The task of a socket polls it, asks for the handler of an event that is due, and calls
// the handler. A handler may make and release objects, so tasks may come and go meanwhile.

typedef struct {
    VynTask *procedure; // null when it was taken back
    void *data;
} Task;
static Task *tasks;
static int taskCount;

int PluginRegisterBackgroundTask(void (*procedure)(void *data), unsigned int period, void *data)
{
    (void)period; // this loop has nothing else to do
    Task *more = realloc(tasks, (size_t)(taskCount + 1) * sizeof *tasks);
    if (more == NULL) return -1;
    tasks = more;
    tasks[taskCount++] = (Task){procedure, data};
    counts.tasks++;
    return taskCount; // neither 0 nor -1
}

void PluginUnregisterBackgroundTask(int identifier)
{
    if (identifier < 1 || tasks[identifier - 1].procedure == NULL) return;
    tasks[identifier - 1].procedure = NULL;
    counts.tasks--;
    while (taskCount > 0 && tasks[taskCount - 1].procedure == NULL)
        taskCount--;
}

void host_turn(void)
{
    for (int i = 0; i < taskCount; i++) {
        if (tasks[i].procedure != NULL) tasks[i].procedure(tasks[i].data);
    }
}

void *GetEventInstance(REALobjectStruct *object, void *token)
{
    const REALevent *event = token;
    const REALclassDefinition *record = object->type->definition;
    bool known = event >= record->events && event < record->events + record->eventCount;
    return known ? (void *)object->handlers[event - record->events] : NULL;
}

void host_set_handler(struct REALobjectStruct *object, const char *event, void (*handler)(struct REALobjectStruct *))
{
    const REALclassDefinition *record = object->type->definition;
    for (uint64_t i = 0; i < record->eventCount && i < sizeof object->handlers / sizeof *object->handlers; i++) {
        if (strcmp(record->events[i].declaration, event) == 0) object->handlers[i] = handler;
    }
}

// --- the resolver --------------------------------------------------------------------------------------------

double REALGetRBVersion(void)
{
    return 2021.03;
}

// clang-format off
#define ENTRY(name) {#name, (void *)name}

void *host_resolve(const char *entryName)
{
    static const struct {
        const char *name;
        void *function;
    } entries[] = {
        ENTRY(REALGetRBVersion), ENTRY(PluginRegisterModule), ENTRY(PluginRegisterClass),
        ENTRY(REALBuildStringWithEncoding), ENTRY(REALLockString), ENTRY(REALUnlockString),
        ENTRY(StringGetCString), ENTRY(REALGetStringEncoding), ENTRY(REALLoadGlobalMethod),
        ENTRY(PluginNewInstance), ENTRY(REALLockObject), ENTRY(REALUnlockObject), ENTRY(REALLoadObjectMethod),
        ENTRY(REALSetPropValueInteger), ENTRY(REALSetPropValueString),
        ENTRY(memoryBlockGetPtr), ENTRY(memoryBlockGetSize),
        ENTRY(RuntimeRaiseException), ENTRY(PluginCallFunctionWithExceptionHandler),
        ENTRY(PluginRegisterBackgroundTask), ENTRY(PluginUnregisterBackgroundTask), ENTRY(GetEventInstance),
    };
    for (size_t i = 0; i < sizeof entries / sizeof *entries; i++) {
        if (strcmp(entries[i].name, entryName) == 0) return entries[i].function;
    }
    return NULL;
}
// clang-format on
