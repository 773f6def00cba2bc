// DPDK's raw checksum, which is in its headers. It leaves out the complement, which is one instruction.
#include "Benchmarks/Bench.h"
#include "Benchmarks/ChecksumCases.h"

#include <rte_ip.h>

using namespace bench;

static void ChecksumDPDK(benchmark::State &state, long size)
{
    const std::string bytes = ChecksumBytes(size);
    for (auto _ : state)
        benchmark::DoNotOptimize(rte_raw_cksum(bytes.data(), bytes.size()));
}

[[maybe_unused]] static const bool registered = Register("checksum", "DPDK", ChecksumDPDK, kChecksumSizes);
