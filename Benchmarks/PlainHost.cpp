// A host that does no more than it must: values with a count of references from malloc, and no account of them.
//
// It is there to measure the library by itself. Nothing is checked but what would make a figure wrong, and what no
// measurement needs is left out: no names but those asked for exactly, no conversion of encodings, no program.
#include "Benchmarks/PlainHost.h"

#include "Benchmarks/Bench.h"
#include "Benchmarks/PlainObjects.h"

#include <cstdlib>
#include <cstring>
#include <deque>

namespace bench {

constinit const char *const kRowPrefix = "";

namespace {

// Objects point into it.
std::deque<Class> &Classes()
{
    static std::deque<Class> classes;
    return classes;
}

// The bytes follow, and a zero.
struct alignas(64) StringValue {
    long references;
    long length;
    unsigned int encoding;

    char *Bytes() { return reinterpret_cast<char *>(this + 1); }
};

// The instance data of a memory block.
struct Block {
    void *data;
    long size;
};

StringValue *AsString(REALstringStruct *string)
{
    return reinterpret_cast<StringValue *>(string);
}

Value *AsValue(REALobjectStruct *object)
{
    return reinterpret_cast<Value *>(object);
}

Block &BlockOf(REALobjectStruct *object)
{
    return *reinterpret_cast<Block *>(reinterpret_cast<char *>(object) + kBlockOffset);
}

void *FindMethod(const REALclassDefinition &type, const char *declaration)
{
    for (std::size_t i = 0; i < type.methodCount; i++) {
        if (std::strcmp(type.methods[i].declaration, declaration) == 0) return type.methods[i].function;
    }
    return nullptr;
}

// --- the host's own classes ------------------------------------------------------------------------------------

void ConstructBlock(REALobjectStruct *object, long size)
{
    BlockOf(object) = {std::calloc(1, static_cast<std::size_t>(size)), size};
}

void DestroyBlock(REALobjectStruct *object)
{
    std::free(BlockOf(object).data);
}

REALmethodDefinition blockMethods[] = {
    {reinterpret_cast<void *>(ConstructBlock), nullptr, "Constructor(bytes as Integer)", 0, 0, nullptr},
};
REALclassDefinition blockClass = {.name = "MemoryBlock",
                                  .dataSize = sizeof(Block),
                                  .destructor = DestroyBlock,
                                  .methods = blockMethods,
                                  .methodCount = std::size(blockMethods)};

long LengthOf(REALstringStruct *string)
{
    return string != nullptr ? AsString(string)->length : 0;
}

std::vector<std::pair<void (*)(void *), void *>> &Tasks()
{
    static std::vector<std::pair<void (*)(void *), void *>> tasks;
    return tasks;
}

} // namespace

const Class *FindClass(const char *name)
{
    for (const Class &type : Classes()) {
        if (std::strcmp(type.definition->name, name) == 0) return &type;
    }
    return nullptr;
}

REALobjectStruct *NewInstance(const Class &type)
{
    auto value = static_cast<Value *>(std::calloc(1, kBlockOffset + type.definition->dataSize));
    value->type = &type;
    value->references = 1;
    return reinterpret_cast<REALobjectStruct *>(value);
}

} // namespace bench

// --- entries -----------------------------------------------------------------------------------------------------

