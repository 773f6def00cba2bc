// Runs the measurements of the built library, loaded by the stand-in host like any plugin.
#include "Benchmarks/Bench.h"

#include <cstdio>
#include <dlfcn.h>

int main(int count, char **arguments)
{
    if (count < 2) return std::fprintf(stderr, "usage: network_bench LIBRARY [OPTION...]\n"), 2;
    void *library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    bench::TheHost().Start(reinterpret_cast<void (*)(host::Resolver)>(dlsym(library, "REALPluginMain")));
    bench::RunAll(count, arguments);
}
