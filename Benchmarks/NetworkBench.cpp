// Runs the measurements of the built library, loaded like any plugin by the host that the program is linked with.
#include "Benchmarks/Bench.h"

#include <cstdio>
#include <dlfcn.h>

int main(int count, char **arguments)
{
    if (count < 2) return std::fprintf(stderr, "usage: %s LIBRARY [OPTION...]\n", arguments[0]), 2;
    void *library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    bench::StartHost(reinterpret_cast<void (*)(HostResolver)>(dlsym(library, "REALPluginMain")));
    bench::RunAll(count, arguments);
}
