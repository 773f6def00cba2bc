// The Internet checksum, beside reading the bytes.
#include "Benchmarks/Bench.h"
#include "Benchmarks/ChecksumCases.h"
#include "Benchmarks/ReadLimit.h"

using namespace bench;

static void ChecksumOurs(benchmark::State &state, long size)
{
    auto checksum = Method<std::uint16_t (*)(const void *, long)>(
        "RAWSocketVYN", "CalcChecksum(data as ptr, ByteCount as Integer) as UInt16");
    const std::string bytes = ChecksumBytes(size);
    for (auto _ : state)
        benchmark::DoNotOptimize(checksum(bytes.data(), size));
}

static void ReadBytes(benchmark::State &state, long size)
{
    const std::string bytes = ChecksumBytes(size);
    for (auto _ : state)
        benchmark::DoNotOptimize(AnyTopBit(bytes.data(), bytes.size()));
}

[[maybe_unused]] static const bool registered[] = {
    Register("checksum", "ours", ChecksumOurs, kChecksumSizes),
    Register("checksum", "limit", ReadBytes, kChecksumSizes),
};
