// Runs the measurements of functions that no member exposes by itself. This program links the library's object files,
// the same code compiled the same way, and never loads the library.
#include "Benchmarks/Bench.h"

int main(int count, char **arguments)
{
    bench::StartHost(REALPluginMain);
    bench::RunAll(count, arguments);
}
