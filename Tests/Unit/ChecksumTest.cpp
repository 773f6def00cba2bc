#include "Source/Plugins/Network/Checksum.h"

#include "Source/Plugins/Network/RAWSocket.h"
#include "Source/Utility/CpuFeatures.h"
#include "Tests/Shared/GuardedMemory.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace {

// What RFC 1071 makes of a sum of words, folded twice.
std::uint16_t SlowChecksum(std::uint64_t sum)
{
    sum = sum / 0x10000 + sum % 0x10000;
    sum = sum + sum / 0x10000;
    return static_cast<std::uint16_t>(0xFFFF - sum % 0x10000);
}

// Every implementation of the sum that can run here.
std::vector<std::uint64_t (*)(const unsigned char *, std::size_t)> Implementations()
{
#if defined(__x86_64__)
    if (HasAVX2()) return {SumWordsPortable, SumWordsSSE2, SumWordsAVX2};
    return {SumWordsPortable, SumWordsSSE2};
#else
    return {SumWordsPortable, SumWordsNEON};
#endif
}

// Checks the bytes with each of them, and the checksum as it is chosen.
void Check(const unsigned char *bytes, std::size_t count)
{
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < count; i++)
        sum += static_cast<std::uint64_t>(bytes[i]) << (i % 2 * 8);
    for (auto sumWords : Implementations())
        ASSERT_EQ(sumWords(bytes, count), sum);
    ASSERT_EQ(csumb(bytes, static_cast<std::int32_t>(count)), SlowChecksum(sum));
}

} // namespace

TEST(Checksum, EveryShortLengthAtEveryAlignment)
{
    GuardedMemory memory(4096);
    std::mt19937 random(1);
    for (unsigned char *p = memory.Last(4096); p < memory.Last(0); p++)
        *p = static_cast<unsigned char>(random());
    for (std::size_t count = 0; count <= 2048; count++) {
        for (std::size_t offset = 0; offset < 8; offset++) {
            const unsigned char *bytes = memory.Last(count + offset);
            SCOPED_TRACE(testing::Message() << count << " bytes, " << offset << " before the end");
            Check(bytes, count);
        }
    }
}

TEST(Checksum, LongInputsOfEveryKindAreFoldedTwice)
{
    // All zeros, all ones and random data, round the sizes where partial sums could overflow.
    constexpr std::size_t kMost = 9 * 1024 * 1024;
    GuardedMemory memory(kMost);
    std::mt19937 random(2);
    for (unsigned int kind = 0; kind < 3; kind++) {
        auto byte = [&] { return static_cast<unsigned char>(kind == 2 ? random() : kind * 0xFF); };
        std::generate_n(memory.Last(kMost), kMost, byte);
        std::vector<std::size_t> counts = {65535, 65536, 131070, 131071, 131072, 131073, kMost - 1, kMost};
        for (std::size_t power = 11; power < 23; power++) {
            for (std::size_t delta = 0; delta <= 6; delta++)
                counts.push_back((std::size_t{1} << power) + delta - 3);
        }
        for (std::size_t count : counts) {
            const unsigned char *bytes = memory.Last(count);
            SCOPED_TRACE(testing::Message() << "kind " << kind << ", " << count << " bytes");
            Check(bytes, count);
        }
    }
}

TEST(Checksum, OfTheCountTheSignAndTheLow32BitsMatter)
{
    EXPECT_EQ(CalcChecksum("\x01", (1L << 32) + 1), 0xFFFE);
    for (long count : {-1L, -(1L << 31), -(1L << 31) - 1, -(1L << 32) + 1, std::numeric_limits<long>::min()})
        EXPECT_EQ(CalcChecksum("\x01", count), 0xFFFF) << count;
}
