// The stand-in host, for the same measurements as the plain one.
#include "Benchmarks/Bench.h"
#include "Host/Runtime/Host.h"

namespace bench {

constinit const char *const kRowPrefix = "stand-in ";

static host::Host &TheHost()
{
    static host::Host host;
    return host;
}

HostResolver BeginHost()
{
    TheHost();
    return host::Resolve;
}

const REALclassDefinition &Definition(const char *className)
{
    const host::Class *type = TheHost().classes.Find(className);
    Require(type != nullptr, className);
    return *type->definition;
}

REALobjectStruct *NewMemoryBlock(const void *bytes, std::size_t count)
{
    return host::NewMemoryBlock(bytes, count);
}

} // namespace bench
