// Loads a plugin in this fresh process, as a host does, and prints how many nanoseconds that took.
//
// From the search for the library to the last registration.
#include "Benchmarks/Bench.h"

#include <chrono>
#include <cstdio>
#include <dlfcn.h>

int main(int count, char **arguments)
{
    if (count != 2) return std::fprintf(stderr, "usage: load_once LIBRARY\n"), 2;

    auto start = std::chrono::steady_clock::now();
    void *library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    bench::StartHost(reinterpret_cast<void (*)(HostResolver)>(dlsym(library, "REALPluginMain")));
    std::chrono::nanoseconds time = std::chrono::steady_clock::now() - start;

    std::printf("%lld\n", static_cast<long long>(time.count()));
}
