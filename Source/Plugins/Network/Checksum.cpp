// The sums work in blocks that are short enough for their lanes: with all words at their worst (65,535, or 0 for the
// biased ones) a longer block would overflow a lane.
#include "Checksum.h"

#include "Source/SDK/GlueCode/Relaxed.h"
#include "Source/Utility/CpuFeatures.h"

#include <algorithm>
#include <cstring>

// The last words, too few for a vector, one by one.
static std::uint64_t SumRest(const unsigned char *bytes, std::size_t count)
{
    std::uint64_t sum = 0;
    std::uint16_t word;
    for (; count >= 2; bytes += 2, count -= 2) {
        std::memcpy(&word, bytes, sizeof word);
        sum += word;
    }
    if (count == 1) {
        word = 0;
        std::memcpy(&word, bytes, 1);
        sum += word;
    }
    return sum;
}

std::uint64_t SumWordsPortable(const unsigned char *bytes, std::size_t count)
{
    constexpr std::size_t kStep = 8, kMostSteps = 65536; // 65,536 words in a lane of 32 bits
    constexpr std::uint64_t kLane = 0xFFFFFFFF, kEvenWords = 0x0000FFFF0000FFFF;
    std::uint64_t sum = 0;
    while (count >= kStep) {
        std::size_t steps = std::min(count / kStep, kMostSteps);
        std::uint64_t even = 0, odd = 0;
        for (std::size_t i = 0; i < steps; i++) {
            std::uint64_t words;
            std::memcpy(&words, bytes + i * kStep, kStep);
            even += words & kEvenWords;
            odd += (words >> 16) & kEvenWords;
        }
        sum += (even & kLane) + (even >> 32) + (odd & kLane) + (odd >> 32);
        bytes += steps * kStep;
        count -= steps * kStep;
    }
    return sum + SumRest(bytes, count);
}

#if defined(__x86_64__)

#include <immintrin.h>

// The sums of words in 32-bit lanes, less a bias. PMADDWD is signed, so 32,768 is subtracted from each word and added
// back at the end. A lane takes two words from each vector, at worst -65,536 together.
static constexpr std::size_t kMostBiasedSteps = 8190;
static constexpr std::uint64_t kBias = 32768;

struct Lanes128 {
    void Add(const unsigned char *bytes)
    {
        const __m128i bias = _mm_set1_epi16(-32768), ones = _mm_set1_epi16(1);
        __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
        lanes = _mm_add_epi32(lanes, _mm_madd_epi16(_mm_xor_si128(words, bias), ones));
    }
    void Add(const Lanes128 &other) { lanes = _mm_add_epi32(lanes, other.lanes); }
    std::uint64_t Sum() const
    {
        std::int32_t parts[4];
        std::memcpy(parts, &lanes, sizeof parts);
        return static_cast<std::uint64_t>(std::int64_t{parts[0]} + parts[1] + parts[2] + parts[3]);
    }
    __m128i lanes = {};
};

#define TARGET_AVX2 __attribute__((target("avx2")))
struct Lanes256 {
    TARGET_AVX2 void Add(const unsigned char *bytes)
    {
        const __m256i bias = _mm256_set1_epi16(-32768), ones = _mm256_set1_epi16(1);
        __m256i words = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
        lanes = _mm256_add_epi32(lanes, _mm256_madd_epi16(_mm256_xor_si256(words, bias), ones));
    }
    TARGET_AVX2 void Add(const Lanes256 &other) { lanes = _mm256_add_epi32(lanes, other.lanes); }
    TARGET_AVX2 std::uint64_t Sum() const
    {
        Lanes128 low = {_mm256_castsi256_si128(lanes)}, high = {_mm256_extracti128_si256(lanes, 1)};
        return low.Sum() + high.Sum();
    }
    __m256i lanes = {};
};