namespace host::entry {

using namespace bench;

double REALGetRBVersion()
{
    return 2021.03;
}

void *REALRegisterClass(REALclassDefinition *definition)
{
    definition->forSystemUse = kBlockOffset;
    for (std::size_t i = 0; i < definition->eventCount; i++)
        definition->events[i].token = &definition->events[i];
    void *destructor = bench::FindMethod(*definition, "Destructor");
    Classes().push_back({definition, reinterpret_cast<void (*)(REALobjectStruct *)>(destructor)});
    return definition;
}

void *REALRegisterModule(REALmoduleDefinition *definition)
{
    return definition;
}

void REALLockString(REALstringStruct *string)
{
    AsString(string)->references++;
}

void REALUnlockString(REALstringStruct *string)
{
    if (--AsString(string)->references == 0) std::free(string);
}

REALstringStruct *REALBuildStringWithEncoding(const char *bytes, int count, unsigned int encoding)
{
    auto length = static_cast<std::size_t>(count);
    auto string = static_cast<StringValue *>(std::malloc(sizeof(StringValue) + length + 1));
    string->references = 1;
    string->length = count;
    string->encoding = encoding;
    std::memcpy(string->Bytes(), bytes, length);
    string->Bytes()[length] = 0;
    return reinterpret_cast<REALstringStruct *>(string);
}

unsigned int REALGetStringEncoding(REALstringStruct *string)
{
    return AsString(string)->encoding;
}

const char *StringGetCString(REALstringStruct *string)
{
    return AsString(string)->Bytes();
}

void *REALLoadGlobalMethod(void *, const char *prototype)
{
    bool isLength = std::strcmp(prototype, "LenB( s as string ) as integer") == 0;
    return isLength ? reinterpret_cast<void *>(LengthOf) : nullptr;
}

void REALLockObject(REALobjectStruct *object)
{
    AsValue(object)->references++;
}

void REALUnlockObject(REALobjectStruct *object)
{
    Value *value = AsValue(object);
    if (--value->references != 0) return;
    if (value->type->definition->destructor != nullptr) value->type->definition->destructor(object);
    if (value->type->destructor != nullptr) value->type->destructor(object);
    std::free(value);
}

REALobjectStruct *CreateInstance(REALclassRefStruct *classRef)
{
    return bench::NewInstance(*reinterpret_cast<const Class *>(classRef));
}

REALclassRefStruct *REALGetClassRef(const char *className)
{
    return reinterpret_cast<REALclassRefStruct *>(const_cast<Class *>(FindClass(className)));
}

REALobjectStruct *REALnewInstance(const char *className)
{
    const Class *type = FindClass(className);
    return type != nullptr ? bench::NewInstance(*type) : nullptr;
}

void *REALLoadObjectMethod(REALobjectStruct *object, const char *prototype)
{
    return bench::FindMethod(*AsValue(object)->type->definition, prototype);
}

void *GetEventInstance(REALobjectStruct *object, void *token)
{
    const Value *value = AsValue(object);
    return token == value->type->definition->events ? reinterpret_cast<void *>(value->dataHandler) : nullptr;
}

void *REALMemoryBlockGetPtr(REALmemoryBlockStruct *block)
{
    return BlockOf(AsObject(block)).data;
}

long REALMemoryBlockGetSize(REALmemoryBlockStruct *block)
{
    return BlockOf(AsObject(block)).size;
}

int REALRegisterBackgroundTask(void (*procedure)(void *), unsigned int, void *data)
{
    Tasks().emplace_back(procedure, data);
    return static_cast<int>(Tasks().size());
}

// A number is given again only once all tasks of higher numbers are gone too.
void REALUnregisterBackgroundTask(int identifier)
{
    auto &tasks = Tasks();
    tasks[static_cast<std::size_t>(identifier) - 1] = {[](void *) {}, nullptr};
    while (!tasks.empty() && tasks.back().second == nullptr)
        tasks.pop_back();
}

void REALRaiseException(REALobjectStruct *)
{
    Require(false, "the library raised an exception");
}

REALobjectStruct *PluginCallFunctionWithExceptionHandler(void (*function)(void *), void *data)
{
    function(data);
    return nullptr;
}

} // namespace host::entry

// --- what measurements call ----------------------------------------------------------------------------------------

namespace bench {

namespace {

void *Resolve(const char *name)
{
    using namespace host::entry;
#define PROVIDED(operation)                                                                                            \
    {                                                                                                                  \
        operation##Name, reinterpret_cast<void *>(operation)                                                           \
    }
    static const struct {
        const char *name;
        void *function;
    } entries[] = {
        PROVIDED(REALGetRBVersion),
        PROVIDED(REALRegisterClass),
        PROVIDED(REALRegisterModule),
        PROVIDED(REALLockString),
        PROVIDED(REALUnlockString),
        PROVIDED(REALBuildStringWithEncoding),
        PROVIDED(REALGetStringEncoding),
        PROVIDED(StringGetCString),
        PROVIDED(REALLoadGlobalMethod),
        PROVIDED(REALLockObject),
        PROVIDED(REALUnlockObject),
        PROVIDED(REALnewInstance),
        PROVIDED(REALLoadObjectMethod),
        PROVIDED(GetEventInstance),
        PROVIDED(REALMemoryBlockGetPtr),
        PROVIDED(REALMemoryBlockGetSize),
        PROVIDED(REALCreateArray),
        PROVIDED(REALGetArrayUBound),
        PROVIDED(REALGetArrayValueInteger),
        PROVIDED(REALSetArrayValueInteger),
        PROVIDED(REALGetArrayValueDouble),
        PROVIDED(REALSetArrayValueDouble),
        PROVIDED(REALRegisterBackgroundTask),
        PROVIDED(REALUnregisterBackgroundTask),
        PROVIDED(REALRaiseException),
        PROVIDED(PluginCallFunctionWithExceptionHandler),
    };
    for (const auto &entry : entries) {
        if (std::strcmp(entry.name, name) == 0) return entry.function;
    }
    return nullptr;
}

} // namespace

void StartHost(void (*pluginMain)(HostResolver))
{
    Tasks().reserve(16'384); // now, for they must outlive the sockets that measurements keep
    host::entry::REALRegisterClass(&blockClass);
    host::entry::REALRegisterClass(&arrayClass);
    pluginMain(Resolve);
}

const REALclassDefinition &Definition(const char *className)
{
    const Class *type = FindClass(className);
    Require(type != nullptr, className);
    return *type->definition;
}

REALobjectStruct *NewMemoryBlock(const void *bytes, std::size_t count)
{
    static const Class &type = *FindClass("MemoryBlock");
    REALobjectStruct *block = NewInstance(type);
    ConstructBlock(block, static_cast<long>(count));
    std::memcpy(BlockOf(block).data, bytes, count);
    return block;
}

void RunTasks()
{
    for (const auto &[procedure, data] : Tasks())
        procedure(data);
}

void SetDataHandler(REALobjectStruct *object, void (*handler)(REALobjectStruct *))
{
    AsValue(object)->dataHandler = handler;
}

} // namespace bench
