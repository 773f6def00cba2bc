// Loads a plugin in this fresh process, as a host does, from the search for the library to the last registration.
// Prints how many nanoseconds that took, and how many pages of memory were touched for the first time.
#include "Benchmarks/Bench.h"

#include <chrono>
#include <cstdio>
#include <dlfcn.h>
#include <sys/resource.h>

static long FirstTouches()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

int main(int count, char **arguments)
{
    if (count != 2) return std::fprintf(stderr, "usage: load_once LIBRARY\n"), 2;

    const long touchedBefore = FirstTouches();
    auto start = std::chrono::steady_clock::now();
    void *library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    bench::StartHost(reinterpret_cast<void (*)(HostResolver)>(dlsym(library, "REALPluginMain")));
    std::chrono::nanoseconds time = std::chrono::steady_clock::now() - start;
    const long touched = FirstTouches() - touchedBefore;

    std::printf("%lld %ld\n", static_cast<long long>(time.count()), touched);
}
