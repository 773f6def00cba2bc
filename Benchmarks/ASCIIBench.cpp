// The 7-bit test of text, beside reading the bytes.
#include "Benchmarks/Bench.h"
#include "Benchmarks/ReadLimit.h"

#include "Source/Utility/rbUtil.h"

using namespace bench;

static void TestOurs(benchmark::State &state, long size)
{
    const std::string text(static_cast<std::size_t>(size), 'x');
    for (auto _ : state)
        Require(IsASCII(text.data(), text.size()), "the 7-bit test failed");
}

static void TestLimit(benchmark::State &state, long size)
{
    const std::string text(static_cast<std::size_t>(size), 'x');
    for (auto _ : state)
        Require(!AnyTopBit(text.data(), text.size()), "the 7-bit test failed");
}

static const std::vector<long> kTestSizes = {64, 1500, 65536};

[[maybe_unused]] static const bool registered[] = {
    Register("ascii", "ours", TestOurs, kTestSizes),
    Register("ascii", "limit", TestLimit, kTestSizes),
};
