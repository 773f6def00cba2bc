// What the fuzzers share: the inputs are cut by libFuzzer's provider, and a broken promise stops the run.
#pragma once

#include "Host/Runtime/Host.h"
#include "Source/SDK/GlueCode/PluginMain.h"

#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>

using Input = FuzzedDataProvider;

// Ends the run, so that libFuzzer keeps the input.
inline void Expect(bool holds, const char *promise)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

// The host that the library runs on, started once.
inline host::Host &TheHost()
{
    static host::Host &host = []() -> host::Host & {
        auto started = new host::Host();
        started->Start(REALPluginMain);
        return *started;
    }();
    return host;
}

// A fuzzer's input, from the generic entry point that libFuzzer calls.
void Fuzz(Input &input);

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Input input(data, size);
    Fuzz(input);
    return 0;
}
