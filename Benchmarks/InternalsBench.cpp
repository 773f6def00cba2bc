// Runs the measurements of what no member of the library exposes by itself. This program links the library's object
// files instead of loading the library: the same code, compiled the same way. It never loads the library beside them.
#include "Benchmarks/Bench.h"

int main(int count, char **arguments)
{
    bench::StartHost(REALPluginMain);
    bench::RunAll(count, arguments);
}