// Sums all but the last bytes, too few for a vector. Four vectors are summed side by side, written out because the
// compiler keeps a loop over them in memory; joined, they and three single ones still fit.
template <typename Lanes>
[[gnu::always_inline]] static inline std::uint64_t SumVectors(const unsigned char *&bytes, std::size_t &count)
{
    constexpr std::size_t kVector = sizeof(Lanes), kStep = 4 * kVector;
    std::uint64_t sum = 0;
    while (count >= kVector) {
        const unsigned char *start = bytes;
        Lanes sum0, sum1, sum2, sum3;
        for (std::size_t steps = std::min(count / kStep, kMostBiasedSteps); steps > 0; steps--, bytes += kStep) {
            sum0.Add(bytes);
            sum1.Add(bytes + kVector);
            sum2.Add(bytes + 2 * kVector);
            sum3.Add(bytes + 3 * kVector);
        }
        count -= static_cast<std::size_t>(bytes - start);
        for (std::size_t i = 0; i < 3 && count >= kVector; i++, bytes += kVector, count -= kVector)
            sum0.Add(bytes);
        sum0.Add(sum1);
        sum2.Add(sum3);
        sum0.Add(sum2);
        sum += sum0.Sum() + static_cast<std::uint64_t>(bytes - start) / 2 * kBias;
    }
    return sum;
}

std::uint64_t SumWordsSSE2(const unsigned char *bytes, std::size_t count)
{
    std::uint64_t sum = SumVectors<Lanes128>(bytes, count);
    return sum + SumWordsPortable(bytes, count);
}

TARGET_AVX2 std::uint64_t SumWordsAVX2(const unsigned char *bytes, std::size_t count)
{
    std::uint64_t sum = SumVectors<Lanes256>(bytes, count);
    _mm256_zeroupper(); // GCC leaves it out before this call, and SSE2 is slow on some machines without
    return sum + SumWordsSSE2(bytes, count);
}

#elif defined(__aarch64__)

#include <arm_neon.h>

std::uint64_t SumWordsNEON(const unsigned char *bytes, std::size_t count)
{
    constexpr std::size_t kStep = 64, kMostSteps = 32768; // two words a lane and step
    std::uint64_t sum = 0;
    while (count >= kStep) {
        std::size_t steps = std::min(count / kStep, kMostSteps);
        uint32x4_t sums[4] = {vdupq_n_u32(0), vdupq_n_u32(0), vdupq_n_u32(0), vdupq_n_u32(0)};
        for (std::size_t i = 0; i < steps; i++) {
            for (std::size_t j = 0; j < 4; j++) {
                uint16x8_t words = vreinterpretq_u16_u8(vld1q_u8(bytes + i * kStep + j * 16));
                sums[j] = vpadalq_u16(sums[j], words);
            }
        }
        for (uint32x4_t lanes : sums)
            sum += vaddlvq_u32(lanes);
        bytes += steps * kStep;
        count -= steps * kStep;
    }
    return sum + SumWordsPortable(bytes, count);
}

#endif

using SumFunction = std::uint64_t (*)(const unsigned char *bytes, std::size_t count);

// The fastest implementation that this machine can run.
static SumFunction ChooseSum()
{
#if defined(__x86_64__)
    return HasAVX2() ? SumWordsAVX2 : SumWordsSSE2;
#elif defined(__aarch64__)
    return SumWordsNEON;
#else
    return SumWordsPortable;
#endif
}

std::uint16_t csumb(const void *words, std::int32_t count)
{
    static constinit Relaxed<SumFunction> chosen = nullptr; // null: not chosen yet
    if (count < 1) return 0xFFFF;
    SumFunction sumWords = chosen;
    if (sumWords == nullptr) [[unlikely]]
        chosen = sumWords = ChooseSum();

    auto bytes = static_cast<const unsigned char *>(words);
    auto sum = static_cast<std::int64_t>(sumWords(bytes, static_cast<std::size_t>(count)));
    sum = (sum >> 16) + (sum & 0xFFFF);
    sum += sum >> 16;
    return static_cast<std::uint16_t>(~sum);
}
