// The plain host: the small host in C, which keeps only three counts, and arrays.
#include "Benchmarks/Bench.h"
#include "Benchmarks/PlainArrays.h"
#include "Examples/host.h"

#include <cstring>

namespace bench {

constinit const char *const kRowPrefix = "";

static void *Resolve(const char *name)
{
    if (std::strcmp(name, "RuntimeRaiseException") == 0) Require(false, "the library raised an exception");
    void *entry = host_resolve(name);
    return entry != nullptr ? entry : FindArrayEntry(name);
}

HostResolver BeginHost()
{
    host_start();
    reinterpret_cast<void *(*)(REALclassDefinition *)>(host_resolve("PluginRegisterClass"))(&arrayClass);
    return Resolve;
}

const REALclassDefinition &Definition(const char *className)
{
    const REALclassDefinition *type = host_class(className);
    Require(type != nullptr, className);
    return *type;
}

REALobjectStruct *NewMemoryBlock(const void *bytes, std::size_t count)
{
    static const auto construct =
        Method<void (*)(REALobjectStruct *, long)>("MemoryBlock", "Constructor(bytes as Integer)");
    static const auto bytesOf = reinterpret_cast<void *(*)(REALobjectStruct *)>(host_resolve("memoryBlockGetPtr"));
    REALobjectStruct *block = entries.newInstance("MemoryBlock");
    construct(block, static_cast<long>(count));
    std::memcpy(bytesOf(block), bytes, count);
    return block;
}

} // namespace bench
